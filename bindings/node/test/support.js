'use strict';
// Helpers of the package's tests: test windows and server suspension through the test kit
// (a small Windows program; JavaScript cannot call Win32), and reading pixels.
const { spawn, spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { setTimeout: sleep } = require('node:timers/promises');

const kit = process.env.VISTREL_TEST_KIT;

// Shows solid topmost windows ({ rect: [l, t, r, b], rgb: 0xRRGGBB }, later ones on top) and
// resolves with their handles (BigInts) and a stop().
async function showWindows(windows, seconds = 120) {
  const ready = path.join(fs.mkdtempSync(path.join(os.tmpdir(), 'vistrel-windows-')), 'ready');
  const args = ['windows', ready, String(seconds),
    ...windows.map(({ rect, rgb }) => `${rect.join(',')},${rgb.toString(16).padStart(6, '0')}`)];
  const child = spawn(kit, args, { stdio: 'ignore' });
  for (let i = 0; i < 200 && !fs.existsSync(ready); ++i) await sleep(50);
  if (!fs.existsSync(ready)) {
    child.kill();
    throw new Error('the test windows did not come up');
  }
  const handles = fs.readFileSync(ready, 'utf8').trim().split('\n').map(BigInt);
  // Painting follows creation; give the windows a moment before the first capture.
  await sleep(200);
  return { handles, stop: () => child.kill() };
}

function setSuspended(pid, suspended) {
  const result = spawnSync(kit, [suspended ? 'suspend' : 'resume', String(pid)], { stdio: 'ignore' });
  if (result.status !== 0) throw new Error(`could not ${suspended ? 'suspend' : 'resume'} process ${pid}`);
}

// Collects a host's log lines; pid() reads the server's process id from the start line.
function logCollector() {
  const lines = [];
  return {
    lines,
    listener: (line, fromHost) => lines.push({ line, fromHost }),
    pid() {
      for (const { line } of lines) {
        const found = /Server started: .*; process id (\d+);/.exec(line);
        if (found) return Number(found[1]);
      }
      return undefined;
    },
  };
}

function isRunning(pid) {
  try {
    process.kill(pid, 0);
    return true;
  } catch (error) {
    if (error.code === 'ESRCH') return false;
    throw error;
  }
}

async function waitUntil(condition, timeoutMs) {
  const end = Date.now() + timeoutMs;
  while (!condition() && Date.now() < end) await sleep(50);
  return condition();
}

// The pixel at (x, y) of a frame as 0xRRGGBB.
function pixel(frame, x, y) {
  const at = y * frame.stride + x * 4;
  return (frame.data[at + 2] << 16) | (frame.data[at + 1] << 8) | frame.data[at];
}

module.exports = { showWindows, setSuspended, logCollector, isRunning, waitUntil, pixel, sleep };
