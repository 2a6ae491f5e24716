// A Cyrus IMAP server of our own in a folder. Its package cannot be installed beside Dovecot's, so it is
// taken from where scripts/unpack-cyrus puts it, or from $CYRUS_ROOT.
'use strict';

const { execFileSync, spawn } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');

const { waitForPort } = require('./ports.js');

const kRoot = process.env.CYRUS_ROOT ?? path.join(__dirname, '../../build/cyrus');
const programs = (root) => ['master', 'imapd', 'ctl_cyrusdb'].map((name) => path.join(root, 'usr/lib/cyrus/bin', name));
// Some packages still put their libraries outside /usr.
const libraries = (root) => ['usr/lib', 'lib'].map((name) => path.join(root, name, 'x86_64-linux-gnu')).join(':');
// Any user without rights; the server refuses to be root.
const kUser = 'nobody';

// Every password is right: what is tested here is what comes after.
function configuration(folder) {
  return `
configdirectory: ${folder}/conf
partition-default: ${folder}/spool
defaultpartition: default
cyrus_user: ${kUser}
servername: localhost
virtdomains: off
unixhierarchysep: no
altnamespace: yes
allowplaintext: yes
sasl_pwcheck_method: alwaystrue
sasl_mech_list: PLAIN LOGIN
proc_path: ${folder}/run/proc
mboxname_lockpath: ${folder}/run/lock
temp_path: ${folder}/run
autocreate_quota: 0
specialusealways: yes
conversations: no
`;
}

function services(folder, port) {
  const [, imapd, database] = programs(path.join(folder, 'programs'));
  return `
START {
  recover cmd="${database} -C ${folder}/imapd.conf -r"
}
SERVICES {
  imap cmd="${imapd} -C ${folder}/imapd.conf -U 30" listen="127.0.0.1:${port}" prefork=1
}
EVENTS {
  checkpoint cmd="${database} -C ${folder}/imapd.conf -c" period=3000
}
`;
}

// Returns the pid.
async function startCyrus({ folder, port }) {
  for (const name of ['conf', 'conf/db', 'conf/log', 'conf/proc', 'conf/socket', 'conf/user', 'conf/lock', 'spool', 'run']) {
    fs.mkdirSync(path.join(folder, name), { recursive: true });
  }
  fs.writeFileSync(path.join(folder, 'imapd.conf'), configuration(folder));
  fs.writeFileSync(path.join(folder, 'cyrus.conf'), services(folder, port));
  execFileSync('chown', ['-R', `${kUser}:`, folder]);
  // The checkout may lie where a user without rights cannot read.
  const root = path.join(folder, 'programs');
  fs.cpSync(kRoot, root, { recursive: true, verbatimSymlinks: true });

  const output = fs.openSync(path.join(folder, 'output'), 'w');
  const child = spawn(programs(root)[0], [
    '-C', path.join(folder, 'imapd.conf'), '-M', path.join(folder, 'cyrus.conf'),
    '-p', path.join(folder, 'run/pid'), '-L', path.join(folder, 'conf/log/stderr'),
  ], {
    detached: true, stdio: ['ignore', output, output],
    env: { ...process.env, LD_LIBRARY_PATH: libraries(root) },
  });
  fs.closeSync(output);
  let running = true;
  child.once('exit', () => { running = false; });
  try {
    await waitForPort(port, { greeting: /^\* OK/, alive: () => running });
  } catch (error) {
    if (running) process.kill(child.pid, 'SIGTERM');
    error.message += `\n${fs.readFileSync(path.join(folder, 'output'), 'utf8')}`;
    throw error;
  }
  return child.pid;
}

module.exports = { kCyrusPrograms: programs(kRoot), startCyrus };
