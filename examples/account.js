'use strict';
// The account that the environment describes, for the other examples. PREFIX is IMAP, POP3 or SMTP:
//
//   PREFIX_HOST, PREFIX_USER, PREFIX_PASSWORD   have to be there
//   PREFIX_PORT                                 else the usual one
//   PREFIX_CONNECTION                           1 clear, 2 STARTTLS, 4 TLS
//   PREFIX_ANY_CERTIFICATE                      when set, the server's certificate is not checked

/** @param {string} name */
function needed(name) {
  const value = process.env[name];
  if (value === undefined) {
    console.error(`${name} has to be in the environment; examples/account.js tells what else may be`);
    process.exit(2);
  }
  return value;
}

/**
 * Gives a session its settings.
 * @template {import('..').IMAPSession | import('..').POPSession | import('..').ISMTPAsyncSession} T
 * @param {T} session
 * @param {'IMAP' | 'POP3' | 'SMTP'} prefix
 * @returns {T} The session.
 */
function withAccount(session, prefix) {
  session.hostname = needed(`${prefix}_HOST`);
  session.username = needed(`${prefix}_USER`);
  session.password = needed(`${prefix}_PASSWORD`);
  const port = process.env[`${prefix}_PORT`];
  if (port) session.port = Number(port);
  const connection = process.env[`${prefix}_CONNECTION`];
  if (connection) session.connectionType = Number(connection);
  session.checkCertificateEnabled = !process.env[`${prefix}_ANY_CERTIFICATE`];
  return session;
}

module.exports = { withAccount };
