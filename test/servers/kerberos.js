// A Kerberos realm of our own in a folder: the key distribution centre, an account for each user and the keys
// of the mail services on localhost.
'use strict';

const { execFileSync, spawn } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');

const { waitForPort } = require('./ports.js');

// In small letters, so that a principal is the mailbox's name and the servers need no map.
const kRealm = 'example.test';

// Returns the pid, the environment in which clients and servers find the realm, and the services' keys.
async function startKerberos({ folder, port, users }) {
  const file = (name) => path.join(folder, name);
  fs.writeFileSync(file('krb5.conf'), `
[libdefaults]
 default_realm = ${kRealm}
 dns_lookup_kdc = false
 dns_lookup_realm = false
 dns_canonicalize_hostname = false
 rdns = false
[realms]
 ${kRealm} = {
  kdc = 127.0.0.1:${port}
 }
`);
  fs.writeFileSync(file('kdc.conf'), `
[kdcdefaults]
 kdc_listen = 127.0.0.1:${port}
 kdc_tcp_listen = 127.0.0.1:${port}
[realms]
 ${kRealm} = {
  database_name = ${file('principal')}
  key_stash_file = ${file('stash')}
  acl_file = ${file('acl')}
 }
[logging]
 kdc = FILE:${file('log')}
`);
  const env = { KRB5_CONFIG: file('krb5.conf') };
  const options = { env: { ...process.env, ...env, KRB5_KDC_PROFILE: file('kdc.conf') } };
  execFileSync('/usr/sbin/kdb5_util', ['create', '-s', '-W', '-P', 'master', '-r', kRealm], { ...options, stdio: 'pipe' });
  const commands = [
    ...Object.entries(users).map(([user, password]) => `addprinc -pw ${password} ${user.split('@')[0]}@${kRealm}`),
    ...['imap', 'pop'].flatMap((service) => [
      `addprinc -randkey ${service}/localhost@${kRealm}`,
      `ktadd -k ${file('keytab')} ${service}/localhost@${kRealm}`,
    ]),
  ];
  execFileSync('/usr/sbin/kadmin.local', ['-r', kRealm], { ...options, stdio: 'pipe', input: `${commands.join('\n')}\n` });
  fs.chmodSync(file('keytab'), 0o644);

  const output = fs.openSync(file('output'), 'w');
  const child = spawn('/usr/sbin/krb5kdc', ['-n'], { ...options, detached: true, stdio: ['ignore', output, output] });
  fs.closeSync(output);
  let running = true;
  child.once('exit', () => { running = false; });
  await waitForPort(port, { alive: () => running });
  return { pid: child.pid, env, keytab: file('keytab') };
}

module.exports = { startKerberos };
