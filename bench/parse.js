// Parsing: whole mails read through the script API (Import, all header fields, the four renderings' two
// bodies, every attachment's bytes) beside two parsers from the registry and one in C, all in one run.
// Needs the packages of `npm ci` in this folder and libgmime-3.0-dev.
//   node bench/parse.js [small|big|parts|text|deep|hostile|memory ...]
'use strict';

const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const { buildPrograms, collectGarbage, compare, kRoot } = require('./lib.js');
const { MessageParser } = require('../test/module/load.js');

const kHeader = 'From: Ann <ann@example.com>\r\nTo: Bob <bob@example.com>\r\nSubject: =?utf-8?Q?Gr=C3=BC=C3=9Fe?=\r\n' +
  'Date: Mon, 5 May 2025 10:00:00 +0200\r\nMessage-ID: <1@example.com>\r\nMIME-Version: 1.0\r\n';

// ---- the mails ----

function smallMails() {
  const root = path.join(kRoot, 'test/fixtures/messages');
  const files = [];
  for (const folder of fs.readdirSync(root, { withFileTypes: true }).filter((entry) => entry.isDirectory())) {
    for (const name of fs.readdirSync(path.join(root, folder.name))) {
      const file = path.join(root, folder.name, name);
      const { size } = fs.statSync(file);
      if (!name.endsWith('.json') && size > 0 && size < 65536) files.push(file);
    }
  }
  return files;
}

function base64Lines(length, seed) {
  const bytes = Buffer.alloc(length);
  let state = seed;
  for (let i = 0; i + 4 <= length; i += 4) {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    bytes.writeUInt32LE(state, i);
  }
  return bytes.toString('base64').replace(/.{76}/gu, '$&\r\n');
}

function bigMail() {
  const parts = [1, 2, 3, 4].map((n) =>
    `--b\r\nContent-Type: application/pdf; name="file${n}.pdf"\r\nContent-Disposition: attachment; filename="file${n}.pdf"\r\n` +
    `Content-Transfer-Encoding: base64\r\n\r\n${base64Lines(4.57 * 1024 * 1024 | 0, n)}\r\n`);
  return `${kHeader}Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\nHello\r\n${parts.join('')}--b--\r\n`;
}

function manyParts(count) {
  let mail = `${kHeader}Content-Type: multipart/mixed; boundary=b\r\n\r\n`;
  for (let i = 0; i < count; i++) {
    mail += `--b\r\nContent-Type: application/octet-stream; name="file${i}.bin"\r\nContent-Disposition: attachment; filename="file${i}.bin"\r\n` +
      `Content-Transfer-Encoding: base64\r\n\r\nSGVsbG8gd29ybGQsIHRoaXMgaXMgcGFydA==\r\n`;
  }
  return `${mail}--b--\r\n`;
}

function deep(levels) {
  let mail = kHeader;
  for (let i = 0; i < levels; i++) mail += `Content-Type: multipart/mixed; boundary=b${i}\r\n\r\n--b${i}\r\n`;
  return `${mail}\r\ntext\r\n`;
}

const kRussian = 'Съешь же ещё этих мягких французских булок, да выпей чаю. ';

function quotedPrintable(size) {
  const line = [...Buffer.from(kRussian)].map((byte) => (byte < 128 && byte !== 61 ? String.fromCharCode(byte) : `=${byte.toString(16).toUpperCase().padStart(2, '0')}`));
  let text = '';
  let column = 0;
  while (text.length < size) {
    for (const piece of line) {
      if (column + piece.length > 75) {
        text += '=\r\n';
        column = 0;
      }
      text += piece;
      column += piece.length;
    }
  }
  return `${kHeader}Content-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n${text}\r\n`;
}

function koi8(size) {
  // KOI8-R by hand: Node has no encoder for it.
  const order = 'юабцдефгхийклмнопярстужвьызшэщчъЮАБЦДЕФГХИЙКЛМНОПЯРСТУЖВЬЫЗШЭЩЧЪ';
  const line = Buffer.from([...`${kRussian}\r\n`].map((c) => (c === 'ё' ? 0xa3 : order.includes(c) ? 0xc0 + order.indexOf(c) : c.charCodeAt(0))));
  const head = Buffer.from(`${kHeader}Content-Type: text/plain; charset=koi8-r\r\nContent-Transfer-Encoding: 8bit\r\n\r\n`);
  return Buffer.concat([head, ...Array(Math.ceil(size / line.length)).fill(line)]);
}

