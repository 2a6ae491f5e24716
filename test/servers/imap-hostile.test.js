// IMAP against servers that are broken, hostile or gone: every case ends in a code or an Error within the
// time-out and leaves the session usable.
'use strict';

const assert = require('node:assert/strict');
const test = require('node:test');

const { AuthType, ConnectionType, ErrorCode } = require('../../constants.js');
const { IMAPSession } = require('../module/load.js');
const { startScripted } = require('./scripted.js');

const kCapabilities = 'IMAP4rev1 SASL-IR UIDPLUS AUTH=PLAIN';

// A row that answers a command: untagged text, then the tag with a result.
const row = (command, untagged, result = 'OK done') =>
  [new RegExp(`^([^ ]+) ${command}.*\\r\\n`), `${untagged}$1 ${result}\r\n`];
// A row that answers with anything; $1 is the tag.
const raw = (command, ...steps) => [new RegExp(`^([^ ]+) ${command}.*\\r\\n`), steps];

const kSelected = '* 2 EXISTS\r\n* 0 RECENT\r\n* FLAGS (\\Seen)\r\n* OK [UIDVALIDITY 1] ok\r\n* OK [UIDNEXT 3] ok\r\n';
const kGood = [
  row('CAPABILITY', `* CAPABILITY ${kCapabilities}\r\n`),
  row('(?:AUTHENTICATE|LOGIN)', '', `OK [CAPABILITY ${kCapabilities}] in`),
  row('SELECT', kSelected),
  row('NOOP', ''),
  row('LIST', '* LIST () "/" INBOX\r\n'),
  row('LSUB', '* LSUB () "/" INBOX\r\n'),
  row('STATUS', '* STATUS INBOX (MESSAGES 2 RECENT 0 UIDNEXT 3 UIDVALIDITY 1 UNSEEN 0)\r\n'),
  row('UID FETCH 1 \\(BODY', '* 1 FETCH (UID 1 BODY[] {5}\r\nhello)\r\n'),
  row('UID FETCH', '* 1 FETCH (UID 1 FLAGS ())\r\n* 2 FETCH (UID 2 FLAGS (\\Seen))\r\n'),
  row('(?:UID STORE|STORE|UID COPY|UID EXPUNGE|EXPUNGE|CREATE|DELETE|RENAME|SUBSCRIBE|UNSUBSCRIBE)', ''),
  raw('LOGOUT', '* BYE\r\n$1 OK\r\n', { close: true }),
];

// A script that greets and answers by these rows first, by the good ones otherwise.
const serving = (rows, greeting = '* OK ready\r\n') => [greeting, { serve: [...rows, ...kGood], forever: true }];

function result(work) {
  try {
    return work();
  } catch (error) {
    return error.message;
  }
}

const uids = (list) => list.map((m) => m.uid);
const fetchAll = (s) => uids(s.fetchMessagesByUID('INBOX'));
const fetchOne = (s) => s.fetchMessageByUID('INBOX', 1)?.bytes().toString();
const nested = (depth) => '('.repeat(depth) + ')'.repeat(depth);
const kStructure = '("TEXT" "PLAIN" NIL NIL NIL "7BIT" 1 1)';

