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

test('an abort rejects at once; the call it left behind finishes before the next', async (t) => {
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
  setSuspended(pid, false);
  // The server answers the abandoned request; the next one gets its own answer.
  const next = await host.capture({ timeoutMs: 20000 });
  assert.equal(next.code, 2000, next.text);
});

test('close ends the server, settles queued calls first and refuses later ones', async () => {
  const file = path.join(fs.mkdtempSync(path.join(os.tmpdir(), 'vistrel-log-')), 'server.log');
  const { host, pid, log } = await startLogged({ log: file });
  const inFlight = host.capture();
  const closed = host.close();
  assert.equal(host.close(), closed);
  assert.equal((await inFlight).code, 2000);
  await closed;
  await host[Symbol.asyncDispose]();
  assert.equal(isRunning(pid), false);
  await assert.rejects(host.capture(), { code: 'ERR_VISTREL_CLOSED' });
  await assert.rejects(host.waitExit(), { code: 'ERR_VISTREL_CLOSED' });
  // The file holds what the events carried, the end included.
  const written = fs.readFileSync(file, 'utf8');
  assert.match(written, /\[host\] Server started: .*process id/);
  assert.match(written, /\[host\] Server ended with exit code/);
  assert.ok(log.lines.every(({ line }) => written.includes(line)));
  assert.ok(log.lines.some(({ fromHost }) => fromHost));
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
