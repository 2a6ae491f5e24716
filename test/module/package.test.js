'use strict';
// The package as others install it: packed, installed without scripts, loaded in both module systems.
const test = require('node:test');
const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const { execFileSync, spawnSync } = require('node:child_process');
const { nodes } = require('./nodes.js');
const { temporaryFolder } = require('./support.js');

const kRoot = path.join(__dirname, '../..');
const kBuilt = path.join(kRoot, 'prebuilds/linux-x64/velkor_brennox2.node');

test('the packed package installs and loads', { skip: fs.existsSync(kBuilt) ? false : 'there is no release build' }, (t) => {
  const folder = temporaryFolder(t);
  const npm = (args, cwd) => execFileSync('npm', [...args, '--offline', '--ignore-scripts', '--no-audit', '--no-fund'],
    { cwd, encoding: 'utf8', stdio: ['ignore', 'pipe', 'ignore'] });
  const [{ filename, files }] = JSON.parse(npm(['pack', '--json', '--pack-destination', folder], kRoot));
  const packed = files.map((file) => file.path);
  for (const needed of ['index.js', 'index.mjs', 'index.d.ts', 'index.d.mts', 'constants.js', 'constants.d.ts',
    'prebuilds/linux-x64/velkor_brennox2.node', 'prebuilds/linux-x64/velkor_brennox2_impl.so']) {
    assert.ok(packed.includes(needed), needed);
  }
  assert.deepStrictEqual(packed.filter((file) => /^(src|test|build|node_modules|brennox)\//.test(file)), []);

  fs.writeFileSync(path.join(folder, 'package.json'), '{}');
  npm(['install', `./${filename}`], folder);
  fs.writeFileSync(path.join(folder, 'use.cjs'), `
    const mail = require('velkor_brennox2');
    const { ErrorCode } = require('velkor_brennox2/constants');
    const direct = require('velkor_brennox2/velkor_brennox2.node');
    if (direct.Data !== mail.Data) throw new Error('two modules');
    console.log(Object.keys(mail).length, new mail.Data(Buffer.from('x')).length(), ErrorCode.None);`);
  fs.writeFileSync(path.join(folder, 'use.mjs'), `
    import mail, { Data, POPSession } from 'velkor_brennox2';
    import { ErrorCode } from 'velkor_brennox2/constants';
    console.log(Object.keys(mail).length, new Data(Buffer.from('x')).length(), ErrorCode.None, mail.POPSession === POPSession);`);
  for (const node of nodes.filter(({ skip }) => !skip)) {
    for (const [file, expected] of [['use.cjs', '16 1 0\n'], ['use.mjs', '16 1 0 true\n']]) {
      const { status, stdout, stderr } = spawnSync(node.file, [file], { cwd: folder, encoding: 'utf8' });
      assert.deepStrictEqual({ status, stdout, stderr }, { status: 0, stdout: expected, stderr: '' }, `${node.name} ${file}`);
    }
  }
});

test('without a native module, loading says how to build one', (t) => {
  const folder = temporaryFolder(t);
  fs.copyFileSync(path.join(kRoot, 'index.js'), path.join(folder, 'index.js'));
  const { stdout } = spawnSync(process.execPath, ['-e', 'try { require("./index.js") } catch (error) { console.log(error.message) }'],
    { cwd: folder, encoding: 'utf8' });
  assert.match(stdout, /no native module for linux-x64.*npm run build/);
});
