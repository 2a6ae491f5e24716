// What each call of IMAPSession sends to the server and what it gives, and that its twin does the same: against a
// server whose every answer is known.
'use strict';

const assert = require('node:assert/strict');
const test = require('node:test');
const v8 = require('node:v8');
const vm = require('node:vm');

const { ConnectionType, ErrorCode } = require('../../constants.js');
const { Data, IMAPFolder, IMAPFolderStatus, IMAPMessage, IMAPSession, IMAPSyncResult } = require('../module/load.js');
const { startScripted } = require('./scripted.js');

const kCapabilities = 'IMAP4rev1 SASL-IR UIDPLUS MOVE ENABLE CONDSTORE QRESYNC AUTH=PLAIN';

const row = (command, untagged, result = 'OK done') =>
  [new RegExp(`^([^ ]+) ${command}.*\\r\\n`), `${untagged}$1 ${result}\r\n`];

const kLogin = [
  row('CAPABILITY', `* CAPABILITY ${kCapabilities}\r\n`),
  row('AUTHENTICATE', '', `OK [CAPABILITY ${kCapabilities}] in`),
  row('ENABLE', '* ENABLED QRESYNC\r\n'),
  row('NOOP', ''),
  row('SELECT', '* 9 EXISTS\r\n* FLAGS (\\Seen)\r\n* OK [UIDVALIDITY 1] x\r\n* OK [UIDNEXT 30] x\r\n* OK [HIGHESTMODSEQ 5] x\r\n'),
  row('LOGOUT', '* BYE\r\n'),
];
const kAnswers = [
  row('UID FETCH 8 \\(BODY', ''),
  row('UID FETCH \\d+ \\(BODY', '* 2 FETCH (UID 5 BODY[] {5}\r\nhello)\r\n'),
  row('UID FETCH (?:3|1):(?:8|4) .*VANISHED', '* VANISHED (EARLIER) 4\r\n* 1 FETCH (UID 1 FLAGS (\\Seen))\r\n* 2 FETCH (UID 7 FLAGS ())\r\n'),
  row('UID FETCH.*VANISHED', '* VANISHED (EARLIER) 3:5,9\r\n* 1 FETCH (UID 1 FLAGS (\\Seen))\r\n* 2 FETCH (UID 7 FLAGS ())\r\n'),
  row('UID FETCH', '* 1 FETCH (UID 1 FLAGS (\\Seen))\r\n* 2 FETCH (UID 7 FLAGS ())\r\n'),
  row('FETCH 8', ''),
  row('FETCH', '* 5 FETCH (UID 6 BODY[] {5}\r\nhello)\r\n'),
  row('UID (?:MOVE|COPY)', '', 'OK [COPYUID 1 5 17] done'),
  row('LIST', '* LIST (\\HasNoChildren) "/" INBOX\r\n* LIST (\\Sent) "." Sent\r\n'),
  row('LSUB', '* LSUB () "/" INBOX\r\n'),
  row('STATUS', '* STATUS INBOX (MESSAGES 2 RECENT 1 UIDNEXT 3 UIDVALIDITY 4294967295 UNSEEN 0 HIGHESTMODSEQ 9007199254740993)\r\n'),
  row('', ''),
];

const serving = (rows, capabilities = '') => [`* OK ${capabilities}ready\r\n`, { serve: [...rows, ...kLogin, ...kAnswers], forever: true }];

async function against(rows, work, capabilities) {
  const server = await startScripted([serving(rows, capabilities)]);
  try {
    const session = Object.assign(new IMAPSession(), {
      hostname: '127.0.0.1', port: server.port, username: 'a', password: 'b', connectionType: ConnectionType.Clear,
    });
    let known = 0;
    // The commands since the last look, without their tags; looks for news before a command are the session's own affair.
    const sent = async () => {
      const lines = (await server.connections()).flatMap((connection) => connection.lines);
      const fresh = lines.slice(known).map((line) => line.slice(line.indexOf(' ') + 1)).filter((line) => line !== 'NOOP');
      known = lines.length;
      return fresh;
    };
    await work(session, sent);
    session.disconnect();
  } finally {
    await server.stop();
  }
}

