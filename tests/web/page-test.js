#!/usr/bin/env node
// Tests the browser workbench in headless Chromium: the demo's trace against das-sim's, a phone
// driven through the page's own controls, the checker, a share link, and the module's size.
//
// Usage: node tests/web/page-test.js --page build/web/index.html --expected examples/demo.expected
//            [--screenshot FILE] [--chromium PATH]
// Prints one line per check ("ok ..." or "FAILED ..."); exits with 0 only when all passed.
'use strict';

const fs = require('fs');
const os = require('os');
const path = require('path');
const url = require('url');
const zlib = require('zlib');
const { Browser } = require('./cdp');

const kOverallTimeoutMs = 60000;
const kWasmGzipLimit = 600 * 1024;
const kViewport = { width: 1400, height: 1000 };

function parseArguments(argv) {
    const options = { chromium: '/usr/bin/chromium' };
    for (let i = 0; i < argv.length; ++i) {
        const name = argv[i];
        const value = argv[i + 1];
        if (!['--page', '--expected', '--screenshot', '--chromium'].includes(name) || value === undefined) {
            throw new Error(`unknown or incomplete argument "${name}"`);
        }
        options[name.slice(2)] = value;
        ++i;
    }
    if (!options.page || !options.expected) throw new Error('--page and --expected are required');
    return options;
}

let failures = 0;
function report(passed, name, detail) {
    if (!passed) ++failures;
    console.log(`${passed ? 'ok' : 'FAILED'} ${name}${detail ? `: ${detail}` : ''}`);
}

// Runs one named check; an exception fails it with its message instead of ending the run.
async function check(name, body) {
    try {
        const detail = await body();
        report(true, name, detail);
    } catch (error) {
        report(false, name, error.message);
    }
}

function expect(condition, message) {
    if (!condition) throw new Error(message);
}

const normalise = (text) => text.replace(/\s+/g, ' ').trim();

// The first line where two traces part, for a failure's report.
function firstDifference(expected, actual) {
    const lines = (text) => text.split('\n').map(normalise).filter(Boolean);
    const want = lines(expected);
    const got = lines(actual);
    for (let i = 0; i < Math.max(want.length, got.length); ++i) {
        if (want[i] !== got[i]) {
            const cut = (line) => (line === undefined ? '(nothing)' : line.length > 160 ? `${line.slice(0, 160)}…` : line);
            return `line ${i + 1} differs\n  expected: ${cut(want[i])}\n  page:     ${cut(got[i])}`;
        }
    }
    return 'the texts differ only in how lines are broken';
}

// Every address the pages asked for, to show that they load their own files and nothing else.
const requested = new Set();

