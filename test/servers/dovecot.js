// A Dovecot of our own in a folder: IMAP, POP3, LMTP and the authentication service that Postfix asks.
'use strict';

const { spawn } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');

const { waitForPort } = require('./ports.js');

// Owns the mail files; a number without an entry in the system's list of users.
const kMailOwner = 5055;

// Passwords stay readable in the file: the challenge mechanisms and APOP are computed from them.
function passwordFile(entries) {
  return entries.map(([user, secret]) => `${user}:{PLAIN}${secret}::::::\n`).join('');
}

const kNamespaces = {
  modern: (mail) => `
namespace inbox {
  inbox = yes
  separator = /
  prefix =
  mailbox Drafts {
    special_use = \\Drafts
    auto = create
  }
  mailbox Sent {
    special_use = \\Sent
    auto = subscribe
  }
  mailbox Trash {
    special_use = \\Trash
    auto = create
  }
  mailbox Junk {
    special_use = \\Junk
    auto = create
  }
}
namespace archives {
  separator = /
  prefix = Archives/
  location = maildir:${mail}/%Lu/archives:LAYOUT=fs
  subscriptions = no
  list = yes
}
`,
  old: () => `
namespace inbox {
  inbox = yes
  separator = .
  prefix = INBOX.
}
`,
};

function configuration({ folder, flavour, ports, certificate, tls, kerberos }) {
  const mail = `${folder}/mail`;
  const old = flavour === 'old';
  const mechanisms = old ? 'plain login'
    : 'plain login cram-md5 digest-md5 scram-sha-1 scram-sha-256 apop xoauth2 oauthbearer';
  const passwordMechanisms = mechanisms.replace(' xoauth2 oauthbearer', '');
  const tokens = old ? '' : `
passdb {
  driver = passwd-file
  mechanisms = xoauth2 oauthbearer
  args = ${folder}/tokens
}`;
  return `
protocols = imap pop3 lmtp
listen = 127.0.0.1
import_environment = $import_environment KRB5_CONFIG
base_dir = ${folder}/run
state_dir = ${folder}/state
instance_name = ${path.basename(path.dirname(folder))}-${flavour}
log_path = ${folder}/log
default_internal_user = dovecot
default_login_user = dovenull
mail_location = maildir:${mail}/%Lu/folders:LAYOUT=fs:INBOX=${mail}/%Lu/inbox
mail_home = ${mail}/%Lu
mail_uid = ${kMailOwner}
mail_gid = ${kMailOwner}
first_valid_uid = 1
mail_fsync = never
mail_max_userip_connections = 0
mail_plugins = zlib
recipient_delimiter = +
disable_plaintext_auth = no
auth_mechanisms = ${mechanisms}${kerberos ? ' gssapi' : ''}
${kerberos ? `auth_krb5_keytab = ${kerberos.keytab}\nauth_gssapi_hostname = localhost` : ''}
auth_username_chars =
auth_failure_delay = 0
auth_cache_size = 0
ssl = yes
ssl_cert = <${tls}/${certificate}.pem
ssl_key = <${tls}/${certificate}.key
ssl_min_protocol = TLSv1.2
${tokens}
passdb {
  driver = passwd-file
  mechanisms = ${passwordMechanisms}${kerberos ? ' gssapi' : ''}
  args = ${folder}/users
}
userdb {
  driver = static
  args = uid=${kMailOwner} gid=${kMailOwner} home=${mail}/%Lu allow_all_users=yes
}
${kNamespaces[flavour](mail)}
# Without its socket the login processes cannot ask for penalties, so a wrong password costs no seconds.
service anvil {
  unix_listener anvil-auth-penalty {
    mode = 0
  }
}
service imap-login {
  service_count = 0
  process_min_avail = 1
  inet_listener imap {
    port = ${ports.imap}
  }
  inet_listener imaps {
    port = ${ports.imaps}
    ssl = yes
  }
}
service pop3-login {
  service_count = 0
  process_min_avail = 1
  inet_listener pop3 {
    port = ${ports.pop3}
  }
  inet_listener pop3s {
    port = ${ports.pop3s}
    ssl = yes
  }
}
service lmtp {
  inet_listener lmtp {
    address = 127.0.0.1
    port = ${ports.lmtp}
  }
}
service auth {
  inet_listener {
    address = 127.0.0.1
    port = ${ports.auth}
  }
}
protocol imap {
  mail_plugins = zlib ${old ? '' : 'imap_zlib'}
  ${old ? 'imap_capability = IMAP4rev1 SASL-IR' : ''}
  imap_max_line_length = 1M
}
protocol pop3 {
  pop3_uidl_format = %08Xu%08Xv
  pop3_no_flag_updates = yes
  pop3_enable_last = no
  ${old ? 'pop3_lock_session = yes' : ''}
}
protocol lmtp {
  postmaster_address = postmaster@example.test
}
`;
}

// Flavours: `modern` has every feature on; `old` has the INBOX. prefix with dots, few capabilities,
// passwords only, a self-signed certificate and one POP3 session at a time for each mailbox. With
// a realm (kerberos.js) tickets are taken, too. Returns the pid.
async function startDovecot({ folder, flavour, ports, tls, users, tokens, kerberos }) {
  for (const name of ['run', 'state', 'mail']) {
    fs.mkdirSync(path.join(folder, name), { recursive: true });
  }
  fs.chownSync(path.join(folder, 'mail'), kMailOwner, kMailOwner);
  fs.writeFileSync(path.join(folder, 'users'), passwordFile(Object.entries(users)), { mode: 0o644 });
  fs.writeFileSync(path.join(folder, 'tokens'), passwordFile(Object.entries(tokens)), { mode: 0o644 });
  const file = path.join(folder, 'dovecot.conf');
  const certificate = flavour === 'old' ? 'selfsigned' : 'server';
  fs.writeFileSync(file, configuration({ folder, flavour, ports, certificate, tls, kerberos }));

  const output = fs.openSync(path.join(folder, 'output'), 'w');
  const child = spawn('/usr/sbin/dovecot', ['-F', '-c', file],
      { detached: true, stdio: ['ignore', output, output], env: { ...process.env, ...kerberos?.env } });
  fs.closeSync(output);
  let running = true;
  child.once('exit', () => { running = false; });
  const alive = () => running;
  try {
    await waitForPort(ports.imap, { greeting: /^\* OK/, alive });
    await waitForPort(ports.pop3, { greeting: /^\+OK/, alive });
    await waitForPort(ports.lmtp, { greeting: /^220/, alive });
    await waitForPort(ports.imaps, { alive });
    await waitForPort(ports.pop3s, { alive });
    await waitForPort(ports.auth, { alive });
  } catch (error) {
    if (running) process.kill(child.pid, 'SIGTERM');
    error.message += `\n${fs.readFileSync(path.join(folder, 'output'), 'utf8')}`;
    throw error;
  }
  return child.pid;
}

module.exports = { kMailOwner, startDovecot };
