// POP3 against servers that are broken, hostile or gone: every case ends in a code within the time-out and
// leaves the session usable.
'use strict';

const assert = require('node:assert/strict');
const test = require('node:test');

const { ConnectionType, AuthType, ErrorCode } = require('../../constants.js');
const { POPSession } = require('../module/load.js');
const { startScripted } = require('./scripted.js');

const kCapa = [/^CAPA/, '+OK\r\nTOP\r\nUIDL\r\nUSER\r\nSASL PLAIN\r\n.\r\n'];
const kUser = [/^USER/, '+OK\r\n'];
const kPass = [/^PASS/, '+OK\r\n'];
const kAuth = [/^AUTH PLAIN/, '+OK\r\n'];
const kQuit = [/^QUIT/, ['+OK bye\r\n', { close: true }]];
const kList = [/^LIST/, '+OK\r\n1 10\r\n.\r\n'];
const kUidl = [/^UIDL\r/, '+OK\r\n1 a\r\n.\r\n'];
const kGood = [kCapa, kUser, kPass, kAuth, kList, kUidl, [/^NOOP/, '+OK\r\n'], [/^RETR 1/, '+OK\r\nhello\r\n.\r\n'], kQuit];

// A script that greets and answers by these rows first, by the good ones otherwise.
function serving(rows, greeting = '+OK ready\r\n') {
  return [greeting, { serve: [...rows, ...kGood], forever: true }];
}

async function against(scripts, work, settings = {}) {
  const server = await startScripted(scripts);
  try {
    const session = Object.assign(new POPSession(), {
      hostname: '127.0.0.1', port: server.port, username: 'alice', password: 'secret',
      connectionType: ConnectionType.Clear, timeout: 1,
    }, settings);
    const start = Date.now();
    await work(session, server);
    assert.ok(Date.now() - start < 15000, 'every wait is bounded');
  } finally {
    await server.stop();
  }
}

