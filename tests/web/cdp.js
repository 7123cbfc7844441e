// A small client of the browser's DevTools protocol over a pipe, enough to load the workbench in
// headless Chromium, run code in it and take screenshots. The browser gets a user data directory
// of its own, removed when it closes, and every command has a deadline, so that a test that goes
// wrong fails instead of hanging.
'use strict';

const { spawn } = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');

const kCommandTimeoutMs = 20000;
const kCloseTimeoutMs = 5000;

class ProtocolError extends Error {}

// One attached page (a target in flat session mode): the commands it takes carry its session id.
class Page {
    constructor(browser, targetId, sessionId) {
        this.browser = browser;
        this.targetId = targetId;
        this.sessionId = sessionId;
    }

    send(method, params = {}, timeoutMs) {
        return this.browser.send(method, params, this.sessionId, timeoutMs);
    }

    waitForEvent(method, timeoutMs) {
        return this.browser.waitForEvent(method, this.sessionId, timeoutMs);
    }

    // Calls `handler(params)` on every event `method` of this page.
    on(method, handler) {
        this.browser.listeners.push({ method, sessionId: this.sessionId, handler });
    }

    // Loads `url` and resolves once its load event fired.
    async navigate(url, timeoutMs = kCommandTimeoutMs) {
        const loaded = this.waitForEvent('Page.loadEventFired', timeoutMs);
        const answer = await this.send('Page.navigate', { url }, timeoutMs);
        if (answer.errorText) throw new ProtocolError(`cannot load ${url}: ${answer.errorText}`);
        await loaded;
    }

    // The value of `expression` in the page (a promise is awaited); a thrown error rejects, with
    // the page's own message.
    async evaluate(expression, timeoutMs = kCommandTimeoutMs) {
        const answer = await this.send('Runtime.evaluate',
            { expression, awaitPromise: true, returnByValue: true, timeout: timeoutMs }, timeoutMs);
        if (answer.exceptionDetails) {
            const details = answer.exceptionDetails;
            const message = details.exception && details.exception.description ? details.exception.description : details.text;
            throw new ProtocolError(`in the page: ${message}`);
        }
        return answer.result.value;
    }

    // Polls `expression` until it is truthy, and answers its value.
    async waitUntil(expression, description, timeoutMs = kCommandTimeoutMs) {
        const deadline = Date.now() + timeoutMs;
        for (;;) {
            const value = await this.evaluate(expression, timeoutMs);
            if (value) return value;
            if (Date.now() > deadline) throw new ProtocolError(`timed out waiting for ${description}`);
            await new Promise((resolve) => setTimeout(resolve, 50));
        }
    }

    // A PNG of the whole page, at least as large as the viewport it was opened with.
    async screenshot(file) {
        const { width, height } = await this.evaluate('({ width: window.innerWidth, height: window.innerHeight })');
        const size = await this.evaluate('({ width: document.documentElement.scrollWidth, height: document.documentElement.scrollHeight })');
        const answer = await this.send('Page.captureScreenshot', {
            format: 'png',
            captureBeyondViewport: true,
            clip: { x: 0, y: 0, width: Math.max(width, size.width), height: Math.max(height, size.height), scale: 1 },
        });
        fs.writeFileSync(file, Buffer.from(answer.data, 'base64'));
    }

    async close() {
        await this.browser.send('Target.closeTarget', { targetId: this.targetId });
    }
}

class Browser {
    // Starts headless Chromium speaking the protocol on file descriptors 3 (to it) and 4 (from it).
    static async launch({ executable = '/usr/bin/chromium', extraArguments = [] } = {}) {
        const userDataDir = fs.mkdtempSync(path.join(os.tmpdir(), 'das-workbench-test-'));
        const child = spawn(executable, [
            '--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
            '--disable-background-networking', '--disable-component-update', '--disable-sync',
            `--user-data-dir=${userDataDir}`, '--remote-debugging-pipe', ...extraArguments, 'about:blank',
        ], { stdio: ['ignore', 'pipe', 'pipe', 'pipe', 'pipe'] });
        const browser = new Browser(child, userDataDir);
        try {
            await browser.send('Target.setDiscoverTargets', { discover: false });
        } catch (error) {
            browser.abandon();
            throw new ProtocolError(`${executable} does not answer: ${error.message}`);
        }
        return browser;
    }

