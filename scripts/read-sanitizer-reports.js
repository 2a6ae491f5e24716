'use strict';
// read-sanitizer-reports.js <folder>: prints what the sanitizers found in our code and exits with 1 if that is
// anything. A leak is ours when the first frame outside the allocator and the C++ library is in our module or
// in a library that it brings.
const fs = require('node:fs');
const path = require('node:path');

const kAllocator = /libasan|libubsan|libstdc\+\+|libc\.so/;
const kOurs = /velkor_brennox2|libcurl|libssl|libcrypto|libicu|libgumbo|libgsasl/;

const isOurs = (stack) => {
  const frames = stack.split('\n').filter((line) => /^\s+#\d+ /.test(line));
  const first = frames.find((frame) => !kAllocator.test(frame.slice(frame.lastIndexOf('('))));
  return first !== undefined && kOurs.test(first);
};

const folder = process.argv[2];
let found = 0;
for (const name of fs.readdirSync(folder)) {
  const text = fs.readFileSync(path.join(folder, name), 'utf8');
  const errors = /ERROR: AddressSanitizer|runtime error:/.test(text) ? [text] : [];
  const leaks = text.split(/\n(?=(?:Direct|Indirect) leak of )/).slice(1).filter(isOurs);
  for (const report of [...errors, ...leaks]) {
    ++found;
    if (found <= 20) console.log(`${name}:\n${report}\n`);
  }
}
console.log(`sanitizers: ${found} findings`);
process.exit(found === 0 ? 0 : 1);