// The arguments that the twin calls back with; more than one call of the callback is a failure.
const called = (session, method, args) => new Promise((resolve, reject) => {
  let calls = 0;
  const returned = session[method](...args, (...results) => {
    calls += 1;
    setImmediate(() => (calls === 1 ? resolve(results) : reject(new Error(`${method} called back ${calls} times`))));
  });
  assert.equal(returned, undefined, method);
});

// A value of a class of the module as its class and what tells it from others.
function plain(value) {
  if (Array.isArray(value)) return value.map(plain);
  if (value instanceof Data) return ['Data', value.bytes().toString()];
  if (value instanceof IMAPFolder) return ['IMAPFolder', value.path, value.delimiter, value.flags];
  if (value instanceof IMAPMessage) return ['IMAPMessage', value.uid, value.flags];
  if (value instanceof IMAPSyncResult) return ['IMAPSyncResult', plain(value.modifiedOrAddedMessages), value.vanishedMessages];
  if (value instanceof IMAPFolderStatus) {
    return ['IMAPFolderStatus', value.messageCount, value.recentCount, value.uidNext, value.uidValidity, value.unseenCount, value.highestModSeqValue];
  }
  return value;
}

const kItems = 'UID FLAGS INTERNALDATE RFC822.SIZE ENVELOPE BODYSTRUCTURE BODY.PEEK[HEADER.FIELDS (SUBJECT)]';
const listing = (set) => [`UID FETCH ${set} (${kItems})`];
const changes = (set, modSequence) => [`UID FETCH ${set} (${kItems} MODSEQ) (CHANGEDSINCE ${modSequence} VANISHED)`];
const kMessages = [['IMAPMessage', 1, 1], ['IMAPMessage', 7, 0]];
const only = (uid) => kMessages.filter(([, own]) => own === uid);
const kChanges = ['IMAPSyncResult', kMessages, [3, 4, 5, 9]];
const kFolders = [['IMAPFolder', 'INBOX', '/', 16], ['IMAPFolder', 'Sent', '.', 32]];
// A number that doubles do not hold reads as its nearest.
const kStatus = ['IMAPFolderStatus', 2, 1, 3, 4294967295, 0, 9007199254740992];
const kHello = ['Data', 'hello'];

