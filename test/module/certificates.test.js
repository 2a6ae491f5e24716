'use strict';
// docs/certificates.md, run as a newcomer would.
const test = require('node:test');
const assert = require('node:assert/strict');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { execFileSync } = require('node:child_process');
require('./load.js');

test('the guide to certificates runs as it stands', () => {
  const home = fs.mkdtempSync(path.join(os.tmpdir(), 'brennox-guide-'));
  try {
    const guide = fs.readFileSync(path.join(__dirname, '../../docs/certificates.md'), 'utf8');
    const blocks = (language) => [...guide.matchAll(new RegExp('^```' + language + '\\n([^]*?)^```', 'gm'))].map((found) => found[1]).join('');
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