// About half a megabyte each, and `factor` times that.
const kHostile = {
  'encoded-words': (n) => `Subject:${' =?utf-8?Q?x?=\r\n'.repeat(32000 * n)}\r\nx`,
  'broken encoded-words': (n) => `Subject: ${'=?utf-8?Q?x'.repeat(45000 * n)}\r\n\r\nx`,
  addresses: (n) => `To: ${'"A, B" <a@example.com>,\r\n '.repeat(20000 * n)}b@example.com\r\n\r\nx`,
  'nested comments': (n) => `To: ${'('.repeat(250000 * n)}a${')'.repeat(250000 * n)} a@example.com\r\n\r\nx`,
  'quote marks': (n) => `To: ${'"'.repeat(500000 * n)}\r\n\r\nx`,
  'angle brackets': (n) => `To: ${'<'.repeat(500000 * n)}\r\n\r\nx`,
  groups: (n) => `To: ${'g:'.repeat(250000 * n)};\r\n\r\nx`,
  parameters: (n) => `Content-Type: text/plain${Array.from({ length: 20000 * n }, (_, i) => `;\r\n a${i}=${i}`).join('')}\r\n\r\nx`,
  continuations: (n) => `Content-Type: text/plain${Array.from({ length: 20000 * n }, (_, i) => `;\r\n name*${i}*=%41%42`).join('')}\r\n\r\nx`,
  fields: (n) => `${'A: b\r\n'.repeat(83000 * n)}\r\nx`,
  'lines that are no boundary': (n) => `Content-Type: multipart/mixed; boundary=b\r\n\r\n${'--bb\r\n'.repeat(83000 * n)}`,
  'lines that are a boundary': (n) => `Content-Type: multipart/mixed; boundary=b\r\n\r\n${'--b\r\n'.repeat(100000 * n)}`,
  'open boundaries': (n) => `${Array.from({ length: 250 }, (_, i) => `Content-Type: multipart/mixed; boundary=b${i}\r\n\r\n--b${i}\r\n`).join('')}\r\n${'--b\r\n--bx250\r\n'.repeat(38000 * n)}`,
  'embedded messages': (n) => 'Content-Type: message/rfc822\r\n\r\n'.repeat(16000 * n),
  'soft line breaks': (n) => `Content-Transfer-Encoding: quoted-printable\r\n\r\n${'=\r\n'.repeat(166000 * n)}`,
  'equals signs': (n) => `Content-Transfer-Encoding: quoted-printable\r\n\r\n${'='.repeat(500000 * n)}`,
  'begin lines': (n) => `\r\n${'begin 644 a\r\n'.repeat(38000 * n)}`,
  '=ybegin lines': (n) => `\r\n${'=ybegin line=1 size=1 name=a\r\n'.repeat(16000 * n)}`,
  'flowed quotes': (n) => `Content-Type: text/plain; format=flowed\r\n\r\n${`${'>'.repeat(250)} \r\n`.repeat(2000 * n)}`,
};

// ---- the contenders ----

function readAll(mail) {
  const parser = new MessageParser();
  parser.Import(mail);
  const header = parser.header;
  let total = 0;
  for (const field of ['subject', 'from', 'sender', 'to', 'cc', 'bcc', 'replyTo', 'date', 'messageID', 'inReplyTo', 'references', 'userAgent', 'extraHeaders']) {
    total += header[field] === undefined ? 0 : 1;
  }
  total += parser.HtmlBodyRendering().length + parser.PlainTextBodyRendering().length;
  for (const part of [...parser.attachments, ...parser.htmlInlineAttachments]) total += part.data.length;
  return total;
}

const peers = {};

async function contendersFor(files, runs) {
  const mails = files.map((file) => fs.readFileSync(file));
  const [gmime, floor] = peers.programs;
  const quietly = async (work) => {
    try {
      await work();
      return 0;
    } catch {
      return 1;
    }
  };
  const all = (parse) => async () => {
    let failed = 0;
    for (const mail of mails) failed += await quietly(() => parse(mail));
    if (failed > 0) peers.failed = `${failed} of ${mails.length} refused`;
  };
  return {
    ours: () => {
      for (const mail of mails) readAll(mail);
    },
    'ours, Import only': () => {
      for (const mail of mails) new MessageParser().Import(mail);
    },
    'ours, library alone': () => Number(execFileSync(floor, [String(runs), ...files])),
    gmime: () => Number(execFileSync(gmime, [String(runs), ...files])),
    mailparser: all((mail) => peers.simpleParser(mail)),
    'postal-mime': all((mail) => peers.PostalMime.parse(mail)),
  };
}

