'use strict';
// The host's life: the event loop during a capture, aborting, closing, collection, the log.
// A suspended server keeps a capture in flight for as long as a test needs.
const test = require('node:test');
const assert = require('node:assert/strict');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const vistrel = require('vistrel');
const { setSuspended, logCollector, isRunning, waitUntil, sleep } = require('./support');

const rect = { left: 0, top: 0, right: 320, bottom: 240 };

async function startLogged(options = {}) {
  const log = logCollector();
  const host = await vistrel.start({ rect, log: true, ...options });
  host.on('log', log.listener);
  assert.ok(await waitUntil(() => log.pid() !== undefined, 5000), 'no start line in the log');
  return { host, log, pid: log.pid() };
}

test('timers keep firing while a capture waits for the server', async (t) => {
  const { host, pid } = await startLogged();
  t.after(() => host.close());
  setSuspended(pid, true);
  const ticks = [];
  const timer = setInterval(() => ticks.push(Date.now()), 20);
  const began = Date.now();
  try {
    // A blocked event loop would let no tick through until the capture gave up.
    await assert.rejects(host.capture({ timeoutMs: 3000 }), { code: 2024 });
  } finally {
    clearInterval(timer);
    setSuspended(pid, false);
  }
  const ended = Date.now();
  assert.ok(ended - began >= 2900, `the capture gave up after ${ended - began} ms`);
  const gaps = [began, ...ticks, ended].slice(1).map((at, i) => at - [began, ...ticks][i]);
  assert.ok(ticks.length >= 10, `only ${ticks.length} ticks in ${ended - began} ms`);
  // A loaded machine delays a tick now and then; a blocked loop stands still for 3 s.
  assert.ok(Math.max(...gaps) < 1000, `the event loop stood still for ${Math.max(...gaps)} ms`);
});

test('an abort rejects at once and cancels the native call, so the host is free at once', async (t) => {
  const { host, pid } = await startLogged();
  t.after(() => host.close());
  assert.equal((await host.capture()).code, 2000);
  setSuspended(pid, true);
  const controller = new AbortController();
  const capture = host.capture({ timeoutMs: 20000, signal: controller.signal });
  const queued = host.capture({ signal: controller.signal });
  await sleep(200);
  const aborted = Date.now();
  controller.abort();
  await assert.rejects(capture, { name: 'AbortError', code: 'ABORT_ERR' });
  await assert.rejects(queued, { name: 'AbortError', code: 'ABORT_ERR' });
  // Without the abort it would take 20 s; a loaded machine may take a moment.
  assert.ok(Date.now() - aborted < 1000, `rejected ${Date.now() - aborted} ms after the abort`);
  await assert.rejects(host.capture({ signal: AbortSignal.abort() }), { code: 'ABORT_ERR' });
  // The next call runs as soon as the cancelled one has returned, not when its 20 s are up: the
  // server, still suspended, is asked whether it has ended.
  await assert.rejects(host.waitExit(0), { code: 2024 });
  assert.ok(Date.now() - aborted < 2000, `the host was busy ${Date.now() - aborted} ms after the abort`);
  setSuspended(pid, false);
  // The server answers the abandoned request; the next one gets its own answer.
  const next = await host.capture({ timeoutMs: 20000 });
  assert.equal(next.code, 2000, next.text);
});

