'use strict';
// Throwaway people and a certificate store of their own for one test file. Required before the module, so
// that it never sees the store of whoever runs the tests.
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { execFileSync, spawnSync } = require('node:child_process');

const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'brennox-smime-'));
process.env[process.platform === 'win32' ? 'LOCALAPPDATA' : 'XDG_DATA_HOME'] = path.join(folder, 'data');
const store = path.join(folder, 'data', 'velkor_brennox2', 'certs');
// Where no shell script can run, the people have been made before and never have GOST keys.
const madePeople = process.env.BRENNOX_TEST_PEOPLE;
const people = madePeople ?? path.join(folder, 'people');
const fixtures = path.join(__dirname, '..', 'fixtures');

const hasGost = !madePeople && spawnSync('openssl', ['engine', 'gost', '-t']).stdout.toString().includes('[ available ]');
if (!madePeople) execFileSync(path.join(fixtures, 'certs', 'make.sh'), [people, hasGost ? 'gost' : 'no-gost']);
process.on('exit', () => fs.rmSync(folder, { recursive: true, force: true }));

const read = (name) => fs.readFileSync(path.join(people, name));
const pem = (name) => read(`${name}.crt`).toString();
const both = (name) => pem(name) + read(`${name}.key`);
const file = (name) => path.join(people, name);

function emptyStore() {
  fs.rmSync(store, { recursive: true, force: true });
  for (const name of ['my', 'people', 'trusted']) fs.mkdirSync(path.join(store, name), { recursive: true });
}

// A file of the store that nobody else may read.
function put(name, bytes, mode = 0o600) {
  fs.writeFileSync(path.join(store, name), bytes, { mode });
  fs.chmodSync(path.join(store, name), mode);
}

// Own certificates with their keys, and the authorities of all people.
function ownStore(...names) {
  emptyStore();
  for (const name of names) {
    put(`my/${name}.crt`, pem(name));
    put(`my/${name}.key`, read(`${name}.key`));
  }
  put('trusted/ca-rsa.crt', pem('ca-rsa'));
  if (hasGost) put('trusted/ca-gost.crt', pem('ca-gost'));
}

function openssl(args, input) {
  const result = spawnSync('openssl', args, { input, maxBuffer: 1 << 28 });
  return { ok: result.status === 0, out: result.stdout, err: result.stderr.toString() };
}

module.exports = { folder, store, people, fixtures, hasGost, read, pem, both, file, emptyStore, put, ownStore, openssl };
