'use strict';
// The README's way from nothing to a verified mail, gone as a newcomer would.
const test = require('node:test');
const assert = require('node:assert/strict');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { execFileSync } = require('node:child_process');
require('./load.js');
const { readmeBlocks } = require('./support.js');

test('from nothing to a verified mail, as the README has it', () => {
  const home = fs.mkdtempSync(path.join(os.tmpdir(), 'brennox-guide-'));
  try {
    const blocks = (language) => readmeBlocks('### Sign and encrypt: from nothing to a verified mail', language).join('');
    const env = { PATH: process.env.PATH, HOME: home, VELKOR_BRENNOX2: process.env.VELKOR_BRENNOX2 };
    execFileSync('sh', ['-e', '-c', blocks('sh')], { cwd: home, env, stdio: 'pipe' });
    const script = blocks('js').replace("'velkor_brennox2'", JSON.stringify(process.env.VELKOR_BRENNOX2));
    const shown = execFileSync(process.execPath, ['-e', script], { cwd: home, env }).toString();
    assert.match(shown, /^decrypted: true$/m);
    assert.match(shown, /^verified: {2}true$/m);
    assert.match(shown, /^signed by: CN=alice$/m);
    assert.match(shown, /signAlg: 'RSA'/);
    assert.match(shown, /^text: +Really\.$/m);
  } finally {
    fs.rmSync(home, { recursive: true, force: true });
  }
});
