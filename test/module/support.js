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
