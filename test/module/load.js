'use strict';
// The module under test: the release build, or the file that VELKOR_BRENNOX2 names.
const path = require('node:path');

const file = process.env.VELKOR_BRENNOX2
  ? path.resolve(process.env.VELKOR_BRENNOX2)
  : path.join(__dirname, '../../build/release/velkor_brennox2.node');
// Child processes and workers of a test load the same file.
process.env.VELKOR_BRENNOX2 = file;
// Where the small addons of the tests lie.
process.env.BRENNOX_TEST_ADDONS ??= path.join(path.dirname(file), 'test-addons');

module.exports = require(file);