test('close cancels the capture in flight, refuses the queued calls and ends the server', async () => {
  const file = path.join(fs.mkdtempSync(path.join(os.tmpdir(), 'vistrel-log-')), 'server.log');
  const { host, pid, log } = await startLogged({ log: file });
  assert.equal((await host.capture()).code, 2000);
  setSuspended(pid, true);
  const inFlight = host.capture({ timeoutMs: 20000 });
  await sleep(200);
  const queued = host.capture();
  const began = Date.now();
  const closed = host.close();
  assert.equal(host.close(), closed);
  await assert.rejects(inFlight, { code: 2028 });
  // Without the cancel it would wait out its 20 s.
  assert.ok(Date.now() - began < 1000, `the capture ended ${Date.now() - began} ms after close()`);
  await assert.rejects(queued, { code: 'ERR_VISTREL_CLOSED' });
  await closed;
  await host[Symbol.asyncDispose]();
  assert.equal(isRunning(pid), false);
  await assert.rejects(host.capture(), { code: 'ERR_VISTREL_CLOSED' });
  await assert.rejects(host.waitExit(), { code: 'ERR_VISTREL_CLOSED' });
  await assert.rejects(host.restartCount(), { code: 'ERR_VISTREL_CLOSED' });
  await assert.rejects(host.setRect(rect), { code: 'ERR_VISTREL_CLOSED' });
  // The file holds what the events carried, the end included.
  const written = fs.readFileSync(file, 'utf8');
  assert.match(written, /\[host\] Server started: .*process id/);
  assert.match(written, /\[host\] Server ended with exit code/);
  assert.ok(log.lines.every(({ line }) => written.includes(line)));
  assert.ok(log.lines.some(({ fromHost }) => fromHost));
});

test('autoRestart replaces a killed server, within the crash restarts a minute allows', async (t) => {
  const host = await vistrel.start({ rect, autoRestart: true, maxCrashRestartsPerMinute: 1 });
  t.after(() => host.close());
  assert.equal((await host.capture()).code, 2000);
  assert.equal(await host.restartCount(), 0);
  const first = { pid: await host.serverProcessId(), identifier: await host.identifier() };
  assert.equal(isRunning(first.pid), true);
  assert.notEqual(first.identifier, '');

  process.kill(first.pid);
  assert.ok(await waitUntil(() => !isRunning(first.pid), 5000), 'the server outlived its kill');
  const frame = await host.capture();
  assert.equal(frame.code, 2000, frame.text);
  assert.equal(await host.restartCount(), 1);
  const second = { pid: await host.serverProcessId(), identifier: await host.identifier() };
  assert.notEqual(second.pid, first.pid);
  assert.notEqual(second.identifier, first.identifier);

  // The one crash restart of this minute is spent: the next end is reported.
  process.kill(second.pid);
  assert.ok(await waitUntil(() => !isRunning(second.pid), 5000), 'the server outlived its kill');
  await assert.rejects(host.capture(), { code: 3001 });
  assert.equal(await host.restartCount(), 1);
});

test('setRect: the next capture has the new size, from a new server', async (t) => {
  const host = await vistrel.start({ rect });
  t.after(() => host.close());
  assert.equal((await host.capture()).width, rect.right - rect.left);
  const pid = await host.serverProcessId();
  await assert.rejects(host.setRect({ left: 5, top: 0, right: 5, bottom: 10 }), { code: 'ERR_INVALID_ARG_VALUE' });
  await host.setRect({ left: 10, top: 20, right: 170, bottom: 140 });
  const frame = await host.capture();
  assert.equal(frame.code, 2000, frame.text);
  assert.deepEqual([frame.width, frame.height, frame.data.length], [160, 120, 160 * 120 * 4]);
  assert.equal(await host.restartCount(), 1);
  assert.notEqual(await host.serverProcessId(), pid);
});

test('waitExit tells a running server from an ended one', async (t) => {
  const { host, pid } = await startLogged();
  t.after(() => host.close());
  await assert.rejects(host.waitExit(0), { code: 2024 });
  process.kill(pid);
  const exit = await host.waitExit(5000);
  assert.equal(exit.finalCode, 0);
  assert.notEqual(exit.exitCode, 10);
  await assert.rejects(host.capture(), { code: 3001 });
});

test('a host collected without close ends its server', { skip: !global.gc && 'needs --expose-gc' }, async () => {
  let pid;
  await (async () => {
    const { host, pid: started } = await startLogged();
    assert.equal((await host.capture()).code, 2000);
    pid = started;
  })();
  assert.equal(isRunning(pid), true);
  const ended = await waitUntil(() => {
    global.gc();
    return !isRunning(pid);
  }, 10000);
  assert.ok(ended, `server ${pid} still runs after its host was collected`);
});
