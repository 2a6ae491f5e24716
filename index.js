'use strict';
// Loads the native module: a build of this folder, else the one that came with the package.

const fs = require('node:fs');
const path = require('node:path');

const kFile = 'velkor_brennox2.node';
const candidates = [
  path.join(__dirname, 'build', 'release', kFile),
  path.join(__dirname, 'prebuilds', `${process.platform}-${process.arch}`, kFile),
];

const found = candidates.find((file) => fs.existsSync(file));
if (found === undefined) {
  throw new Error(
    `velkor_brennox2: no native module for ${process.platform}-${process.arch}, looked for ${candidates.join(' and ')}. ` +
      'Build it in the package\'s folder with "npm ci && npm run build" (needs CMake, a C++20 compiler and the ' +
      'libraries listed in the README).',
  );
}

// On Linux the module needs glibc.
function isMusl() {
  if (process.platform !== 'linux') return false;
  const { header } = process.report.getReport();
  return header.glibcVersionRuntime === undefined;
}

try {
  module.exports = require(found);
} catch (error) {
  if (isMusl()) {
    error.message = `velkor_brennox2: systems with musl instead of glibc are not supported (${error.message})`;
  }
  throw error;
}