const kCases = [
  // Connecting.
  ['a greeting that refuses', [['* BYE go away\r\n', { close: true }]], (s) => s.connectIfNeeded(), 1],
  ['a greeting of another protocol', [['+OK POP3 ready\r\n', { close: true }]], (s) => s.connectIfNeeded(), 1],
  ['a connection closed at once', [[{ close: true }]], (s) => s.connectIfNeeded(), 1],
  ['a connection reset at once', [[{ cut: true }]], (s) => s.connectIfNeeded(), 1],
  ['garbage instead of a greeting', [[{ garbage: 100000 }, { close: true }]], (s) => s.connectIfNeeded(), ErrorCode.LimitExceeded],
  ['a greeting without end', [[{ garbage: 4000000 }]], (s) => s.connectIfNeeded(), ErrorCode.LimitExceeded],
  ['STARTTLS not offered', [serving([])], (s) => s.connectIfNeeded(), 25, { connectionType: ConnectionType.StartTLS }],
  ['STARTTLS offered and refused', [serving([row('CAPABILITY', '* CAPABILITY IMAP4rev1 STARTTLS\r\n'), row('STARTTLS', '', 'NO later')])],
    (s) => s.connectIfNeeded(), 25, { connectionType: ConnectionType.StartTLS }],
  ['STARTTLS answered by clear text', [serving([row('CAPABILITY', '* CAPABILITY IMAP4rev1 STARTTLS\r\n'),
    raw('STARTTLS', '$1 OK go\r\n* CAPABILITY IMAP4rev1 AUTH=EVIL\r\nA003 OK\r\n', { close: true })])],
    (s) => s.connectIfNeeded(), 1, { connectionType: ConnectionType.StartTLS }],
  ['PREAUTH', [serving([row('(?:AUTHENTICATE|LOGIN)', '', 'BAD already')], '* PREAUTH welcome\r\n')], (s) => s.loginIfNeeded(), 0],
  ['CAPABILITY refused', [serving([row('CAPABILITY', '', 'BAD what')])], (s) => s.loginIfNeeded(), ErrorCode.Capability],
  // Logging in.
  ['a login refused', [serving([row('AUTHENTICATE', '', 'NO no'), row('LOGIN', '', 'NO no')])], (s) => s.loginIfNeeded(), 5],
  ['an account out of order', [serving([row('AUTHENTICATE', '', 'NO [UNAVAILABLE] later')])], (s) => s.loginIfNeeded(), 7],
  ['no mechanism that fits', [serving([])], (s) => s.loginIfNeeded(), 6, { authType: AuthType.SASLCRAMMD5 }],
  ['a login answered by challenges without end', [serving([[/^([^ ]+) AUTHENTICATE.*\r\n|^.*\r\n/, '+ AAAA\r\n']])], (s) => s.loginIfNeeded(), 1],
  ['a login that is cut', [serving([raw('AUTHENTICATE', { cut: true })])], (s) => s.loginIfNeeded(), 1],
  ['a login answered by BYE', [serving([raw('AUTHENTICATE', '* BYE no\r\n', { close: true })])], (s) => s.loginIfNeeded(), 35],
  ['a SCRAM server that does not know the password', [serving([row('CAPABILITY', '* CAPABILITY IMAP4rev1 SASL-IR AUTH=SCRAM-SHA-1\r\n'),
    row('AUTHENTICATE', '', 'OK trust me')])], (s) => s.loginIfNeeded(), 5],
  ['capabilities that change with the login', [serving([row('AUTHENTICATE', '', 'OK [CAPABILITY IMAP4rev1 ENABLE QRESYNC] in'),
    row('ENABLE', '* ENABLED QRESYNC\r\n')])], (s) => [s.isQResyncEnabled(), s.loginIfNeeded(), s.isQResyncEnabled()], [false, 0, true]],
  ['ENABLE and COMPRESS refused', [serving([row('CAPABILITY', '* CAPABILITY IMAP4rev1 ENABLE QRESYNC COMPRESS=DEFLATE\r\n'),
    row('LOGIN', '', 'OK [CAPABILITY IMAP4rev1 ENABLE QRESYNC COMPRESS=DEFLATE] in'), row('ENABLE', '', 'BAD no'), row('COMPRESS', '', 'NO no')])],
    (s) => s.loginIfNeeded(), 0],
  ['COMPRESS agreed and not done', [serving([row('CAPABILITY', '* CAPABILITY IMAP4rev1 COMPRESS=DEFLATE\r\n'),
    row('LOGIN', '', 'OK [CAPABILITY IMAP4rev1 COMPRESS=DEFLATE] in'), row('COMPRESS', '', 'OK go'),
    [/^[^]*$/, '* OK this is not compressed\r\n']])], (s) => s.folderStatus('INBOX'), 'Error code: 3'],
  // Commands.
  ['BYE in the middle of a command', [serving([raw('NOOP|SELECT', '* BYE out\r\n', { close: true })])], (s) => s.expunge('INBOX'), 35],
  ['a command that is cut', [serving([raw('STATUS', { cut: true })])], (s) => s.folderStatus('INBOX'), 'Error code: 1'],
  ['a completion with a tag of its own', [serving([raw('STATUS', 'X99 OK done\r\n', { close: true })])], (s) => s.folderStatus('INBOX'), 'Error code: 3'],
  ['a completion of no kind', [serving([raw('STATUS', '$1 MAYBE done\r\n')])], (s) => s.folderStatus('INBOX'), 'Error code: 21'],
  ['STATUS without STATUS', [serving([row('STATUS', '')])], (s) => s.folderStatus('INBOX'), 'Error code: 3'],
  ['STATUS of nonsense', [serving([row('STATUS', '* STATUS INBOX (MESSAGES many UIDNEXT)\r\n')])], (s) => s.folderStatus('INBOX'), 'Error code: 3'],
  ['numbers beyond 32 bits', [serving([row('STATUS', '* STATUS INBOX (MESSAGES 99999999999 UIDNEXT 7)\r\n')])], (s) => s.folderStatus('INBOX').uidNext, 7],
  ['SELECT refused', [serving([row('SELECT', '', 'NO none')])], fetchAll, 'Error code: 8'],
  ['SELECT without UIDNEXT', [serving([row('SELECT', '* 2 EXISTS\r\n')])], fetchAll, [1, 2]],
  ['LIST of nonsense', [serving([row('LIST', '* LIST\r\n* LIST (\r\n* LIST () "/\r\n* LIST () NIL {3}\r\nabc\r\n* LIST () "/" ok\r\n')])],
    (s) => s.fetchAllFolders().map((f) => f.path), ['abc', 'ok']],
  ['folder names in raw UTF-8', [serving([row('LIST', '* LIST () "/" "Входящие"\r\n')])], (s) => s.fetchAllFolders()[0].path, 'Входящие'],
  ['NIL where text belongs', [serving([row('UID FETCH', `* 1 FETCH (UID 1 FLAGS () ENVELOPE (NIL NIL NIL NIL NIL NIL NIL NIL NIL NIL) BODYSTRUCTURE (NIL NIL NIL NIL NIL NIL NIL) BODY[HEADER.FIELDS (SUBJECT)] NIL)\r\n`)])],
    (s) => s.fetchMessagesByUID('INBOX').map((m) => [m.uid, m.htmlRendering('INBOX').includes('application/octet-stream')]), [[1, true]]],
  ['a wrong BODYSTRUCTURE', [serving([row('UID FETCH', `* 1 FETCH (UID 1 BODYSTRUCTURE ((((("x" ))\r\n* 2 FETCH (UID 2 BODYSTRUCTURE ${kStructure})\r\n`)])], fetchAll, [1, 2]],
  ['a BODYSTRUCTURE of endless depth', [serving([row('UID FETCH', `* 1 FETCH (UID 1 BODYSTRUCTURE ${nested(5000)})\r\n* 2 FETCH (UID 2)\r\n`)])], fetchAll, [1, 2]],
  ['an ENVELOPE of nonsense', [serving([row('UID FETCH', '* 1 FETCH (UID 1 ENVELOPE (1 (2) "3" ((((4))))))\r\n')])], fetchAll, [1]],
  ['FETCH without UID', [serving([row('UID FETCH', '* 1 FETCH (FLAGS ())\r\n* 2 FETCH (UID 2)\r\n')])], fetchAll, [2]],
  ['messages that nobody asked for', [serving([row('UID FETCH', '* 9 FETCH (UID 99 FLAGS ())\r\n* 2 FETCH (UID 2)\r\n* 3 EXPUNGE\r\n* 7 EXISTS\r\n')])],
    (s) => uids(s.fetchMessagesByUID('INBOX', 1, 5)), [2]],
  ['a message in pieces and out of order', [serving([row('UID FETCH', '* 2 FETCH (UID 2)\r\n* 1 FETCH (UID 1)\r\n* 2 FETCH (UID 2 FLAGS (\\Seen))\r\n')])],
    (s) => s.fetchMessagesByUID('INBOX').map((m) => [m.uid, m.flags]), [[2, 1], [1, 0]]],
  ['a listing that is cut', [serving([raw('UID FETCH', '* 1 FETCH (UID 1)\r\n* 2 FET', { cut: true })])], fetchAll, 'Error code: 1'],
  ['a line without end', [serving([raw('UID FETCH', `* ${'x'.repeat(17 * 1024 * 1024)}\r\n`)])], fetchAll, 'Error code: 28'],
  ['a body of the wrong message', [serving([row('UID FETCH', '* 2 FETCH (UID 2 BODY[] {5}\r\nwrong)\r\n')])], fetchOne, undefined],
  ['a body that is NIL', [serving([row('UID FETCH', '* 1 FETCH (UID 1 BODY[] NIL)\r\n')])], fetchOne, undefined],
  ['a body in quotes', [serving([row('UID FETCH', '* 1 FETCH (BODY[] "a \\"b\\"" UID 1)\r\n')])], fetchOne, 'a "b"'],
  ['a literal that ends early', [serving([raw('UID FETCH', '* 1 FETCH (UID 1 BODY[] {100}\r\nhalf', { close: true })])], fetchOne, 'Error code: 1'],
  ['a literal shorter than announced', [serving([row('UID FETCH', '* 1 FETCH (UID 1 BODY[] {3}\r\nabcdef)\r\n')])], fetchOne, 'abc'],
  ['a literal larger than anything', [serving([raw('UID FETCH', '* 1 FETCH (UID 1 BODY[] {99999999999}\r\n')])], fetchOne, 'Error code: 28'],
  ['a literal where none was asked for', [serving([raw('STATUS', '* STATUS {999999999}\r\n')])], (s) => s.folderStatus('INBOX'), 'Error code: 28'],
  ['a body by single bytes', [serving([raw('UID FETCH', { drip: '* 1 FETCH (UID 1 BODY[] {5}\r\nhello)\r\n', every: 3 }, '$1 OK\r\n')])], fetchOne, 'hello'],
  ['an answer to FETCH that is BAD', [serving([row('UID FETCH', '', 'BAD no')])], fetchOne, 'Error code: 15'],
  ['continuations that nobody asked for', [serving([row('STATUS', '+ what\r\n+\r\n* STATUS INBOX (MESSAGES 4)\r\n')])], (s) => s.folderStatus('INBOX').messageCount, 4],
  ['empty lines', [serving([row('STATUS', '\r\n\r\n*\r\n* \r\n* STATUS INBOX (MESSAGES 4)\r\n')])], (s) => s.folderStatus('INBOX').messageCount, 4],
  ['response codes of nonsense', [serving([row('SELECT', `* OK [\r\n* OK []\r\n* OK [UIDNEXT]\r\n* OK [UIDNEXT x] y\r\n* OK [PERMANENTFLAGS\r\n${kSelected}`)])], fetchAll, [1, 2]],
  ['COPYUID of nonsense', [serving([row('UID COPY', '', 'OK [COPYUID 1 1:4294967295 1:4294967295] ok')])], (s) => s.copyMessages('INBOX', 'X', 1), 0],
  ['a vanished set of everything', [serving([row('CAPABILITY', '* CAPABILITY IMAP4rev1 ENABLE QRESYNC\r\n'),
    row('LOGIN', '', 'OK [CAPABILITY IMAP4rev1 ENABLE QRESYNC] in'), row('ENABLE', '* ENABLED QRESYNC\r\n'),
    row('UID FETCH', '* VANISHED (EARLIER) 1:4294967295\r\n')])], (s) => s.syncMessagesByUID('INBOX', 5).vanishedMessages, [1, 2]],
  ['a literal that the server will not take', [serving([row('CREATE', '', 'NO [TOOBIG] no')])], (s) => s.createFolder('é'), 11],
  ['LOGOUT never answered by a server that has gone', [serving([raw('LOGOUT', { cut: true })])], (s) => { s.loginIfNeeded(); return s.disconnect(); }, undefined],
];