// Method, arguments, what is sent, what is given.
const kCalls = [
  ['loginIfNeeded', [], [], 0],
  ['connectIfNeeded', [], [], 0],
  ['isDisconnected', [], [], false],
  ['renameFolder', ['a b', 'c'], ['RENAME "a b" c'], 0],
  ['createFolder', ['x'], ['CREATE x'], 0],
  ['deleteFolder', ['x'], ['DELETE x'], 0],
  ['subscribeFolder', ['x'], ['SUBSCRIBE x'], 0],
  ['unsubscribeFolder', ['x'], ['UNSUBSCRIBE x'], 0],
  ['fetchSubscribedFolders', [], ['LSUB "" "*"'], [['IMAPFolder', 'INBOX', '/', 16]]],
  ['fetchAllFolders', [], ['LIST "" "*"'], kFolders],
  ['folderStatus', ['INBOX'], ['STATUS INBOX (MESSAGES RECENT UIDNEXT UIDVALIDITY UNSEEN HIGHESTMODSEQ)'], kStatus],
  ['moveMessages', ['INBOX', 5, 'B'], ['UID MOVE 5 B'], 17],
  ['moveMessages', ['INBOX', 5.9, 'B'], ['UID MOVE 5 B'], 17],
  ['fetchMessagesByUID', ['INBOX'], listing('1:*'), kMessages],
  ['fetchMessagesByUID', ['INBOX', 5], listing('5:*'), only(7)],
  ['fetchMessagesByUID', ['INBOX', undefined, 7], listing('1:7'), kMessages],
  ['fetchMessagesByUID', ['INBOX', 2, 2], listing('2'), []],
  ['fetchMessagesByUID', ['INBOX', 2.9, 7.9], listing('2:7'), only(7)],
  ['fetchMessagesByUID', ['INBOX', 3, undefined], listing('3:*'), only(7)],
  ['fetchMessagesByUID', ['INBOX', 3, 2 ** 64], listing('3:*'), only(7)],
  // One below the start counts as no end.
  ['fetchMessagesByUID', ['INBOX', 3, 2], listing('3:*'), only(7)],
  ['fetchMessageByUID', ['INBOX', 5], ['UID FETCH 5 (BODY.PEEK[])'], kHello],
  ['fetchMessageByUID', ['INBOX', 2 ** 32 + 5], ['UID FETCH 5 (BODY.PEEK[])'], kHello],
  ['fetchMessageByUID', ['INBOX', 8], ['UID FETCH 8 (BODY.PEEK[])'], undefined],
  ['fetchMessageByNumber', ['INBOX', 5], ['FETCH 5 (BODY.PEEK[])'], kHello],
  ['fetchMessageByNumber', ['INBOX', 8], ['FETCH 8 (BODY.PEEK[])'], undefined],
  ['isQResyncEnabled', [], [], true],
  ['syncMessagesByUID', ['INBOX', 7], changes('1:4294967295', 7), kChanges],
  ['syncMessagesByUID', ['INBOX', 2 ** 53], changes('1:4294967295', 2 ** 53), kChanges],
  ['syncMessagesByUID', ['INBOX', 7, 3], changes('3:4294967295', 7), ['IMAPSyncResult', only(7), [3, 4, 5, 9]]],
  ['syncMessagesByUID', ['INBOX', 7, 3, 8], changes('3:8', 7), ['IMAPSyncResult', only(7), [4]]],
  ['syncMessagesByUID', ['INBOX', 7, undefined, 4], changes('1:4', 7), ['IMAPSyncResult', only(1), [4]]],
  ['storeFlagsByUID', ['INBOX', 5, 0, 5], ['UID STORE 5 +FLAGS.SILENT (\\Seen \\Flagged)'], 0],
  ['storeFlagsByUID', ['INBOX', 5, 1, 8], ['UID STORE 5 -FLAGS.SILENT (\\Deleted)'], 0],
  ['storeFlagsByUID', ['INBOX', 5, 2, 0], ['UID STORE 5 FLAGS.SILENT ()'], 0],
  ['storeFlagsByNumber', ['INBOX', 5, 2, 16], ['STORE 5 FLAGS.SILENT (\\Draft)'], 0],
  ['copyMessages', ['INBOX', 'B', 10], ['UID COPY 10:11 B'], 0],
  ['copyMessages', ['INBOX', 'B', 10, undefined], ['UID COPY 10:11 B'], 0],
  ['copyMessages', ['INBOX', 'B', 10, 0], ['UID COPY 10 B'], 0],
  // The fourth argument is a length here, not an end.
  ['copyMessages', ['INBOX', 'B', 10, 15], ['UID COPY 10:25 B'], 0],
  ['expunge', ['INBOX'], ['EXPUNGE'], 0],
  // Asked each time.
  ['capabilityMove', [], ['CAPABILITY'], true],
  ['capabilityMove', [], ['CAPABILITY'], true],
  ['capabilityCreateSpecialUse', [], ['CAPABILITY'], false],
  ['capabilityCreateSpecialUse', [], ['CAPABILITY'], false],
];

test('each call sends its command and gives its result', () => against([], async (session, sent) => {
  // What the folder is selected with is not what this table is about.
  session.fetchMessagesByUID('INBOX');
  await sent();
  for (const [method, args, commands, value] of kCalls) {
    const result = plain(session[method](...args));
    const name = `${method}(${args.map((arg) => JSON.stringify(arg))})`;
    assert.deepEqual(await sent(), commands, name);
    assert.deepEqual(result, value, name);
  }
  assert.equal(session.disconnect(), undefined);
  assert.deepEqual(await sent(), ['LOGOUT']);
  assert.equal(session.isDisconnected(), true);
}));

