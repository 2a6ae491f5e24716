'use strict';
// read-sanitizer-reports.js <folder>: prints what the sanitizers found in our code and exits with 1 if that is
// anything. A leak is ours when the first frame outside the allocator and the C++ library is in our module or in a
// library that it brings.
const fs = require('node:fs');
const path = require('node:path');

// Frames that say nothing about whose an allocation is.
const kNeutral = /libsanitizer|libasan|libubsan|libstdc\+\+|libc\.so|\/c\+\+\//;
// With debug information a frame names its source, without it its library.
const kOurs = /\/src\/(loader|main|data|smtp|imap|message|pop)\/|\/brennox\/|\/cpcurl\/|node-addon-api\/|velkor_brennox2|lib(curl|ssl|crypto|icu|gumbo|gsasl)\b/;

const isOurs = (stack) => {
  const frames = stack.split('\n').filter((line) => /^\s+#\d+ /.test(line));
  const first = frames.find((frame) => !kNeutral.test(frame));
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
