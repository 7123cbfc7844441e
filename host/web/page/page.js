'use strict';
/*
 * The workbench page. It shows what the service's module answers and sends it the user's
 * actions; every decision about digits, timers and lines is the module's.
 *
 * Two instances of the module run side by side: the phone's session lives in one, and the
 * tools (checker, explainer, plan reader) use the other, since each tool starts and stops a
 * service of its own and the service runs one instance at a time.
 *
 * For tests and scripting, window.workbench offers:
 *   ready        a promise, settled once the modules are loaded and the page has started its
 *                phone (and run the demo or a shared script, when the address asks for one)
 *   state()      the phone's last state, as das_session_state answers it (null without a phone)
 *   check()      the checker's last answer on the editor's text
 *   plan()       the plan of the configuration the phone runs, as das_plan answers it
 *   shareLink()  a link that brings back the editor's configuration and the script
 */
(function () {

const kCheckDelayMs = 300;
const kStatusMeaning = {
    0: 'success',
    1: 'a request was refused or failed, or an expectation failed',
    2: 'a script error',
};

const $ = (id) => document.getElementById(id);
const editor = $('config');
const scriptBox = $('script');

let phoneModule = null;
let toolModule = null;
let appliedConfig = null;   // what the phone runs; null while there is no phone
let state = null;           // the phone's last answer
let plan = null;            // das_plan of appliedConfig
let explanation = null;     // das_explain's last answer, for the plan's marks
let lastCheck = null;
let checkTimer = 0;
let sharedHash = '';        // the fragment this page wrote itself, so that it is not restored again

// ---------------------------------------------------------------------------------------------
// Small helpers

// element('li', {class: 'x'}, 'text', child) - attributes set as given; children are texts or nodes.
function element(tag, attributes, ...children) {
    return build(document.createElement(tag), attributes, children);
}

function svgElement(tag, attributes, ...children) {
    return build(document.createElementNS('http://www.w3.org/2000/svg', tag), attributes, children);
}

function build(node, attributes, children) {
    for (const [name, value] of Object.entries(attributes || {})) {
        if (value !== undefined && value !== null && value !== false) node.setAttribute(name, String(value));
    }
    for (const child of children) {
        if (child !== undefined && child !== null) node.append(child);
    }
    return node;
}

// The page's one line of news; a problem may name the configuration's line and column it is at.
function say(text) {
    $('message').replaceChildren(text);
    $('message').classList.remove('problem');
}

function warn(text, place) {
    const message = $('message');
    message.replaceChildren(text);
    message.classList.add('problem');
    if (place && place.line) {
        const go = element('button', { type: 'button', class: 'link' }, `Go to line ${place.line}, column ${place.column}`);
        go.addEventListener('click', () => goTo(place.line, place.column));
        message.append(' ', go);
    }
}

const ms = (value) => `${value} ms`;

function call(module, name, types, args) {
    return JSON.parse(module.ccall(name, 'string', types, args));
}

// ---------------------------------------------------------------------------------------------
// The phone

// Sends one action to the phone and shows the state it answers.
function act(name, types = [], args = []) {
    if (!phoneModule) return null;
    const answer = call(phoneModule, name, types, args);
    if (answer.error) {
        warn(answer.error, answer);
        return null;
    }
    showState(answer);
    return answer;
}

// Starts a new phone on `configText`. A configuration the module refuses leaves the phone
// there was, if any, as it was.
function openPhone(configText) {
    const answer = call(phoneModule, 'das_session_open', ['string'], [configText]);
    if (answer.error) {
        const kept = appliedConfig !== null ? ' The phone still runs the configuration it was started with.' : '';
        warn(`The service refused this configuration: ${answer.error}.${kept}`, answer);
        if (appliedConfig === null) renderNoPhone();
        showApplied();
        return false;
    }
    explanation = null;
    $('explanation').replaceChildren();
    appliedConfig = configText;
    plan = call(toolModule, 'das_plan', ['string'], [configText]);
    say('The phone started with the configuration in the editor.');
    showApplied();
    showState(answer);
    return true;
}

function runScript() {
    if (!openPhone(editor.value)) return;
    const answer = act('das_session_run', ['string'], [scriptBox.value]);
    if (!answer) return;
    const outcome = `The script ran: status ${answer.status} (${kStatusMeaning[answer.status] || 'unknown'}).`;
    if (answer.status === 0) say(outcome);
    else warn(`${outcome} The trace panel shows what das-sim said.`);
}

function press(key) {
    act('das_session_press', ['string'], [key]);
}

function showState(answer) {
    state = answer;
    renderPhone();
    renderClock();
    renderDecision();
    renderPlan();
    renderTimeline();
    renderTrace();
}

function renderNoPhone() {
    $('phase').textContent = 'no phone';
    for (const id of ['phone-line', 'digits', 'dialled']) $(id).textContent = '–';
    $('timers').replaceChildren();
    $('decision').replaceChildren(element('p', { class: 'note' }, 'No phone: restart it with a configuration the service accepts.'));
    $('trace').textContent = '';
    $('session-script').textContent = '';
    $('errors').hidden = true;
    $('timeline-chart').replaceChildren();
    $('timeline-list').replaceChildren();
    renderPlan();
}

function lineLabel(line) {
    return `${line.line}: ${line.kind}${line.destination ? ` to ${line.destination}` : ''}`;
}

function renderPhone() {
    const select = $('line');
    const wanted = JSON.stringify(state.lines);
    if (select.dataset.lines !== wanted) {
        select.replaceChildren(...state.lines.map((line) => element('option', { value: line.line }, lineLabel(line))));
        select.dataset.lines = wanted;
        select.value = state.line;
    }
    const current = state.lines.find((line) => line.line === state.line);
    $('phase').textContent = state.phase + (state.onHookDialling && state.phase !== 'on hook' ? ' (on hook)' : '');
    $('phone-line').textContent = current ? lineLabel(current) : state.line;
    $('digits').textContent = state.digits || '–';
    $('dialled').textContent = state.dialled || '–';
    $('locked').checked = state.locked;
}

function renderClock() {
    $('now').textContent = ms(state.now);
    const timers = $('timers');
    if (state.timers.length === 0) {
        timers.replaceChildren(element('li', { class: 'note' }, 'None'));
        return;
    }
    timers.replaceChildren(...state.timers.map((timer) => element('li', {},
        element('strong', {}, timer.name), `: ${ms(timer.remainingMs)} left of ${ms(timer.durationMs)}`)));
}

// "stops Initial Digit; arms Dial Plan 5000 ms", or '' when the key touched no timer.
function timerChanges(stopped, armed) {
    return [stopped.length ? `stops ${stopped.join(', ')}` : '', armed.length ? `arms ${armed.join(', ')}` : '']
        .filter(Boolean).join('; ');
}

function renderDecision() {
    const target = $('decision');
    const decision = state.lastDecision;
    if (!decision) {
        target.replaceChildren(element('p', { class: 'note' }, 'No key pressed yet.'));
        return;
    }
    const timers = timerChanges(decision.timersStopped, decision.timersArmed);
    target.replaceChildren(
        element('p', {}, element('strong', {}, decision.row > 0 ? `Row ${decision.row}` : 'No row'), `: ${decision.decision}`),
        timers ? element('p', {}, `The key ${timers}.`) : '');
}

function renderTrace() {
    const trace = $('trace');
    const following = trace.scrollTop + trace.clientHeight >= trace.scrollHeight - 4;
    trace.textContent = state.trace;
    if (following) trace.scrollTop = trace.scrollHeight;
    $('session-script').textContent = state.script;
    $('last-status').textContent =
        `Last action: status ${state.status} (${kStatusMeaning[state.status] || 'unknown'}).`;
    $('errors').hidden = !state.errors;
    $('errors').textContent = state.errors;
}

// ---------------------------------------------------------------------------------------------
// The plan and the explainer

function renderPlan() {
    const body = $('plan').tBodies[0];
    const overview = $('plan-overview');
    if (!plan) {
        overview.textContent = 'No plan: the phone has no configuration.';
        body.replaceChildren();
        return;
    }
    if (plan.rows === undefined) {
        overview.textContent = `The plan cannot be read: ${plan.error}`;
        body.replaceChildren();
        return;
    }
    overview.textContent = `Plan ${plan.id ? `"${plan.id}"` : 'without an id'}: enabled ${plan.enabled || '–'}, ` +
        `error ${plan.error || '–'}${plan.errorRow && plan.errorRow !== '0' ? `, error row ${plan.errorRow}` : ''}; ` +
        `${plan.rows.length} ${plan.rows.length === 1 ? 'row' : 'rows'}.`;
    const decidedRow = state && state.lastDecision ? state.lastDecision.row : 0;
    const explained = new Map();  // row -> the explained digits it decided
    for (const step of explanation && explanation.steps ? explanation.steps : []) {
        if (step.row > 0) explained.set(step.row, [...(explained.get(step.row) || []), step.digits]);
    }
    body.replaceChildren(...plan.rows.map((row) => {
        const marks = [];
        if (row.row === decidedRow) marks.push('◀ decided the last key');
        if (explained.has(row.row)) marks.push(`◀ explained ${explained.get(row.row).join(', ')}`);
        const cells = [row['digit-string'], row.action, row['min-digit-len'], row['max-digit-len'], row.timer,
            row['terminating-char'], row['terminating-char-sent'], row['spec-num-indic'], row.comment];
        return element('tr', {
            class: [row.row === decidedRow ? 'decided' : '', explained.has(row.row) ? 'explained' : ''].join(' ').trim() || null,
            'aria-current': row.row === decidedRow ? 'true' : null,
        },
        element('th', { scope: 'row' }, String(row.row)),
        element('td', { class: 'marks' }, ...marks.map((mark) => element('div', {}, mark))),
        ...cells.map((value) => element('td', {}, value === undefined ? '' : String(value))));
    }));
}

function explain(event) {
    event.preventDefault();
    const target = $('explanation');
    if (appliedConfig === null) {
        target.replaceChildren(element('p', { class: 'problem' }, 'No phone: restart it with a configuration the service accepts.'));
        return;
    }
    const answer = call(toolModule, 'das_explain', ['string', 'string', 'number'],
        [appliedConfig, $('explain-digits').value, $('explain-on-hook').checked ? 1 : 0]);
    if (answer.error) {
        explanation = null;
        target.replaceChildren(element('p', { class: 'problem' }, answer.error));
        renderPlan();
        return;
    }
    explanation = answer;
    const steps = answer.steps.map((step) => {
        const timers = timerChanges(step.timersStopped, step.timersArmed);
        return element('li', {},
            element('code', {}, step.digits), ': ', step.decision,
            step.row > 0 && !/\brow \d/.test(step.decision) ? ` (row ${step.row})` : '',
            timers ? `; ${timers}` : '',
            step.sent ? `; sends ${step.sent}` : '');
    });
    const outcome = answer.dialled
        ? element('p', {}, element('strong', {}, `Dials ${answer.dialled.digits}`),
            ` after ${ms(answer.dialled.afterMs)}: ${answer.dialled.because}.`)
        : element('p', {}, element('strong', {}, 'Dials nothing'), ' within ten minutes.');
    target.replaceChildren(
        answer.dialPlanEnabled ? '' : element('p', {}, 'The dial plan is not enabled: the timers alone decide.'),
        steps.length ? element('ol', { class: 'steps' }, ...steps) : element('p', { class: 'note' }, 'No digits.'),
        outcome);
    renderPlan();
}

// ---------------------------------------------------------------------------------------------
// The configuration editor and its checker

function showApplied() {
    const note = $('config-applied');
    if (appliedConfig === null) note.textContent = 'The phone is off: the service refused the last configuration.';
    else if (appliedConfig === editor.value) note.textContent = 'The phone runs this configuration.';
    else note.textContent = 'Edited: the phone still runs the configuration it was started with. Restart it to use this one.';
    note.classList.toggle('changed', appliedConfig !== editor.value);
}

function scheduleCheck() {
    clearTimeout(checkTimer);
    checkTimer = setTimeout(runCheck, kCheckDelayMs);
}

function runCheck() {
    clearTimeout(checkTimer);
    lastCheck = call(toolModule, 'das_check', ['string'], [editor.value]);
    renderDiagnostics();
}

function renderDiagnostics() {
    const list = $('diagnostics');
    const summary = $('diagnostics-summary');
    if (lastCheck.error) {
        summary.textContent = `The checker could not run: ${lastCheck.error}`;
        list.replaceChildren();
        renderGutter([]);
        return;
    }
    const notes = lastCheck.diagnostics.filter((d) => d.severity === 'note').length;
    summary.textContent = lastCheck.diagnostics.length === 0 ? 'No problems found.' :
        `${lastCheck.errors} ${lastCheck.errors === 1 ? 'error' : 'errors'}, ` +
        `${lastCheck.warnings} ${lastCheck.warnings === 1 ? 'warning' : 'warnings'}, ` +
        `${notes} ${notes === 1 ? 'note' : 'notes'}.`;
    list.replaceChildren(...lastCheck.diagnostics.map((diagnostic) => {
        const go = element('button', { type: 'button', class: `diagnostic ${diagnostic.severity}` },
            element('span', { class: 'where' }, `${diagnostic.line}:${diagnostic.column}`), ' ',
            element('span', { class: 'severity' }, `${diagnostic.severity}:`), ' ', diagnostic.text);
        go.addEventListener('click', () => goTo(diagnostic.line, diagnostic.column));
        return element('li', {}, go);
    }));
    renderGutter(lastCheck.diagnostics);
}

// Line numbers beside the editor, with the first letter of the worst severity on each line that
// has a diagnostic (the list under the editor says it in words).
function renderGutter(diagnostics) {
    const rank = { error: 3, warning: 2, note: 1 };
    const worst = new Map();
    for (const d of diagnostics) {
        if ((rank[d.severity] || 0) > (rank[worst.get(d.line)] || 0)) worst.set(d.line, d.severity);
    }
    const count = editor.value.split('\n').length;
    const lines = [];
    for (let line = 1; line <= count; ++line) {
        const severity = worst.get(line);
        lines.push(severity
            ? element('div', { class: `mark ${severity}` }, `${severity[0].toUpperCase()} ${line}`)
            : element('div', {}, String(line)));
    }
    $('gutter').replaceChildren(...lines);
    $('gutter').scrollTop = editor.scrollTop;
}

// The editor's offset of a line and column as the service counts them: columns count bytes of
// UTF-8 from 1.
function offsetOf(text, line, column) {
    const lines = text.split('\n');
    let offset = 0;
    for (let i = 0; i < Math.min(line - 1, lines.length - 1); ++i) offset += lines[i].length + 1;
    const target = lines[Math.min(line, lines.length) - 1] || '';
    let bytes = 0;
    for (const character of target) {
        if (bytes >= column - 1) break;
        const code = character.codePointAt(0);
        bytes += code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
        offset += character.length;
    }
    return offset;
}

function goTo(line, column) {
    const offset = offsetOf(editor.value, line, column || 1);
    editor.focus();
    editor.setSelectionRange(offset, offset);
    const lineHeight = parseFloat(getComputedStyle(editor).lineHeight) || 20;
    editor.scrollTop = Math.max(0, (line - 1) * lineHeight - editor.clientHeight / 2);
    $('gutter').scrollTop = editor.scrollTop;
}

// ---------------------------------------------------------------------------------------------
// The timeline

const kLaneHeight = 44;
const kLabelWidth = 150;
const kAxisHeight = 34;
const kCharWidth = 7.2;  // of the chart's 12 px font (bold a little wider), near enough to keep labels apart

function describeEvent(event) {
    const span = event.endMs >= 0 ? `${event.startMs}–${ms(event.endMs)}` : `${ms(event.startMs)}–now`;
    switch (event.kind) {
    case 'key': return `${ms(event.startMs)}: key ${event.label}`;
    case 'timer': return `${span}: ${event.label} timer (${event.detail}), ${event.outcome}`;
    case 'tone': return `${span}: ${event.label} tone, ${event.outcome}`;
    case 'dialled': return `${ms(event.startMs)}: dials ${event.label}`;
    default: return `${ms(event.startMs)}: ${event.label}`;
    }
}

// A tick step of 1, 2 or 5 times a power of ten, for about eight ticks.
function tickStep(span) {
    const rough = span / 8;
    const power = Math.pow(10, Math.floor(Math.log10(rough)));
    const factor = rough / power;
    return power * (factor <= 1 ? 1 : factor <= 2 ? 2 : factor <= 5 ? 5 : 10);
}

function renderTimeline() {
    const events = state.timeline;
    $('timeline-list').replaceChildren(...events.map((event) => element('li', {}, describeEvent(event))));

    const lanes = [];
    const laneIndex = new Map();
    const laneOf = (key, title) => {
        if (!laneIndex.has(key)) { laneIndex.set(key, lanes.length); lanes.push({ title, labels: [[], []] }); }
        return laneIndex.get(key);
    };
    // Keys first, then timers and tones as they appear, then what the phone dials and the events.
    if (events.some((e) => e.kind === 'key')) laneOf('key', 'Keys');
    for (const e of events) if (e.kind === 'timer' || e.kind === 'tone') laneOf(`${e.kind}:${e.label}`, `${e.label} ${e.kind}`);
    if (events.some((e) => e.kind === 'dialled')) laneOf('dialled', 'Dialled');
    if (events.some((e) => e.kind === 'event')) laneOf('event', 'Events');

    const width = Math.max(640, $('timeline-chart').clientWidth);
    const plotWidth = width - kLabelWidth - 24;
    const end = Math.max(state.now, ...events.map((e) => Math.max(e.startMs, e.endMs)), 1000);
    const x = (time) => kLabelWidth + (time / end) * plotWidth;
    const height = kAxisHeight + Math.max(lanes.length, 1) * kLaneHeight + 8;

    const summary = `${events.length} marks from 0 to ${ms(end)}; the text list below the chart gives each of them.`;
    const chart = svgElement('svg', {
        width, height, viewBox: `0 0 ${width} ${height}`, role: 'img',
        'aria-labelledby': 'timeline-title timeline-desc', class: 'timeline-svg',
    },
    svgElement('title', { id: 'timeline-title' }, `Timeline of the phone at ${ms(state.now)}`),
    svgElement('desc', { id: 'timeline-desc' }, summary));

    // The axis and its ticks.
    const step = tickStep(end);
    const axis = svgElement('g', { class: 'axis' });
    for (let t = 0; t <= end + step / 1000; t += step) {
        axis.append(
            svgElement('line', { x1: x(t), x2: x(t), y1: kAxisHeight - 6, y2: height - 4, class: 'grid' }),
            svgElement('text', { x: x(t), y: kAxisHeight - 12, 'text-anchor': x(t) + 30 > width ? 'end' : 'middle' },
                ms(Math.round(t))));
    }
    axis.append(svgElement('text', { x: 4, y: kAxisHeight - 12 }, 'virtual time'));
    chart.append(axis);

    lanes.forEach((lane, index) => {
        const top = kAxisHeight + index * kLaneHeight;
        chart.append(
            svgElement('line', { x1: 0, x2: width, y1: top, y2: top, class: 'lane-rule' }),
            svgElement('text', { x: 4, y: top + 27, class: 'lane-title' }, lane.title));
    });

    // A label goes on the first of the lane's two text rows where it overlaps nothing, pulled
    // left where it would leave the chart; where both rows are taken it is left out (the mark's
    // tooltip and the text list still say it).
    const place = (laneNumber, at, text, cls) => {
        const lane = lanes[laneNumber];
        const top = kAxisHeight + laneNumber * kLaneHeight;
        const length = text.length * kCharWidth;
        const left = Math.max(kLabelWidth, Math.min(at, width - 8 - length));
        const right = left + length + 6;
        for (let row = 0; row < 2; ++row) {
            if (lane.labels[row].every(([from, to]) => right <= from || left >= to)) {
                lane.labels[row].push([left, right]);
                return svgElement('text', { x: left, y: top + 14 + row * 26, class: cls }, text);
            }
        }
        return null;
    };

    // Longer bars are drawn first so that theirs are the labels that find room; instants at the
    // same time and place share one mark.
    const span = (event) => (event.endMs >= 0 ? event.endMs : state.now) - event.startMs;
    const bars = events.filter((event) => event.kind === 'timer' || event.kind === 'tone')
        .sort((a, b) => span(b) - span(a));
    const instants = new Map();
    for (const event of [...bars, ...events.filter((event) => !bars.includes(event))]) {
        if (event.kind === 'timer' || event.kind === 'tone') {
            const lane = laneIndex.get(`${event.kind}:${event.label}`);
            const top = kAxisHeight + lane * kLaneHeight;
            const left = x(event.startMs);
            const right = x(event.endMs >= 0 ? event.endMs : state.now);
            chart.append(svgElement('g', { class: `bar ${event.kind} ${event.outcome}`, 'data-kind': event.kind, 'data-label': event.label },
                svgElement('title', {}, describeEvent(event)),
                svgElement('rect', { x: left, y: top + 18, width: Math.max(right - left, 2), height: 10 }),
                place(lane, left, event.kind === 'timer' ? `${event.detail}: ${event.outcome}` : event.outcome, 'bar-label')));
        } else {
            const key = `${event.kind}@${event.startMs}`;
            if (!instants.has(key)) instants.set(key, { kind: event.kind, at: event.startMs, labels: [] });
            instants.get(key).labels.push(event.label);
        }
    }
    for (const mark of instants.values()) {
        const lane = laneIndex.get(mark.kind);
        const top = kAxisHeight + lane * kLaneHeight;
        const at = x(mark.at);
        const text = mark.labels.join(mark.kind === 'key' ? ' ' : '; ');
        chart.append(svgElement('g', { class: `mark ${mark.kind}`, 'data-kind': mark.kind },
            svgElement('title', {}, `${ms(mark.at)}: ${text}`),
            svgElement('path', { d: `M${at} ${top + 17} l5 6 l-5 6 l-5 -6 z` }),
            place(lane, at + 7, text, 'mark-label')));
    }

    // Now, where running bars end.
    chart.append(svgElement('g', { class: 'now' },
        svgElement('line', { x1: x(state.now), x2: x(state.now), y1: kAxisHeight - 6, y2: height - 4 }),
        svgElement('text', { x: x(state.now) + (state.now > end / 2 ? -3 : 3), y: height - 6,
            'text-anchor': state.now > end / 2 ? 'end' : 'start' }, 'now')));

    if (lanes.length === 0) chart.append(svgElement('text', { x: kLabelWidth, y: kAxisHeight + 26 }, 'Nothing happened yet.'));
    $('timeline-chart').replaceChildren(chart);
}

// ---------------------------------------------------------------------------------------------
// Share links: the editor's configuration and the script, as base64url of UTF-8 JSON

function encodeShare(config, script) {
    const bytes = new TextEncoder().encode(JSON.stringify({ config, script }));
    let binary = '';
    for (let i = 0; i < bytes.length; i += 0x8000) binary += String.fromCharCode(...bytes.subarray(i, i + 0x8000));
    return btoa(binary).replace(/\+/g, '-').replace(/\//g, '_').replace(/=+$/, '');
}

function decodeShare(text) {
    const base64 = text.replace(/-/g, '+').replace(/_/g, '/');
    const binary = atob(base64 + '='.repeat((4 - base64.length % 4) % 4));
    const bytes = Uint8Array.from(binary, (c) => c.charCodeAt(0));
    const shared = JSON.parse(new TextDecoder('utf-8', { fatal: true }).decode(bytes));
    if (typeof shared.config !== 'string' || typeof shared.script !== 'string') throw new Error('no configuration and script in it');
    return shared;
}

function shareLink() {
    const hash = `#share=${encodeShare(editor.value, scriptBox.value)}`;
    return location.href.replace(/#.*$/, '') + hash;
}

function share() {
    const link = shareLink();
    $('share-link').value = link;
    sharedHash = link.slice(link.indexOf('#'));
    try {
        history.replaceState(null, '', sharedHash);
    } catch (error) {
        // Some browsers keep file:// addresses as they are; the link in the box still works.
    }
    $('share-link').select();
    say('The link in the box brings back this configuration and script.');
}

// ---------------------------------------------------------------------------------------------
// Start-up

// What the address asks for: #demo, #share=..., or the built-in phone.
function startFrom(hash) {
    const examples = window.dasExamples || {};
    if (hash === '#demo') {
        editor.value = examples['munich.json'];
        scriptBox.value = examples['demo.das'];
        runScript();
    } else if (hash.startsWith('#share=')) {
        let shared = null;
        let unreadable = '';
        try {
            shared = decodeShare(hash.slice('#share='.length));
        } catch (error) {
            unreadable = error.message;
        }
        editor.value = shared ? shared.config : examples['munich.json'];
        scriptBox.value = shared ? shared.script : '';
        if (shared && shared.script.trim()) runScript();
        else openPhone(editor.value);
        if (unreadable) warn(`The share link cannot be read (${unreadable}); the built-in phone started instead.`);
    } else {
        editor.value = examples['munich.json'];
        openPhone(editor.value);
    }
    runCheck();
    showApplied();
}

function wire() {
    editor.addEventListener('input', () => {
        renderGutter(lastCheck && lastCheck.diagnostics ? lastCheck.diagnostics : []);
        showApplied();
        scheduleCheck();
    });
    editor.addEventListener('scroll', () => { $('gutter').scrollTop = editor.scrollTop; });
    $('load-example').addEventListener('click', () => {
        editor.value = window.dasExamples[$('example').value];
        editor.dispatchEvent(new Event('input'));
    });
    $('apply').addEventListener('click', () => openPhone(editor.value));

    $('lift').addEventListener('click', () => act('das_session_lift', ['string'], [$('line').value]));
    $('hang-up').addEventListener('click', () => act('das_session_hang_up'));
    $('dial').addEventListener('click', () => act('das_session_dial'));
    $('locked').addEventListener('change', (event) => act('das_session_lock', ['number'], [event.target.checked ? 1 : 0]));
    $('keypad').addEventListener('click', (event) => {
        const key = event.target.closest('[data-key]');
        if (key) press(key.dataset.key);
    });
    // Typing on the phone presses keys; fields and menus inside it keep their own keys.
    $('phone').addEventListener('keydown', (event) => {
        if (event.ctrlKey || event.metaKey || event.altKey || event.isComposing) return;
        if (event.target.closest('input, select, textarea')) return;
        if (event.key.length !== 1 || !/[0-9*#a-z]/i.test(event.key)) return;
        event.preventDefault();
        press(event.key);
    });

    $('advance').addEventListener('click', () => {
        const value = Number($('advance-ms').value);
        if (!Number.isSafeInteger(value) || value < 1) {
            warn('Advance the clock by a whole number of milliseconds, 1 or more.');
            $('advance-ms').focus();
            return;
        }
        act('das_session_advance', ['number'], [value]);
    });
    $('advance-ms').addEventListener('keydown', (event) => {
        if (event.key === 'Enter') $('advance').click();
    });
    $('next-timer').addEventListener('click', () => act('das_session_next_timer'));
    $('until-idle').addEventListener('click', () => act('das_session_until_idle'));

    $('explain-form').addEventListener('submit', explain);

    $('script-file').addEventListener('change', (event) => {
        const file = event.target.files[0];
        if (!file) return;
        const reader = new FileReader();
        reader.onload = () => { scriptBox.value = reader.result; say(`Loaded ${file.name}.`); };
        reader.onerror = () => warn(`${file.name} cannot be read: ${reader.error}`);
        reader.readAsText(file);
    });
    $('load-demo').addEventListener('click', () => { scriptBox.value = window.dasExamples['demo.das']; });
    $('run-script').addEventListener('click', runScript);
    $('share').addEventListener('click', share);

    window.addEventListener('hashchange', () => {
        const hash = location.hash;
        if (hash !== sharedHash && (hash === '#demo' || hash.startsWith('#share='))) startFrom(hash);
    });
    let resizeTimer = 0;
    window.addEventListener('resize', () => {
        clearTimeout(resizeTimer);
        resizeTimer = setTimeout(() => { if (state) renderTimeline(); }, 150);
    });
}

async function start() {
    if (typeof window.createWorkbench !== 'function' || !window.dasExamples) {
        warn('The service is missing: workbench.js or examples.js did not load.');
        throw new Error('workbench.js or examples.js did not load');
    }
    try {
        [phoneModule, toolModule] = await Promise.all([window.createWorkbench(), window.createWorkbench()]);
    } catch (error) {
        warn(`The service could not start: ${error.message}`);
        throw error;
    }
    wire();
    startFrom(location.hash);
}

window.workbench = {
    ready: start(),
    state: () => state,
    check: () => lastCheck,
    plan: () => plan,
    shareLink,
};

})();