test('each twin sends the same command and calls back with null and the same result', () => against([], async (session, sent) => {
  session.fetchMessagesByUID('INBOX');
  await sent();
  let twins = 0;
  for (const [method, args, commands, value] of kCalls) {
    const twin = `${method}Async`;
    if (typeof session[twin] !== 'function' || (method === 'syncMessagesByUID' && args.length > 2)) continue;
    twins += 1;
    const results = await called(session, twin, args);
    const name = `${twin}(${args.map((arg) => JSON.stringify(arg))})`;
    assert.deepEqual(await sent(), commands, name);
    assert.deepEqual(results.map(plain), [null, value], name);
  }
  assert.ok(twins >= 17);
  // A range is no argument of this twin: it is passed over, whatever it is.
  for (const range of [[3], [3, 8], ['3', {}]]) {
    assert.deepEqual((await called(session, 'syncMessagesByUIDAsync', ['INBOX', 7, ...range])).map(plain), [null, kChanges]);
    assert.deepEqual(await sent(), changes('1:4294967295', 7));
  }
  assert.deepEqual(await called(session, 'disconnectAsync', []), [null, undefined]);
  assert.deepEqual(await sent(), ['LOGOUT']);
}));

test('a range that ends before it starts is refused and sends nothing', () => against([], async (session, sent) => {
  session.loginIfNeeded();
  await sent();
  for (const work of [() => session.fetchMessagesByUID('INBOX', 5, 3), () => session.syncMessagesByUID('INBOX', 7, 5, 3)]) {
    assert.throws(work, { name: 'Error', message: `Error code: ${ErrorCode.InvalidArgument}` });
  }
  assert.deepEqual(await sent(), []);
}));

// Method, arguments, the code that the server's refusal gives; a text where the method throws.
const kRefused = [
  ['renameFolder', ['a', 'b'], ErrorCode.Rename],
  ['createFolder', ['x'], ErrorCode.Create],
  ['deleteFolder', ['x'], ErrorCode.Delete],
  ['subscribeFolder', ['x'], ErrorCode.Subscribe],
  ['unsubscribeFolder', ['x'], ErrorCode.Unsubscribe],
  ['storeFlagsByUID', ['INBOX', 5, 0, 1], ErrorCode.Store],
  ['storeFlagsByNumber', ['INBOX', 5, 0, 1], ErrorCode.Store],
  ['copyMessages', ['INBOX', 'B', 5], ErrorCode.Copy],
  ['expunge', ['INBOX'], ErrorCode.Expunge],
  ['fetchSubscribedFolders', [], ErrorCode.List, 'Error code: '],
  ['fetchAllFolders', [], ErrorCode.List, 'Error code: '],
  ['folderStatus', ['INBOX'], ErrorCode.Status, 'Error code: ', 'Folder status is NULL. Error code: '],
  ['fetchMessagesByUID', ['INBOX'], ErrorCode.Fetch, 'Error code: ', 'Fetched messages array is NULL. Error code: '],
  ['fetchMessageByUID', ['INBOX', 5], ErrorCode.Fetch, 'Error code: '],
  ['fetchMessageByNumber', ['INBOX', 5], ErrorCode.Fetch, 'Error code: '],
  ['syncMessagesByUID', ['INBOX', 7], ErrorCode.Sync, 'Error code: '],
  ['moveMessages', ['INBOX', 5, 'B'], ErrorCode.Move, 'Unable to move messages. Error code: ', 'Error code: '],
  ['capabilityMove', [], ErrorCode.Capability, 'Unable to obtain capabilities. Error code: '],
  ['capabilityCreateSpecialUse', [], ErrorCode.Capability, 'Unable to obtain capabilities. Error code: '],
];

test('a refusal is a code or an Error with its text, the same of the twin, and the session stays usable', () => against([
  ...kLogin.slice(1), row('', '', 'NO not today'),
], async (session) => {
  for (const [method, args, code, text, twinText = 'Error code: '] of kRefused) {
    if (text === undefined) {
      assert.strictEqual(session[method](...args), code, method);
    } else {
      assert.throws(() => session[method](...args), (error) => {
        assert.equal(error.constructor, Error);
        assert.equal(error.message, text + code, method);
        return true;
      });
    }
    if (typeof session[`${method}Async`] === 'function') {
      const results = await called(session, `${method}Async`, args);
      assert.equal(results.length, 1, method);
      assert.equal(results[0].constructor, Error);
      assert.equal(results[0].message, twinText + code, method);
    }
  }
  assert.equal(session.loginIfNeeded(), 0);
}, `[CAPABILITY ${kCapabilities}] `));