async function against(scripts, settings, work) {
  const server = await startScripted(scripts);
  try {
    const session = Object.assign(new IMAPSession(), {
      hostname: '127.0.0.1', port: server.port, username: 'alice', password: 'secret',
      connectionType: ConnectionType.Clear, checkCertificateEnabled: false,
    }, settings);
    await work(session, server);
  } finally {
    await server.stop();
  }
}

for (const [name, scripts, work, expected, settings] of kCases) {
  test(name, async () => {
    // Whatever happened, the next connection is a good one.
    await against([...scripts, serving([])], settings, async (session) => {
      const start = Date.now();
      assert.deepEqual(result(() => work(session)), expected);
      assert.ok(Date.now() - start < 10000, 'every wait is bounded');
      Object.assign(session, { connectionType: ConnectionType.Clear, authType: 0 });
      session.disconnect();
      assert.equal(session.loginIfNeeded(), 0, 'the session stays usable');
      assert.equal(fetchOne(session), 'hello');
      session.disconnect();
    });
  });
}

// The time-out is 30 seconds, so these wait side by side.
test('servers that fall silent', { timeout: 120000 }, async () => {
  const called = (start) => new Promise((resolve) => { start((error) => resolve(error && error.message)); });
  const silent = { delay: 100000 };
  const cases = [
    [[[silent]], (s) => called((callback) => s.connectIfNeededAsync(callback))],
    [[serving([raw('AUTHENTICATE', silent)])], (s) => called((callback) => s.loginIfNeededAsync(callback))],
    [[serving([raw('UID FETCH', '* 1 FETCH (UID 1 BODY[] {100}\r\nhalf', silent)])], (s) => called((callback) => s.fetchMessageByUIDAsync('INBOX', 1, callback))],
    [[serving([raw('LIST', '* LIST () "/" a\r\n', silent)])], (s) => called((callback) => s.fetchAllFoldersAsync(callback))],
  ];
  const start = Date.now();
  const messages = await Promise.all(cases.map(async ([scripts, work]) => {
    let message;
    await against([...scripts, serving([])], {}, async (session) => {
      message = await work(session);
      assert.equal(await called((callback) => session.loginIfNeededAsync(callback)), null);
    });
    return message;
  }));
  assert.deepEqual(messages, Array(4).fill('Error code: 1'));
  assert.ok(Date.now() - start < 60000, 'every wait is bounded');
});
