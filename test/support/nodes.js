// The versions of Node.js that tests run programs on.
'use strict';

const fs = require('node:fs');
const path = require('node:path');

const kNodes = path.join(__dirname, '../../build/nodes');

// This one, and those that scripts/test-nodes has installed.
function nodeVersions() {
  const versions = [{ version: process.versions.node.split('.')[0], file: process.execPath }];
  for (const version of ['22', '24', '26']) {
    const file = path.join(kNodes, version, 'bin/node');
    if (fs.existsSync(file)) versions.push({ version, file });
  }
  return versions;
}

module.exports = { nodeVersions };