    constructor(child, userDataDir) {
        this.child = child;
        this.userDataDir = userDataDir;
        this.nextId = 1;
        this.pending = new Map();  // id -> { resolve, reject, timer, method }
        this.waiters = [];         // { method, sessionId, resolve, reject, timer }
        this.listeners = [];       // { method, sessionId, handler }
        this.stderr = '';
        this.exited = false;
        let buffered = Buffer.alloc(0);
        child.stdio[4].on('data', (chunk) => {
            buffered = Buffer.concat([buffered, chunk]);
            for (let end = buffered.indexOf(0); end >= 0; end = buffered.indexOf(0)) {
                const message = buffered.subarray(0, end).toString('utf8');
                buffered = buffered.subarray(end + 1);
                this.receive(JSON.parse(message));
            }
        });
        // The browser's own chatter is kept for the report of a failure, never shown otherwise.
        child.stderr.on('data', (chunk) => { this.stderr = (this.stderr + chunk).slice(-4000); });
        child.stdout.on('data', () => {});
        child.stdio[3].on('error', () => {});
        const gone = (why) => {
            this.exited = true;
            const failure = new ProtocolError(`${why}\n${this.stderr}`);
            for (const call of this.pending.values()) { clearTimeout(call.timer); call.reject(failure); }
            this.pending.clear();
            for (const waiter of this.waiters) { clearTimeout(waiter.timer); waiter.reject(failure); }
            this.waiters = [];
        };
        child.on('exit', () => gone('the browser exited'));
        child.on('error', (error) => gone(`the browser cannot run: ${error.message}`));
    }

    receive(message) {
        if (message.id !== undefined) {
            const call = this.pending.get(message.id);
            if (!call) return;
            this.pending.delete(message.id);
            clearTimeout(call.timer);
            if (message.error) call.reject(new ProtocolError(`${call.method}: ${message.error.message}`));
            else call.resolve(message.result);
            return;
        }
        for (const listener of this.listeners) {
            if (listener.method === message.method && listener.sessionId === message.sessionId) listener.handler(message.params);
        }
        const matching = this.waiters.filter((w) => w.method === message.method && w.sessionId === message.sessionId);
        this.waiters = this.waiters.filter((w) => !matching.includes(w));
        for (const waiter of matching) { clearTimeout(waiter.timer); waiter.resolve(message.params); }
    }

    send(method, params = {}, sessionId, timeoutMs = kCommandTimeoutMs) {
        if (this.exited) return Promise.reject(new ProtocolError(`${method}: the browser is gone`));
        const id = this.nextId++;
        const message = { id, method, params };
        if (sessionId) message.sessionId = sessionId;
        return new Promise((resolve, reject) => {
            const timer = setTimeout(() => {
                this.pending.delete(id);
                reject(new ProtocolError(`${method}: no answer in ${timeoutMs} ms`));
            }, timeoutMs);
            this.pending.set(id, { resolve, reject, timer, method });
            this.child.stdio[3].write(JSON.stringify(message) + '\0');
        });
    }

    waitForEvent(method, sessionId, timeoutMs = kCommandTimeoutMs) {
        return new Promise((resolve, reject) => {
            const waiter = { method, sessionId, resolve, reject };
            waiter.timer = setTimeout(() => {
                this.waiters = this.waiters.filter((w) => w !== waiter);
                reject(new ProtocolError(`no ${method} in ${timeoutMs} ms`));
            }, timeoutMs);
            this.waiters.push(waiter);
        });
    }

    // A new blank page of `width` by `height` CSS pixels, attached, with page and runtime events on.
    async newPage({ width = 1400, height = 1000 } = {}) {
        const { targetId } = await this.send('Target.createTarget', { url: 'about:blank' });
        const { sessionId } = await this.send('Target.attachToTarget', { targetId, flatten: true });
        const page = new Page(this, targetId, sessionId);
        await page.send('Emulation.setDeviceMetricsOverride', { width, height, deviceScaleFactor: 1, mobile: false });
        await page.send('Page.enable');
        await page.send('Runtime.enable');
        return page;
    }

    // Asks the browser to close, kills it if it does not, and removes its data directory.
    async close() {
        if (!this.exited) {
            const exited = new Promise((resolve) => this.child.once('exit', resolve));
            this.send('Browser.close', {}, undefined, kCloseTimeoutMs).catch(() => {});
            const timer = setTimeout(() => this.child.kill('SIGKILL'), kCloseTimeoutMs);
            await exited;
            clearTimeout(timer);
        }
        fs.rmSync(this.userDataDir, { recursive: true, force: true, maxRetries: 5, retryDelay: 100 });
    }

    // For a test out of time: kills the browser at once and removes what it can of its directory.
    abandon() {
        if (!this.exited) this.child.kill('SIGKILL');
        try {
            fs.rmSync(this.userDataDir, { recursive: true, force: true });
        } catch (error) {
            // The browser may still hold files; the directory is a temporary one.
        }
    }
}

module.exports = { Browser, Page, ProtocolError };