const kCases = [
  ['a greeting that refuses', [['-ERR go away\r\n', { close: true }]], (s) => s.connect(), 1],
  ['a greeting that never comes', [[{ delay: 3000 }]], (s) => s.connect(), 1],
  ['a greeting of another protocol', [['* OK IMAP4rev1 ready\r\n']], (s) => s.connect(), 1],
  ['a connection closed at once', [[{ close: true }]], (s) => s.connect(), 1],
  ['a connection reset at once', [[{ cut: true }]], (s) => s.connect(), 1],
  ['garbage', [[{ garbage: 100000 }, { close: true }]], (s) => s.connect(), ErrorCode.LimitExceeded],
  ['a greeting without end', [[{ garbage: 4000000 }]], (s) => s.connect(), ErrorCode.LimitExceeded],
  ['STLS not offered', [serving([])], (s) => s.connect(), 25, { connectionType: ConnectionType.StartTLS }],
  ['STLS refused', [serving([[/^CAPA/, '+OK\r\nSTLS\r\nUSER\r\n.\r\n'], [/^STLS/, '-ERR no\r\n']])], (s) => s.connect(), 25, { connectionType: ConnectionType.StartTLS }],
  ['TLS asked of a clear port', [serving([])], (s) => s.connect(), 1, { connectionType: ConnectionType.TLS }],
  ['CAPA refused', [serving([[/^CAPA/, '-ERR\r\n']])], (s) => s.login(), 0],
  ['USER refused', [serving([[/^AUTH/, '-ERR no\r\n'], [/^CAPA/, '+OK\r\nUSER\r\n.\r\n'], [/^USER/, '-ERR no\r\n']])], (s) => s.login(), 5],
  ['PASS refused', [serving([[/^CAPA/, '+OK\r\nUSER\r\n.\r\n'], [/^PASS/, '-ERR no\r\n']])], (s) => s.login(), 5],
  ['a mailbox in use', [serving([[/^AUTH/, '-ERR [IN-USE] held\r\n']])], (s) => s.login(), 32],
  ['an account out of order', [serving([[/^AUTH/, '-ERR [SYS/TEMP] later\r\n']])], (s) => s.login(), 7],
  ['a login answered by nonsense', [serving([[/^AUTH/, 'maybe\r\n']])], (s) => s.login(), 3],
  ['a login answered by a challenge without end', [serving([[/^AUTH|^[*]|^\r|^[A-Za-z0-9+/=]+\r/, '+ AAAA\r\n']])], (s) => s.login(), 1],
  ['a login that is cut', [serving([[/^AUTH/, { cut: true }]])], (s) => s.login(), 1],
  ['a login that is never answered', [serving([[/^AUTH/, { delay: 4000 }]])], (s) => s.login(), 1],
  ['no mechanism that fits', [serving([])], (s) => s.login(), ErrorCode.AuthenticationMechanism, { authType: AuthType.SASLCRAMMD5 }],
  ['NOOP refused', [serving([[/^NOOP/, '-ERR\r\n']])], (s) => s.noop(), ErrorCode.Noop],
  ['DELE refused', [serving([[/^DELE/, '-ERR\r\n']])], (s) => s.deleteMessage(1), ErrorCode.DeleteMessage],
  ['TOP refused', [serving([[/^TOP/, '-ERR\r\n']])], (s) => s.fetchHeader(1), undefined],
  ['TOP without the final dot', [serving([[/^TOP/, ['+OK\r\nSubject: ha', { close: true }]]])], (s) => s.fetchHeader(1), undefined],
  ['QUIT refused', [serving([[/^QUIT/, ['-ERR\r\n', { close: true }]]])], (s) => { s.login(); return s.disconnect(); }, undefined],
  ['RETR refused', [serving([[/^RETR/, '-ERR\r\n']])], (s) => s.fetchMessage(1), undefined],
  ['RETR without the final dot', [serving([[/^RETR/, ['+OK\r\nhalf a mess', { close: true }]]])], (s) => s.fetchMessage(1), undefined],
  ['RETR that stops in the middle', [serving([[/^RETR/, ['+OK\r\nhalf', { delay: 4000 }]]])], (s) => s.fetchMessage(1), undefined],
  ['RETR reset in the middle', [serving([[/^RETR/, ['+OK\r\nhalf', { cut: true }]]])], (s) => s.fetchMessage(1), undefined],
  ['RETR of bare line feeds', [serving([[/^RETR/, '+OK\nhello\n..dot\n.\n']])], (s) => s.fetchMessage(1).bytes().toString(), 'hello\n.dot\n'],
  ['RETR with a size that lies', [serving([[/^RETR/, '+OK 4000000000 octets\r\nhello\r\n.\r\n']])], (s) => s.fetchMessage(1).bytes().toString(), 'hello\r\n'],
  ['RETR by single bytes', [serving([[/^RETR/, { drip: '+OK\r\nhello\r\n..\r\n.\r\n', every: 5 }]])], (s) => s.fetchMessage(1).bytes().toString(), 'hello\r\n.\r\n'],
  ['an empty message', [serving([[/^RETR/, '+OK\r\n.\r\n']])], (s) => s.fetchMessage(1).length(), 0],
  ['LIST that lies about sizes', [serving([[/^LIST/, '+OK\r\n1 99999999999\r\n2 -5\r\n3\r\nx y\r\n.\r\n']])], (s) => s.fetchMessages().map((i) => [i.index, i.size]), [[1, 4294967295]]],
  ['LIST refused, UIDL answered', [serving([[/^LIST/, '-ERR\r\n']])], (s) => s.fetchMessages().map((i) => i.uid), ['a']],
  ['UIDL refused, LIST answered', [serving([[/^UIDL/, '-ERR\r\n']])], (s) => s.fetchMessages().map((i) => [i.size, i.uid]), [[10, '']]],
  ['LIST without end', [serving([[/^LIST/, ['+OK\r\n1 10\r\n', { close: true }]]])], (s) => thrown(() => s.fetchMessages()), 'Error code: 1'],
  ['LIST and UIDL refused', [serving([[/^LIST/, '-ERR\r\n'], [/^UIDL/, '-ERR\r\n']])], (s) => thrown(() => s.fetchMessages()), 'Error code: 33'],
  ['a line without end', [serving([[/^NOOP/, { garbage: 300000 }]])], (s) => s.noop(), ErrorCode.Parse],
  ['QUIT never answered', [serving([[/^QUIT/, { delay: 4000 }]])], (s) => { s.login(); return s.disconnect(); }, undefined],
  ['a line break in the password, for PASS', [serving([[/^CAPA/, '+OK\r\nUSER\r\n.\r\n']])], (s) => s.login(), ErrorCode.InvalidArgument, { password: 'se\r\nDELE 1' }],
  ['a line break in the password', [serving([])], (s) => s.login(), 0, { password: 'se\r\nDELE 1' }],
];

function thrown(work) {
  try {
    return work();
  } catch (error) {
    return error.message;
  }
}

for (const [name, scripts, work, expected, settings] of kCases) {
  test(name, async () => {
    // Whatever happened, the next connection is a good one.
    await against([...scripts, serving([])], async (session, server) => {
      assert.deepEqual(work(session), expected);
      Object.assign(session, { connectionType: ConnectionType.Clear, authType: 0, password: 'secret' });
      session.disconnect();
      assert.equal(session.login(), 0, 'the session stays usable');
      assert.equal(session.fetchMessage(1).bytes().toString(), 'hello\r\n');
      session.disconnect();
      for (const connection of await server.connections()) {
        assert.ok(!connection.lines.some((line) => /^DELE 1/.test(line) && name.includes('line break')));
      }
    }, settings);
  });
}