test('QRESYNC counts as there once the server has listed it, before it is enabled', () => against([], async (session, sent) => {
  assert.equal(session.isQResyncEnabled(), false);
  assert.equal(session.connectIfNeeded(), 0);
  assert.equal(session.isQResyncEnabled(), true);
  assert.ok((await sent()).every((line) => !/^(ENABLE|AUTHENTICATE)/.test(line)));
}));

test('without MOVE and CREATE-SPECIAL-USE the answers are false', () => against([
  row('CAPABILITY', '* CAPABILITY IMAP4rev1 AUTH=PLAIN SASL-IR\r\n'), row('AUTHENTICATE', ''),
], async (session) => {
  assert.equal(session.capabilityMove(), false);
  assert.equal(session.capabilityCreateSpecialUse(), false);
}));

test('a special use goes to a server that knows them, as its name', () => against([
  row('AUTHENTICATE', '', 'OK [CAPABILITY IMAP4rev1 CREATE-SPECIAL-USE] in'),
  row('CAPABILITY', '* CAPABILITY IMAP4rev1 CREATE-SPECIAL-USE AUTH=PLAIN SASL-IR\r\n'),
], async (session, sent) => {
  assert.equal(session.capabilityCreateSpecialUse(), true);
  await sent();
  for (const [kind, name] of [[32, 'Sent'], [64, 'Flagged'], [128, 'All'], [256, 'Trash'], [512, 'Drafts'], [1024, 'Junk'], [4096, 'Archive']]) {
    assert.equal(session.createSpecialFolder('x', kind), 0);
    assert.deepEqual(await sent(), [`CREATE x (USE (\\${name}))`]);
  }
  for (const kind of [0, 3, 16, 32 | 64, -1]) assert.equal(session.createSpecialFolder('x', kind), ErrorCode.InvalidArgument, `${kind}`);
  assert.deepEqual(await sent(), []);
}));

test('what a call has given is a copy: a change of it is seen nowhere else', () => against([], async (session) => {
  const status = session.folderStatus('INBOX');
  status.messageCount = 99;
  assert.equal(session.folderStatus('INBOX').messageCount, 2);
  const [folder] = session.fetchAllFolders();
  folder.path = 'changed';
  assert.equal(session.fetchAllFolders()[0].path, 'INBOX');
  const [message] = session.fetchMessagesByUID('INBOX');
  message.flags = 0;
  assert.equal(message.originalFlags, 1);
  assert.equal(session.fetchMessagesByUID('INBOX')[0].flags, 1);

  const result = session.syncMessagesByUID('INBOX', 7);
  const [first, second] = [result.modifiedOrAddedMessages, result.modifiedOrAddedMessages];
  assert.equal(first.length, 2);
  first.forEach((one, i) => assert.notEqual(one, second[i]));
  first[0].flags = 64;
  assert.deepEqual([first[0].flags, first[0].originalFlags], [64, 1]);
  assert.deepEqual(result.modifiedOrAddedMessages.map((one) => one.flags), [1, 0]);
}));

const kHtml = '<b>пя</b>\r\n';

test('a rendering looks for the parts in the folder that it is given, once they are needed', () => against([
  row('UID FETCH 1:\\*', '* 1 FETCH (UID 7 BODYSTRUCTURE ("TEXT" "HTML" ("CHARSET" "utf-8") NIL NIL "8BIT" 12 1))\r\n'),
  row('UID FETCH 7 \\(BODY', `* 1 FETCH (UID 7 BODY[1] {${Buffer.byteLength(kHtml)}}\r\n${kHtml})\r\n`),
], async (session, sent) => {
  const [message] = session.fetchMessagesByUID('INBOX');
  await sent();
  assert.ok(message.htmlRendering('two words').includes(kHtml.trim()));
  const [select, fetch, ...rest] = await sent();
  assert.match(select, /^SELECT "two words"/);
  assert.equal(fetch, 'UID FETCH 7 (BODY.PEEK[1])');
  assert.deepEqual(rest, []);
}));

// The highest UID that the folder has given out bounds what can have vanished.
const vanished = (set) => [
  row('SELECT', '* 2 EXISTS\r\n* OK [UIDVALIDITY 1] x\r\n* OK [UIDNEXT 4294967295] x\r\n* OK [HIGHESTMODSEQ 5] x\r\n'),
  row('UID FETCH', `* VANISHED (EARLIER) ${set}\r\n`),
  row('STATUS', '* STATUS INBOX (UIDNEXT 4294967295)\r\n'),
];