async function measure(title, files, { runs = 5, skip = [] } = {}) {
  const contenders = await contendersFor(files, runs);
  for (const name of skip) delete contenders[name];
  return compare(title, contenders, { runs });
}

function memory(files) {
  const script = (body) => `
    const { MessageParser } = require(${JSON.stringify(path.join(kRoot, 'test/module/load.js'))});
    const mail = require('node:fs').readFileSync(${JSON.stringify(files[0])});
    const rss = () => Number(/VmHWM:\\s*(\\d+)/u.exec(require('node:fs').readFileSync('/proc/self/status', 'utf8'))[1]) / 1024;
    const before = rss();
    const parser = new MessageParser();
    ${body}
    console.log((rss() - before).toFixed(1));`;
  console.log('\n25 MiB mail: peak RSS over the input Buffer');
  for (const [name, body] of Object.entries({
    'after Import': 'parser.Import(mail);',
    'all attachments read': 'parser.Import(mail); const all = parser.attachments.map((part) => part.data);',
  })) {
    console.log(`  ${name.padEnd(28)} ${execFileSync(process.execPath, ['-e', script(body)]).toString().trim().padStart(10)} MiB`);
  }
}

async function main() {
  const wanted = process.argv.slice(2);
  const asked = (name) => wanted.length === 0 || wanted.includes(name);
  peers.programs = buildPrograms('gmime_parse', 'parse_floor');
  peers.simpleParser = require('mailparser').simpleParser;
  peers.PostalMime = (await import('postal-mime')).default;
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'parse-bench-'));
  const file = (name, mail) => {
    const full = path.join(folder, name);
    fs.writeFileSync(full, mail);
    return full;
  };
  try {
    if (asked('small')) {
      const files = smallMails();
      const bytes = files.reduce((sum, name) => sum + fs.statSync(name).size, 0);
      const medians = await measure(`${files.length} small mails, ${(bytes / 1e6).toFixed(2)} MB`, files, { runs: 9 });
      for (const [name, ms] of Object.entries(medians)) console.log(`  ${name.padEnd(28)} ${Math.round((files.length / ms) * 1000)} mails/s`);
    }
    if (asked('big')) await measure('25 MiB mail, four base64 attachments', [file('big', bigMail())]);
    if (asked('parts')) await measure('10,000 parts', [file('parts', manyParts(10000))], { skip: ['mailparser'] });
    if (asked('text')) {
      await measure('4.3 MB quoted-printable UTF-8', [file('qp', quotedPrintable(4.3e6))], { runs: 3 });
      await measure('3.9 MB KOI8-R 8bit', [file('koi8', koi8(3.9e6))], { runs: 3 });
    }
    if (asked('deep')) await measure('10,000 levels', [file('deep', deep(10000))], { skip: ['mailparser', 'postal-mime'] });
    if (asked('hostile')) {
      console.log('\nhostile mails of half a megabyte (processor time): ours, ours with four times as much, growth; gmime');
      for (const [name, make] of Object.entries(kHostile)) {
        const one = Buffer.from(make(1));
        const four = Buffer.from(make(4));
        // Processor time: growth is looked at, and other work on the machine must not show. Nor must fresh
        // pages: each time finds the memory of the one before.
        const time = async (mail) => {
          let best = Infinity;
          for (let run = 0; run < 7; run++) {
            await collectGarbage();
            const start = process.cpuUsage();
            readAll(mail);
            const { user, system } = process.cpuUsage(start);
            best = Math.min(best, (user + system) / 1e3);
          }
          return best;
        };
        const a = await time(one);
        const b = await time(four);
        let gmime;
        try {
          gmime = `${Number(execFileSync(peers.programs[0], ['1', file('hostile', one)], { timeout: 20000, stdio: 'pipe' })).toFixed(1)} ms`;
        } catch (error) {
          gmime = error.signal === 'SIGTERM' ? 'over 20 s' : `ends with ${error.signal}`;
        }
        console.log(`  ${name.padEnd(28)} ${a.toFixed(1).padStart(8)} ms ${b.toFixed(1).padStart(8)} ms ${(b / a).toFixed(1).padStart(6)}   ${gmime.padStart(11)}`);
      }
    }
    if (asked('memory')) memory([file('big', bigMail())]);
  } finally {
    fs.rmSync(folder, { recursive: true });
  }
}

main();
