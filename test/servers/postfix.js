// A Postfix of our own in a folder: takes mail on several ports and delivers it into Dovecot's mailboxes.
'use strict';

const { execFile, spawn } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const { promisify } = require('node:util');

const { kMailOwner } = require('./dovecot.js');
const { waitForPort } = require('./ports.js');

const kServices = `
cleanup unix n - n - 0 cleanup
qmgr unix n - n 300 1 qmgr
tlsmgr unix - - n 1000? 1 tlsmgr
rewrite unix - - n - - trivial-rewrite
bounce unix - - n - 0 bounce
defer unix - - n - 0 bounce
trace unix - - n - 0 bounce
verify unix - - n - 1 verify
flush unix n - n 1000? 0 flush
proxymap unix - - n - - proxymap
proxywrite unix - - n - 1 proxymap
smtp unix - - n - - smtp
relay unix - - n - - smtp
showq unix n - n - - showq
error unix - - n - - error
retry unix - - n - - error
discard unix - - n - - discard
local unix - n n - - local
virtual unix - n n - - virtual
lmtp unix - - n - - lmtp
anvil unix - - n - 1 anvil
scache unix - - n - 1 scache
postlog unix-dgram n - n - 1 postlogd
`;

// A lookup table written into the setting itself.
function inline(entries) {
  return `inline:{ ${entries.map(([key, value]) => `{${key} = ${value}}`).join(' ')} }`;
}

function mainFile({ folder, ports, tls, mailboxes, mail, sink }) {
  // Dovecot's LMTP does not know SMTPUTF8, so those mailboxes are written to directly.
  const direct = mailboxes.filter((name) => /[^\x00-\x7f]/.test(name));
  return `
compatibility_level = 3.6
queue_directory = ${folder}/spool
data_directory = ${folder}/data
command_directory = /usr/sbin
daemon_directory = /usr/lib/postfix/sbin
meta_directory = /etc/postfix
shlib_directory = /usr/lib/postfix
mail_owner = postfix
setgid_group = postdrop
maillog_file = ${folder}/mail.log
maillog_file_prefixes = ${folder}
myhostname = mx.example.test
mydomain = example.test
inet_interfaces = 127.0.0.1
inet_protocols = ipv4
mynetworks_style = host
mynetworks =
mydestination =
alias_maps =
alias_database =
local_recipient_maps =
smtp_dns_support_level = disabled
smtpd_peername_lookup = no
virtual_mailbox_domains = example.test
virtual_mailbox_base = ${mail}
virtual_mailbox_maps = ${inline([...mailboxes, sink].map((name) => [name, `${name}/inbox/`]))}
virtual_uid_maps = static:${kMailOwner}
virtual_gid_maps = static:${kMailOwner}
virtual_minimum_uid = 1
virtual_mailbox_limit = 0
transport_maps = ${inline([[sink, 'discard:'], ...direct.map((name) => [name, 'virtual:'])])}
virtual_transport = lmtp:inet:127.0.0.1:${ports.lmtp}
default_transport = discard
relay_transport = discard
local_transport = discard
message_size_limit = 104857600
mailbox_size_limit = 0
in_flow_delay = 0
smtpd_error_sleep_time = 0
smtpd_soft_error_limit = 1000
smtpd_hard_error_limit = 1000
smtpd_client_connection_count_limit = 0
smtpd_client_connection_rate_limit = 0
smtpd_client_message_rate_limit = 0
smtpd_sasl_type = dovecot
smtpd_sasl_path = inet:127.0.0.1:${ports.auth}
smtpd_sasl_auth_enable = yes
smtpd_sasl_security_options = noanonymous
smtpd_relay_restrictions = permit_sasl_authenticated, reject_unauth_destination
smtpd_recipient_restrictions = permit_sasl_authenticated, reject_unauth_destination
smtpd_tls_security_level = may
smtpd_tls_chain_files = ${tls}/server-chain.pem
smtpd_tls_auth_only = no
smtputf8_enable = yes
recipient_delimiter = +
`;
}

function masterFile(ports) {
  const authenticated = '-o smtpd_relay_restrictions=permit_sasl_authenticated,reject' +
      ' -o smtpd_recipient_restrictions=permit_sasl_authenticated,reject';
  const listeners = {
    smtp: '',
    submission: `-o smtpd_tls_security_level=encrypt ${authenticated}`,
    smtps: `-o smtpd_tls_wrappermode=yes ${authenticated}`,
    smtpNoTls: '-o smtpd_tls_security_level=none',
    smtpNoAuth: '-o smtpd_tls_security_level=none -o smtpd_sasl_auth_enable=no',
  };
  return Object.entries(listeners)
      .map(([name, options]) => `127.0.0.1:${ports[name]} inet n - n - - smtpd ${options}\n`)
      .join('') + kServices;
}

// Ports: smtp (STARTTLS and AUTH offered, neither needed for local recipients), submission (STARTTLS and
// AUTH needed), smtps (TLS at once, AUTH needed), smtpNoTls, smtpNoAuth (no TLS either). Returns the pid.
async function startPostfix({ folder, ports, tls, mailboxes, mail, sink }) {
  for (const name of ['etc', 'spool', 'data']) {
    fs.mkdirSync(path.join(folder, name), { recursive: true });
  }
  await promisify(execFile)('chown', ['postfix', path.join(folder, 'data')]);
  const etc = path.join(folder, 'etc');
  fs.writeFileSync(path.join(etc, 'main.cf'), mainFile({ folder, ports, tls, mailboxes, mail, sink }));
  fs.writeFileSync(path.join(etc, 'master.cf'), masterFile(ports));

  try {
    await run(['-c', etc, 'start'], path.join(folder, 'output'));
    await waitForPort(ports.smtp, { greeting: /^220/ });
    await waitForPort(ports.submission, { greeting: /^220/ });
    for (const name of ['smtps', 'smtpNoTls', 'smtpNoAuth']) await waitForPort(ports[name]);
  } catch (error) {
    for (const name of ['output', 'mail.log']) {
      const file = path.join(folder, name);
      if (fs.existsSync(file)) error.message += `\n${fs.readFileSync(file, 'utf8')}`;
    }
    throw error;
  }
  return Number(fs.readFileSync(path.join(folder, 'spool/pid/master.pid'), 'utf8').trim());
}

// The daemon keeps what it inherits, so its output goes to a file: a pipe would never end.
function run(args, outputFile) {
  return new Promise((resolve, reject) => {
    const output = fs.openSync(outputFile, 'w');
    const child = spawn('/usr/sbin/postfix', args, { stdio: ['ignore', output, output] });
    fs.closeSync(output);
    child.once('error', reject);
    child.once('exit', (code) => {
      if (code === 0) resolve();
      else reject(new Error(`postfix ${args.join(' ')} ended with ${code}`));
    });
  });
}

module.exports = { startPostfix };
