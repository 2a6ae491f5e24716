'use strict';
// What several module tests share.
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

// A folder that is removed after the test.
exports.temporaryFolder = (t) => {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'brennox-module-'));
  t.after(() => fs.rmSync(folder, { recursive: true, force: true }));
  return folder;
};

// The arguments that `start(callback)` calls back with.
exports.called = (start) => new Promise((resolve, reject) => {
  try {
    start((...args) => resolve(args));
  } catch (error) {
    reject(error);
  }
});

exports.message = (lines, eol = '\r\n') => Buffer.from(lines.join(eol));

// The code blocks of a language under a heading of the README, in order.
exports.readmeBlocks = (heading, language) => {
  const readme = fs.readFileSync(path.join(__dirname, '../../README.md'), 'utf8');
  const [, section] = readme.split(`\n${heading}\n`);
  const [own] = section.split(/\n#{2,3} /);
  return [...own.matchAll(new RegExp(`^\`\`\`${language}\\n([^]*?)^\`\`\``, 'gm'))].map(([, block]) => block);
};