test('vanished messages are listed one by one, up to the last UID', async () => {
  for (const [set, uids] of [
    ['3:5,9', [3, 4, 5, 9]],
    ['9,3:5,4', [3, 4, 5, 9]],
    ['5:3', [3, 4, 5]],
    ['4294967290:4294967294', [4294967290, 4294967291, 4294967292, 4294967293, 4294967294]],
  ]) {
    await against(vanished(set), async (session) => {
      assert.deepEqual(session.syncMessagesByUID('INBOX', 7).vanishedMessages, uids, set);
    });
  }
});

test('millions of vanished messages are listed; what would fill the memory is refused', async () => {
  await against(vanished('1:3000000'), async (session) => {
    const uids = session.syncMessagesByUID('INBOX', 7).vanishedMessages;
    assert.deepEqual([uids.length, uids[0], uids.at(-1)], [3000000, 1, 3000000]);
  });
  await against(vanished('1:4294967294'), async (session) => {
    const result = session.syncMessagesByUID('INBOX', 7);
    assert.throws(() => result.vanishedMessages, { name: 'Error', message: 'Too many vanished messages' });
    assert.deepEqual(result.modifiedOrAddedMessages, []);
  });
});

test('an upload after the host name has gone: its text, and the one that all twins share', () => against([], async (session, sent) => {
  const data = new Data(Buffer.from('x'));
  session.fetchMessagesByUID('INBOX');
  session.hostname = '';
  await sent();
  assert.throws(() => session.appendMessage('INBOX', data, 0), (error) => {
    assert.equal(error.constructor, Error);
    assert.equal(error.message, 'Eror append message: hostname is not specified!');
    return true;
  });
  const results = await called(session, 'appendMessageAsync', ['INBOX', data, 0]);
  assert.deepEqual(results.map((error) => error.message), ['Unknown error while fetching messages']);
  // The folder was selected each time, and the session goes on.
  assert.equal((await sent()).filter((line) => line.startsWith('SELECT INBOX')).length, 2);
  assert.deepEqual(plain(session.fetchMessagesByUID('INBOX')), kMessages);
}));

v8.setFlagsFromString('--expose-gc');
const gc = vm.runInNewContext('gc');
const isSanitized = /asan/.test(process.env.LD_PRELOAD ?? '');

// The object that a folder's or message's constructor made is left alive when the copy takes its place.
test('folders and messages that a call has given leave an empty object behind', { skip: isSanitized && 'the sanitizer keeps freed memory' }, async () => {
  const kCount = 20000;
  const lines = (line) => Array.from({ length: kCount }, (_, i) => line(i + 1)).join('');
  await against([
    row('SELECT', `* ${kCount} EXISTS\r\n`),
    row('AUTHENTICATE', ''),
    row('CAPABILITY', '* CAPABILITY IMAP4rev1 AUTH=PLAIN SASL-IR\r\n'),
    row('UID FETCH', lines((i) => `* ${i} FETCH (UID ${i} FLAGS ())\r\n`)),
    row('LIST', lines((i) => `* LIST () "/" f${i}\r\n`)),
  ], async (session) => {
    const result = session.syncMessagesByUID('INBOX', 1);
    for (const work of [() => result.modifiedOrAddedMessages, () => session.fetchAllFolders()]) {
      const round = async () => {
        for (let i = 0; i < 10; ++i) {
          assert.equal(work().length, kCount);
          gc();
          await new Promise(setImmediate);
        }
        for (let i = 0; i < 6; ++i) {
          gc();
          await new Promise((resolve) => setTimeout(resolve, 5));
        }
      };
      // 200,000 of 64 bytes, and nothing else; in every round, where other things happen now and then.
      const isExpected = (growth) => growth > 8 && growth < 20;
      let growth = NaN;
      await round();
      for (let attempt = 0; attempt < 4 && !isExpected(growth); ++attempt) {
        const before = process.memoryUsage.rss();
        await round();
        growth = (process.memoryUsage.rss() - before) / (1 << 20);
      }
      assert.ok(isExpected(growth), `${growth} MiB`);
    }
  });
});
