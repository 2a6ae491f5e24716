// The package as its users get it: packed, installed into an empty project without install scripts, and
// used from CommonJS, ESM and TypeScript on every Node.js it supports.
'use strict';

const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const { execFileSync, spawnSync } = require('node:child_process');
const test = require('node:test');

const { nodes } = require('./nodes.js');
const { readmeBlocks, temporaryFolder } = require('./support.js');

const kRoot = path.join(__dirname, '../..');
const kBuilt = path.join(kRoot, 'build/release/velkor_brennox2.node');
const kPrebuilt = path.join(kRoot, 'prebuilds/linux-x64/velkor_brennox2.node');

const kScripts = {
  'use.cjs': `
const assert = require('node:assert');
const brennox = require('velkor_brennox2');
const { ErrorCode } = require('velkor_brennox2/constants');
assert.strictEqual(Object.keys(brennox).length, 16);
const builder = new brennox.MessageBuilder();
builder.textBody = 'hello';
assert.ok(builder.data.includes('hello'));
assert.strictEqual(ErrorCode.None, 0);
assert.strictEqual(require('velkor_brennox2/velkor_brennox2.node').Data, brennox.Data);
`,
  'use.mjs': `
import assert from 'node:assert';
import brennox, { Data, MessageParser } from 'velkor_brennox2';
import { MessageFlag } from 'velkor_brennox2/constants';
assert.strictEqual(brennox.Data, Data);
const parser = new MessageParser();
parser.Import(Buffer.from('Subject: hi\\r\\n\\r\\ntext\\r\\n'));
assert.strictEqual(parser.header.subject, 'hi');
assert.strictEqual(MessageFlag.Seen, 1);
`,
  'typed.mts': `
import { Data, MessageBuilder, type Callback } from 'velkor_brennox2';
import { ErrorCode } from 'velkor_brennox2/constants';
const length: number = new Data(Buffer.from('x')).length();
if (length !== 1 || ErrorCode.None !== 0) throw new Error('wrong');
const callback: Callback<Buffer> = (error, data) => {
  if (error !== null || data.length === 0) throw new Error('no message');
};
new MessageBuilder().getDataAsync(callback);
`,
};

// The lines of the README that say how the module is loaded.
function usageLines() {
  const [block] = readmeBlocks('## Using it', 'js');
  return block.trim().split('\n').map((line) => line.replace('/path/to/build', path.join(kRoot, 'build')));
}

test('the packed module', { skip: !fs.existsSync(kPrebuilt) && 'the release is not built' }, async (t) => {
  const folder = temporaryFolder(t);
  const npm = (...args) => execFileSync('npm', args, { cwd: folder, encoding: 'utf8', stdio: ['ignore', 'pipe', 'pipe'] });
  const [{ filename, files }] = JSON.parse(npm('pack', kRoot, '--json', '--ignore-scripts', '--silent'));
  fs.writeFileSync(path.join(folder, 'package.json'), '{"private": true}');
  npm('install', '--ignore-scripts', '--no-audit', '--no-fund', '--offline', `./${filename}`);
  for (const [name, text] of Object.entries(kScripts)) fs.writeFileSync(path.join(folder, name), text);

  await t.test('holds what a user needs and nothing of the workshop', () => {
    const names = files.map((file) => file.path);
    for (const name of ['index.js', 'index.mjs', 'index.d.ts', 'index.d.mts', 'constants.js', 'constants.d.ts', 'README.md', 'LICENSE',
      'docs/certificates.md', 'docs/api/README.md',
      'prebuilds/linux-x64/velkor_brennox2.node', 'prebuilds/linux-x64/velkor_brennox2_impl.so']) {
      assert.ok(names.includes(name), `${name} is missing`);
    }
    assert.deepEqual(names.filter((name) => /^(test|bench|build|brennox|src|node_modules)\//.test(name)), []);
  });

  await t.test('every file that the README links to is there', () => {
    const here = path.join(folder, 'node_modules/velkor_brennox2');
    const links = [...fs.readFileSync(path.join(here, 'README.md'), 'utf8').matchAll(/\]\(([^)#:]+)\)/g)].map(([, link]) => link);
    assert.ok(links.length > 10);
    for (const link of links) assert.ok(fs.existsSync(path.join(here, link)), link);
  });

  await t.test('an example runs', () => {
    fs.writeFileSync(path.join(folder, 'mail.eml'), 'Subject: packed\r\n\r\ntext\r\n');
    const example = path.join(folder, 'node_modules/velkor_brennox2/examples/unpack.js');
    assert.match(execFileSync(process.execPath, [example, 'mail.eml', 'parts'], { cwd: folder, encoding: 'utf8' }), /^Subject: packed$/m);
  });

  await t.test('the declarations compile', () => {
    execFileSync(process.execPath, [path.join(kRoot, 'node_modules/typescript/bin/tsc'), '--strict', '--module', 'nodenext',
      '--target', 'es2022', '--typeRoots', path.join(kRoot, 'node_modules/@types'), '--types', 'node', 'typed.mts'], { cwd: folder, stdio: 'pipe' });
  });

  for (const { name: version, file, skip } of nodes) {
    for (const name of ['use.cjs', 'use.mjs', 'typed.mjs']) {
      await t.test(`${name} runs on ${version}`, { skip }, () => {
        execFileSync(file, [name], { cwd: folder, stdio: 'pipe' });
      });
    }
  }

  await t.test('every line of the README that loads it works', { skip: !fs.existsSync(kBuilt) && 'the release is not built here' }, () => {
    const lines = usageLines();
    assert.equal(lines.length, 5);
    for (const line of lines) {
      const name = line.startsWith('import') ? 'line.mjs' : 'line.cjs';
      const [, variable] = /(\w+) (?:\}|=)/.exec(line);
      fs.writeFileSync(path.join(folder, name), `${line}\nif (${variable} === undefined) throw new Error('nothing');\n`);
      execFileSync(process.execPath, [name], { cwd: folder, stdio: 'pipe' });
    }
  });
});

test('the folder installs as it is', { skip: !fs.existsSync(kPrebuilt) && 'the release is not built' }, (t) => {
  const folder = temporaryFolder(t);
  fs.writeFileSync(path.join(folder, 'package.json'), '{"private": true}');
  execFileSync('npm', ['install', '--no-audit', '--no-fund', '--offline', kRoot], { cwd: folder, stdio: 'pipe' });
  fs.writeFileSync(path.join(folder, 'use.cjs'), kScripts['use.cjs'].replace(/^assert.*velkor_brennox2\.node.*$/m, ''));
  execFileSync(process.execPath, ['use.cjs'], { cwd: folder, stdio: 'pipe' });
});

test('without a native module, loading says how to build one', (t) => {
  const folder = temporaryFolder(t);
  fs.copyFileSync(path.join(kRoot, 'index.js'), path.join(folder, 'index.js'));
  const { stdout } = spawnSync(process.execPath, ['-e', 'try { require("./index.js") } catch (error) { console.log(error.message) }'],
    { cwd: folder, encoding: 'utf8' });
  assert.match(stdout, /no native module for linux-x64.*npm run build/);
});