// A fresh page on `address`, once the workbench says it is ready; errors in it are collected.
async function openWorkbench(browser, address, pageErrors) {
    const page = await browser.newPage(kViewport);
    await page.send('Network.enable');
    page.on('Network.requestWillBeSent', (event) => requested.add(event.request.url.replace(/#.*$/, '')));
    page.on('Runtime.exceptionThrown', (event) => pageErrors.push(event.exceptionDetails.exception
        ? event.exceptionDetails.exception.description : event.exceptionDetails.text));
    page.on('Runtime.consoleAPICalled', (event) => {
        if (event.type === 'error') pageErrors.push(event.args.map((arg) => arg.value || arg.description).join(' '));
    });
    await page.navigate(address);
    await page.evaluate('window.workbench.ready.then(() => true)');
    return page;
}

const text = (page, selector) => page.evaluate(`document.querySelector(${JSON.stringify(selector)}).textContent`);
const click = (page, selector) => page.evaluate(`document.querySelector(${JSON.stringify(selector)}).click()`);

// Types `key` as the keyboard would, into whatever has the focus.
async function typeKey(page, key) {
    await page.send('Input.dispatchKeyEvent', { type: 'keyDown', key, text: key, unmodifiedText: key });
    await page.send('Input.dispatchKeyEvent', { type: 'keyUp', key });
}

async function demoTrace(browser, pageUrl, expectedFile, pageErrors) {
    const expected = fs.readFileSync(expectedFile, 'utf8');
    const page = await openWorkbench(browser, `${pageUrl}#demo`, pageErrors);
    await check('#demo shows das-sim\'s trace of examples/demo.das', async () => {
        const trace = await text(page, '#trace');
        expect(normalise(trace) === normalise(expected), firstDifference(expected, trace));
        return `${trace.split('\n').filter(Boolean).length} lines`;
    });
    await page.close();
}

async function interaction(browser, pageUrl, screenshotFile, pageErrors) {
    const page = await openWorkbench(browser, pageUrl, pageErrors);

    await check('lifting the handset on the ordinary line', async () => {
        const line = await page.evaluate(`(() => {
            const select = document.getElementById('line');
            const ordinary = [...select.options].find((option) => option.text.includes('ordinary line'));
            if (!ordinary) return null;
            select.value = ordinary.value;
            return ordinary.text;
        })()`);
        expect(line, 'the line selector offers no ordinary line');
        await click(page, '#lift');
        const phase = await text(page, '#phase');
        expect(phase === 'dialling', `the phone shows "${phase}", not "dialling"`);
        return line;
    });

    await check('0 8 9 through the keypad and the keyboard decides row 5, on the dial plan timer', async () => {
        await click(page, '#keypad [data-key="0"]');
        await page.evaluate("document.getElementById('keypad').focus()");
        await typeKey(page, '8');
        await typeKey(page, 'w');  // the letter on key 9
        const digits = await text(page, '#digits');
        expect(digits === '089', `the phone shows the digits "${digits}"`);
        const decision = normalise(await page.evaluate("document.getElementById('decision').innerText"));
        expect(/\brow 5\b/i.test(decision), `the decision shown is "${decision}"`);
        expect(/dial plan timer/i.test(decision), `the decision shown is "${decision}"`);
        const marked = await page.evaluate(`(() => {
            const row = document.querySelector('#plan tbody tr[aria-current="true"]');
            return row ? row.querySelector('th').textContent + ' ' + row.querySelector('.marks').textContent : '';
        })()`);
        expect(/^5 .*◀ decided/.test(marked), `the plan marks "${marked}" as deciding`);
        return decision;
    });

    await check('advancing the clock by 5000 ms dials 089', async () => {
        await page.evaluate("document.getElementById('advance-ms').value = '5000'");
        await click(page, '#advance');
        const now = await text(page, '#now');
        expect(now === '5000 ms', `the clock shows "${now}"`);
        const dialled = await text(page, '#dialled');
        expect(dialled === '089', `the phone shows "${dialled}" as dialled`);
        const trace = await text(page, '#trace');
        expect(trace.includes('@5000 dialler event "089"'), 'the trace has no @5000 dialler event "089"');
        return dialled;
    });

    await check('the timeline has the Dial Plan timer\'s bar, expired at 5000 ms', async () => {
        const bars = await page.evaluate(`[...document.querySelectorAll('#timeline-chart svg g[data-kind="timer"][data-label="Dial Plan"] title')]
            .map((title) => title.textContent)`);
        expect(bars.length > 0, 'no Dial Plan bar in the timeline');
        const expired = bars.find((bar) => /–5000 ms: Dial Plan timer \(5000 ms\), expired$/.test(bar));
        expect(expired, `the Dial Plan bars say ${bars.map((bar) => `"${bar}"`).join(', ')}`);
        const label = await page.evaluate("document.querySelector('#timeline-chart svg').getAttribute('aria-labelledby')");
        expect(label, 'the timeline has no accessible name');
        return expired;
    });

    await check('the explainer marks the rows that decide 112', async () => {
        await page.evaluate("document.getElementById('explain-digits').value = '112'");
        await click(page, '#explain-form button[type="submit"]');
        const explanation = normalise(await page.evaluate("document.getElementById('explanation').innerText"));
        expect(explanation.includes('Dials 112'), `the explanation says "${explanation}"`);
        const marks = await text(page, '#plan tbody tr:first-child .marks');
        expect(marks.includes('◀ explained 1, 11, 112'), `row 1 is marked "${marks}"`);
        return normalise(await text(page, '#explanation > p:last-child'));
    });

    await check('the checker warns at the line of a timer "abc" typed into the editor', async () => {
        // Selects the 5 of the external calls' timer and types over it, as a user would.
        const line = await page.evaluate(`(() => {
            const editor = document.getElementById('config');
            const start = editor.value.indexOf('"timer": "5"') + '"timer": "'.length;
            editor.focus();
            editor.setSelectionRange(start, start + 1);
            return editor.value.slice(0, start).split('\\n').length;
        })()`);
        await page.send('Input.insertText', { text: 'abc' });
        const found = await page.waitUntil(`(() => {
            const items = [...document.querySelectorAll('#diagnostics li')].map((item) => item.textContent);
            return items.find((item) => item.startsWith('${line}:') && item.includes('warning:') &&
                item.includes('"timer" of row 5 is "abc"')) || '';
        })()`, 'the checker\'s warning');
        const gutter = await page.evaluate(`document.querySelector('#gutter').children[${line - 1}].textContent`);
        expect(gutter === `W ${line}`, `the gutter shows "${gutter}" at line ${line}`);
        const applied = await text(page, '#config-applied');
        expect(applied.startsWith('Edited'), `the editor says "${applied}"`);
        // A click on the warning, with the caret elsewhere, takes the caret to its place (the
        // line is ASCII, so its byte column is its character column).
        const column = Number(/^\d+:(\d+)/.exec(found)[1]);
        const caret = await page.evaluate(`(() => {
            const editor = document.getElementById('config');
            editor.setSelectionRange(0, 0);
            editor.blur();
            const warning = [...document.querySelectorAll('#diagnostics li button')].find((button) => button.textContent === ${JSON.stringify(found)});
            warning.click();
            const before = editor.value.slice(0, editor.selectionStart).split('\\n');
            return { focused: document.activeElement === editor, line: before.length, column: before[before.length - 1].length + 1 };
        })()`);
        expect(caret.focused && caret.line === line && caret.column === column,
            `the caret went to ${caret.line}:${caret.column}, not ${line}:${column} (focused: ${caret.focused})`);
        return found;
    });

    await check('a .das file chosen in the page lands in the script box', async () => {
        const script = '# Wähltest ☎\nsend dialler set_dialler_request\nsend dialler startdiallingrequest:2,0\nwait 1000\n';
        const file = path.join(fs.mkdtempSync(path.join(os.tmpdir(), 'das-workbench-script-')), 'wähltest.das');
        fs.writeFileSync(file, script);
        try {
            const { root } = await page.send('DOM.getDocument');
            const { nodeId } = await page.send('DOM.querySelector', { nodeId: root.nodeId, selector: '#script-file' });
            await page.send('DOM.setFileInputFiles', { nodeId, files: [file] });
            await page.waitUntil(`document.getElementById('script').value === ${JSON.stringify(script)}`, 'the script box to fill');
        } finally {
            fs.rmSync(path.dirname(file), { recursive: true, force: true });
        }
        return normalise(await text(page, '#message'));
    });

    if (screenshotFile) {
        await check(`screenshot in ${screenshotFile}`, async () => {
            await page.screenshot(screenshotFile);
            return `${fs.statSync(screenshotFile).size} bytes`;
        });
    }

    await check('a configuration the service refuses leaves the phone as it was', async () => {
        const result = await page.evaluate(`(() => {
            const editor = document.getElementById('config');
            editor.value = '{"items": {}, "colour": 1}';
            editor.dispatchEvent(new Event('input'));
            document.getElementById('apply').click();
            const message = document.getElementById('message').textContent;
            // The phone answers as before: the clock moves on from where it was.
            const before = window.workbench.state().now;
            document.getElementById('until-idle').click();
            return { message, before, after: document.getElementById('message').textContent,
                     state: window.workbench.state() };
        })()`);
        expect(/refused/.test(result.message) && /still runs/.test(result.message),
            `the page said ${JSON.stringify(result.message)}`);
        expect(!/no phone/.test(result.after), `after it the phone answered ${JSON.stringify(result.after)}`);
        expect(result.state.dialled === '089' && result.state.now >= result.before,
            `the phone now says it dialled ${JSON.stringify(result.state.dialled)} at ${result.state.now} ms`);
        return normalise(result.message);
    });
    await page.close();
}

async function shareRoundTrip(browser, pageUrl, pageErrors) {
    const config = JSON.stringify({
        dialPlan: {
            'dial-plan-enabled': 'true',
            'dial-plan-id': 'SHARE-1',
            dialPlanSettings: [
                { 'digit-string': '112', action: 'S', timer: '0', 'spec-num-indic': 'E', comment: 'Notruf – München ☎ 緊急 🚑' },
                { 'digit-string': '0', action: 'S', timer: '5', comment: 'Amt' },
            ],
        },
    }, null, 2);
    const script = '# Grüße aus München ☎ 🚑\nsend - getEmergencyNumbersDialStringRequest\n';

    const page = await openWorkbench(browser, pageUrl, pageErrors);
    let link = '';
    await check('a share link holds the configuration and the script', async () => {
        await page.evaluate(`(() => {
            const editor = document.getElementById('config');
            editor.value = ${JSON.stringify(config)};
            editor.dispatchEvent(new Event('input'));
            document.getElementById('script').value = ${JSON.stringify(script)};
            document.getElementById('share').click();
        })()`);
        link = await page.evaluate("document.getElementById('share-link').value");
        expect(link.startsWith(`${pageUrl}#share=`), `the link is "${link.slice(0, 80)}…"`);
        expect(/^[A-Za-z0-9_-]+$/.test(link.slice(link.indexOf('=') + 1)), 'the link has characters base64url has not');
        return `${link.length} characters`;
    });
    await page.close();
    if (!link) return;

    const shared = await openWorkbench(browser, link, pageErrors);
    await check('the share link brings back both texts, byte for byte, and runs the script', async () => {
        const back = await shared.evaluate("({ config: document.getElementById('config').value, script: document.getElementById('script').value })");
        expect(back.config === config, 'the configuration came back changed');
        expect(back.script === script, 'the script came back changed');
        const trace = await text(shared, '#trace');
        expect(trace.includes('@0 - reply "112"'), 'the trace has no answer to the script\'s request');
        const comment = await text(shared, '#plan tbody tr:first-child');
        expect(comment.includes('Notruf – München ☎ 緊急 🚑'), `the plan's first row reads "${normalise(comment)}"`);
        return 'configuration, script and the plan\'s comment intact';
    });
    await shared.close();

    const broken = await openWorkbench(browser, `${pageUrl}#share=${link.slice(link.indexOf('=') + 1, -12)}`, pageErrors);
    await check('a cut share link is reported, and the built-in phone starts', async () => {
        const message = normalise(await text(broken, '#message'));
        expect(message.includes('The share link cannot be read'), `the page says "${message}"`);
        const phase = await text(broken, '#phase');
        expect(phase === 'on hook', `the phone shows "${phase}"`);
        return message;
    });
    await broken.close();
}

function wasmSize(pageFile) {
    const module = path.join(path.dirname(pageFile), 'workbench.js');
    const found = /data:application\/octet-stream;base64,([A-Za-z0-9+/=]+)/.exec(fs.readFileSync(module, 'latin1'));
    expect(found, `no embedded module in ${module}`);
    const wasm = Buffer.from(found[1], 'base64');
    expect(wasm.subarray(0, 4).equals(Buffer.from([0, 0x61, 0x73, 0x6d])), 'the embedded data is not WebAssembly');
    const gzipped = zlib.gzipSync(wasm, { level: 9 }).length;
    expect(gzipped <= kWasmGzipLimit,
        `${gzipped} bytes gzipped (${(gzipped / 1024).toFixed(1)} KiB) is more than ${kWasmGzipLimit / 1024} KiB`);
    return `${wasm.length} bytes, ${gzipped} bytes gzipped (${(gzipped / 1024).toFixed(1)} KiB of at most ${kWasmGzipLimit / 1024} KiB)`;
}

async function main() {
    const options = parseArguments(process.argv.slice(2));
    const pageFile = path.resolve(options.page);
    const pageUrl = url.pathToFileURL(pageFile).href;
    const pageErrors = [];

    let browser = null;
    const deadline = setTimeout(() => {
        report(false, `the whole test in ${kOverallTimeoutMs / 1000} s`, 'out of time');
        if (browser) browser.abandon();
        process.exit(1);
    }, kOverallTimeoutMs);
    try {
        browser = await Browser.launch({ executable: options.chromium });
        await demoTrace(browser, pageUrl, options.expected, pageErrors);
        await interaction(browser, pageUrl, options.screenshot, pageErrors);
        await shareRoundTrip(browser, pageUrl, pageErrors);
    } catch (error) {
        report(false, 'the browser session', error.message);
    } finally {
        if (browser) await browser.close();
    }
    report(pageErrors.length === 0, 'no errors in the pages\' consoles', pageErrors.join('\n'));
    await check('the pages load their own files and nothing else', () => {
        const own = ['index.html', 'workbench.css', 'workbench.js', 'examples.js', 'page.js']
            .map((name) => url.pathToFileURL(path.join(path.dirname(pageFile), name)).href);
        // The module reads its WebAssembly from the data: address inside workbench.js.
        const inline = [...requested].filter((address) => address.startsWith('data:application/octet-stream;base64,'));
        const others = [...requested].filter((address) => !own.includes(address) && !inline.includes(address));
        expect(requested.size > 0, 'no request seen at all');
        expect(others.length === 0, `also asked for ${others.map((address) => address.slice(0, 100)).join(', ')}`);
        return [...requested].filter((address) => !inline.includes(address)).map((address) => path.basename(address))
            .sort().join(', ') + (inline.length ? ', and the module\'s own data: address' : '');
    });
    await check('the module\'s size', () => wasmSize(pageFile));
    clearTimeout(deadline);
    console.log(failures === 0 ? 'all checks passed' : `${failures} ${failures === 1 ? 'check' : 'checks'} FAILED`);
    process.exitCode = failures === 0 ? 0 : 1;
}

main().catch((error) => {
    console.log(`FAILED ${error.message}`);
    process.exit(1);
});
