'use strict';
// Round trip of one capture (request to frame in hand) through JavaScript against the same
// capture through C (vistrel-node-bench-c), in one run, in both frame modes; alternating rounds
// so that a busy moment of the machine hits both sides; the median of all captures of a side.
// Prints a table and one JSON line.
// usage: node roundtrip.js BENCH_C_EXE SERVER_EXE [captures per round] [rounds]
const { spawnSync } = require('node:child_process');
const vistrel = require('vistrel');

const [benchC, server, countText = '10', roundsText = '20'] = process.argv.slice(2);
const count = Number(countText);
const rounds = Number(roundsText);
const rect = { left: 0, top: 0, right: 1920, bottom: 1080 };

const median = (values) => [...values].sort((a, b) => a - b)[values.length >> 1];

function viaC(mode) {
  const result = spawnSync(benchC, [server, '0', '0', '1920', '1080', String(count), mode], { encoding: 'utf8' });
  if (result.status !== 0) throw new Error(`C benchmark failed: ${result.stderr}`);
  return JSON.parse(result.stdout.trim()).timesMs;
}

async function viaJavaScript(zeroCopy) {
  const host = await vistrel.start({ rect, serverPath: server, zeroCopy });
  try {
    const times = [];
    for (let i = -1; i < count; ++i) {
      const before = process.hrtime.bigint();
      const frame = await host.capture();
      const ms = Number(process.hrtime.bigint() - before) / 1e6;
      if (frame.code !== 2000 || frame.data.length !== 1920 * 1080 * 4) throw new Error(`capture: ${frame.text}`);
      if (i >= 0) times.push(ms);
    }
    return times;
  } finally {
    await host.close();
  }
}

async function main() {
  const results = {};
  for (const [mode, zeroCopy] of [['copy', false], ['zero-copy', true]]) {
    const c = [];
    const js = [];
    for (let round = 0; round < rounds; ++round) {
      c.push(...viaC(mode));
      js.push(...(await viaJavaScript(zeroCopy)));
    }
    const cMs = median(c);
    const jsMs = median(js);
    results[mode] = { cMs, jsMs, ratio: jsMs / cMs, cMinMs: Math.min(...c), jsMinMs: Math.min(...js) };
  }
  for (const [mode, r] of Object.entries(results)) {
    console.log(`${mode.padEnd(9)}  median: C ${r.cMs.toFixed(2)} ms, JavaScript ${r.jsMs.toFixed(2)} ms, ratio ` +
      `${r.ratio.toFixed(3)}; fastest: C ${r.cMinMs.toFixed(2)} ms, JavaScript ${r.jsMinMs.toFixed(2)} ms`);
  }
  console.log(JSON.stringify({ captures: count, rounds, size: '1920x1080', results }));
}

main().catch((error) => {
  console.error(error);
  process.exitCode = 1;
});
