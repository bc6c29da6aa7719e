'use strict';
// Captures of real windows through the installed package: what is left out, how the frame is
// laid out, what the options accept, and the zero-copy frame's validity.
const test = require('node:test');
const assert = require('node:assert/strict');
const { inspect } = require('node:util');
const vistrel = require('vistrel');
const { showWindows, pixel } = require('./support');

const kGreen = 0x20a040;
const kRed = 0xc81e28;
const rect = { left: 0, top: 0, right: 640, bottom: 480 };
const inside = { x: 300, y: 250 };  // under both windows
const onlyGreen = { x: 150, y: 120 };

test('captures with windows left out', async (t) => {
  const scene = await showWindows([
    { rect: [100, 100, 500, 400], rgb: kGreen },
    { rect: [200, 150, 400, 350], rgb: kRed },
  ]);
  t.after(scene.stop);
  const [green, red] = scene.handles;
  const host = await vistrel.start({ rect });
  t.after(() => host.close());

  const all = await host.capture();
  assert.equal(all.code, 2000, all.text);
  assert.deepEqual([all.width, all.height, all.stride, all.data.length], [640, 480, 2560, 640 * 480 * 4]);
  assert.deepEqual(all.rects, [{ left: 0, top: 0, right: 640, bottom: 480 }]);
  assert.equal(typeof all.wait.iterations, 'number');
  assert.equal(all.wait.timedOut, false);
  assert.equal(pixel(all, inside.x, inside.y), kRed);
  assert.equal(pixel(all, onlyGreen.x, onlyGreen.y), kGreen);

  // The red window as each accepted handle form; Electron's is an 8-byte little-endian Buffer.
  const asBuffer = Buffer.alloc(8);
  asBuffer.writeBigUInt64LE(red);
  for (const exclude of [[red], [Number(red)], asBuffer, [asBuffer, 12345n], new Set([red])]) {
    const frame = await host.capture({ exclude });
    assert.equal(frame.code, 2000, frame.text);
    assert.equal(pixel(frame, inside.x, inside.y), kGreen, `exclude ${inspect(exclude)}`);
  }
  const both = await host.capture({ exclude: [red, green], cursor: true, timeoutMs: 10000 });
  assert.notEqual(pixel(both, inside.x, inside.y), kRed);
  assert.notEqual(pixel(both, inside.x, inside.y), kGreen);
});

test('an unchanged screen reports no changed rectangles, and the copy outlives the next capture', async (t) => {
  const host = await vistrel.start({ rect });
  t.after(() => host.close());
  const first = await host.capture();
  const kept = Buffer.from(first.data);
  const second = await host.capture();
  assert.equal(second.code, 2000, second.text);
  assert.deepEqual(second.rects, []);
  assert.equal(first.data.length, kept.length);
  assert.ok(first.data.equals(kept));
});

test('a zero-copy frame is valid until the next capture starts, then detached', async (t) => {
  const scene = await showWindows([{ rect: [100, 100, 500, 400], rgb: kGreen }]);
  t.after(scene.stop);
  const copying = await vistrel.start({ rect });
  const copied = await copying.capture();
  await copying.close();
  const host = await vistrel.start({ rect, zeroCopy: true });
  t.after(() => host.close());
  const first = await host.capture();
  assert.equal(first.code, 2000, first.text);
  assert.equal(first.stride, copied.stride);
  assert.ok(first.data.equals(copied.data));
  assert.equal(pixel(first, onlyGreen.x, onlyGreen.y), kGreen);
  assert.deepEqual(first.rects, [{ left: 0, top: 0, right: 640, bottom: 480 }]);
  const pending = host.capture();
  await pending;
  assert.equal(first.data.length, 0);
  const last = await host.capture();
  await host.close();
  assert.equal(last.data.length, 0);
});

test("an answer without a picture resolves with the server's code and text", async (t) => {
  // The stand-in renders black when its server's environment says so (inherited at start).
  process.env.VXMAG_RENDER = 'black';
  let host;
  try {
    host = await vistrel.start({ rect });
  } finally {
    delete process.env.VXMAG_RENDER;
  }
  t.after(() => host.close());
  const frame = await host.capture();
  assert.equal(frame.code, 2022);
  assert.match(frame.text, /All captured pixels are black/);
  assert.deepEqual([frame.data.length, frame.rects.length], [0, 0]);
});

test('bad arguments reject with a code before anything is sent', async (t) => {
  const host = await vistrel.start({ rect });
  t.after(() => host.close());
  const cases = [
    [{ exclude: ['window'] }, 'ERR_INVALID_ARG_TYPE'],
    [{ exclude: [-1] }, 'ERR_INVALID_ARG_VALUE'],
    [{ exclude: [2 ** 64 + 1] }, 'ERR_INVALID_ARG_VALUE'],
    [{ exclude: Buffer.alloc(3) }, 'ERR_INVALID_ARG_VALUE'],
    [{ cursor: 'yes' }, 'ERR_INVALID_ARG_TYPE'],
    [{ timeoutMs: -1 }, 'ERR_INVALID_ARG_VALUE'],
    [{ timeoutMs: 1.5 }, 'ERR_INVALID_ARG_VALUE'],
    [{ signal: {} }, 'ERR_INVALID_ARG_TYPE'],
  ];
  for (const [options, code] of cases)
    await assert.rejects(host.capture(options), { code }, JSON.stringify(options));
  // The library's own limit, checked there before the list is read.
  await assert.rejects(host.capture({ exclude: Array.from({ length: 1024 }, (_, i) => i + 1) }), { code: 2005 });
  assert.equal((await host.capture()).code, 2000);

  for (const [options, code] of [
    [{ rect: { left: 0, top: 0, right: 0, bottom: 10 } }, 'ERR_INVALID_ARG_VALUE'],
    [{ rect: { left: 0, top: 0, right: 10 } }, 'ERR_INVALID_ARG_VALUE'],
    [{ rect, log: 5 }, 'ERR_INVALID_ARG_TYPE'],
    [{ rect, serverPath: 'Z:\\nowhere\\Vistrel.exe' }, 2008],
  ])
    await assert.rejects(vistrel.start(options), { code }, JSON.stringify(options));
});

test('monitors and the default rectangle', async (t) => {
  const monitors = await vistrel.monitors();
  assert.equal(monitors.length, 1);
  assert.deepEqual(monitors[0].bounds, { left: 0, top: 0, right: 1920, bottom: 1080 });
  assert.equal(monitors[0].primary, true);
  assert.match(monitors[0].deviceName, /^\\\\\.\\DISPLAY\d+$/);
  const host = await vistrel.start();
  t.after(() => host.close());
  const frame = await host.capture();
  assert.deepEqual([frame.width, frame.height], [1920, 1080]);
  assert.equal(vistrel.version, '1.1.0');
});
