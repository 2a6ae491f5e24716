'use strict';
// The Node.js executables that the loading tests run on: the running one, and those that scripts/test-nodes has
// installed.
const fs = require('node:fs');
const path = require('node:path');
const { spawnSync } = require('node:child_process');

const kInstalled = ['22', '24', '26'];

function reasonToSkip(file) {
  if (!fs.existsSync(file)) return 'not installed; scripts/test-nodes installs it';
  if (file !== process.execPath && /asan/.test(process.env.LD_PRELOAD ?? '')) return 'the sanitizers run on one Node.js';
  return false;
}

exports.nodes = [
  { name: `Node.js ${process.versions.node}`, file: process.execPath },
  ...kInstalled.map((major) => ({
    name: `Node.js ${major}`,
    file: path.join(__dirname, '../../build/nodes', major, 'bin/node'),
  })),
].map((node) => ({ ...node, skip: reasonToSkip(node.file) }));

// Runs a script in a process of its own; the result has status, signal, stdout and stderr.
exports.run = (node, script, { args = [], env = {}, timeout = 60_000 } = {}) =>
  spawnSync(node, [...args, '-e', script], {
    encoding: 'utf8',
    timeout,
    killSignal: 'SIGKILL',
    maxBuffer: 1 << 28,
    env: { ...process.env, ...env },
  });
