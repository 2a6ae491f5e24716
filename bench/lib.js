// What the benchmarks share: contenders take turns in one process run, so that noise hits all alike.
'use strict';

const { execFileSync } = require('node:child_process');
const path = require('node:path');
const { setImmediate } = require('node:timers/promises');
const { setFlagsFromString } = require('node:v8');
const { runInNewContext } = require('node:vm');

const kRoot = path.join(__dirname, '..');
const kBuild = path.join(kRoot, 'build/bench');

// Configures and builds the native programs of this folder once.
function buildPrograms(...names) {
  const run = (...args) => execFileSync('cmake', args, { cwd: kRoot, stdio: 'pipe' });
  run('-S', kRoot, '-B', kBuild, '-G', 'Ninja', '-DCMAKE_BUILD_TYPE=Release', '-DBRENNOX_BENCH=ON', '-DBRENNOX_TESTS=OFF', '-DBRENNOX_MODULE=OFF');
  run('--build', kBuild, '--target', ...names);
  return names.map((name) => path.join(kBuild, name));
}

setFlagsFromString('--expose-gc');
const gc = runInNewContext('gc');

// What objects hold is given back when the event loop turns.
async function collectGarbage() {
  gc();
  await setImmediate();
}

function median(values) {
  const sorted = [...values].sort((a, b) => a - b);
  return sorted[Math.floor(sorted.length / 2)];
}

// Runs each contender `runs` times, in turns, and prints the median in milliseconds and its ratio to the
// first one. A contender is a function, sync or async; what it returns is not measured. One that returns a
// number is taken at its word: that many milliseconds. With `collect` nobody pays for the heap that the one
// before has left; collecting throws compiled code away, too, so it is not for what has to be warm.
async function compare(title, contenders, { runs = 5, collect = false } = {}) {
  const times = Object.fromEntries(Object.keys(contenders).map((name) => [name, []]));
  for (let run = 0; run < runs; run++) {
    for (const [name, work] of Object.entries(contenders)) {
      if (collect) await collectGarbage();
      const start = process.hrtime.bigint();
      const own = await work();
      times[name].push(typeof own === 'number' ? own : Number(process.hrtime.bigint() - start) / 1e6);
    }
  }
  const [first] = Object.keys(contenders);
  const base = median(times[first]);
  console.log(`\n${title} (median of ${runs})`);
  const medians = {};
  for (const [name, values] of Object.entries(times)) {
    medians[name] = median(values);
    console.log(`  ${name.padEnd(31)} ${medians[name].toFixed(2).padStart(10)} ms   ${(medians[name] / base).toFixed(2)} x ${first}`);
  }
  return medians;
}

module.exports = { buildPrograms, collectGarbage, compare, kRoot, median };
