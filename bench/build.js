'use strict';
// Building mails: this module beside nodemailer's MailComposer, both in one run.
//
//   node bench/build.js [seconds for each row and side, default 2]
//
// The peak memory is measured in processes of their own; it is what a build adds to a process that has
// already loaded its side and holds the attachment.

const { execFileSync } = require('node:child_process');
const crypto = require('node:crypto');
const fs = require('node:fs');
const path = require('node:path');
const util = require('node:util');

const { median } = require('./lib.js');

const kAttachmentSize = 20 << 20;
const kText = 'Здравствуйте! Посылаю обещанный отчёт, посмотрите его до пятницы.\n'.repeat(8);
const kHtml = `<html><body><p>${kText.replaceAll('\n', '</p>\n<p>')}</p></body></html>`;
const kSubject = 'Отчёт за ноябрь';

// Bytes of no pattern, the same in every run; made piece by piece, so as not to raise the peak of memory.
function noise(size) {
  const cipher = crypto.createCipheriv('aes-128-ctr', Buffer.alloc(16), Buffer.alloc(16));
  const zeros = Buffer.alloc(1 << 10);
  const result = Buffer.alloc(size);
  for (let at = 0; at < size; at += zeros.length) cipher.update(zeros).copy(result, at);
  return result;
}

function ourSide() {
  const { Attachment, MessageBuilder, MessageHeader } = require(
    process.env.VELKOR_BRENNOX2 ?? path.join(__dirname, '../build/release/velkor_brennox2.node'));
  const build = (attachments) => {
    const header = new MessageHeader();
    header.from = 'alice@example.test';
    header.to = ['bob@example.test'];
    header.subject = kSubject;
    const builder = new MessageBuilder();
    builder.header = header;
    builder.textBody = kText;
    builder.htmlBody = kHtml;
    if (attachments.length > 0) {
      builder.addAttachments(attachments.map(({ content, filename }) => new Attachment(content, filename)));
    }
    return builder.data;
  };
  return { name: 'velkor_brennox2', build: async (attachments) => build(attachments) };
}

function peerSide() {
  const MailComposer = require('nodemailer/lib/mail-composer');
  const { version } = require('nodemailer/package.json');
  return {
    name: `nodemailer ${version}`,
    build: (attachments) => new MailComposer({
      from: 'alice@example.test', to: 'bob@example.test', subject: kSubject, text: kText, html: kHtml, attachments,
    }).compile().build(),
  };
}

const kSides = { ours: ourSide, peer: peerSide };

const nextTurn = util.promisify(setImmediate);

// The median time of one build in milliseconds, and how many were made a second.
async function measure(side, attachments, seconds) {
  await side.build(attachments);
  const times = [];
  const start = performance.now();
  while (performance.now() - start < seconds * 1000 || times.length < 3) {
    const before = performance.now();
    await side.build(attachments);
    times.push(performance.now() - before);
    // Node.js finalizes what native modules made, and so gives their memory back, when the event loop turns, as
    // it does between the mails of a script; a loop of promises alone never lets it.
    await nextTurn();
  }
  return { time: median(times), rate: (times.length * 1000) / (performance.now() - start) };
}

// The most memory that this process has held, in MiB. (The figure of getrusage starts with the parent's.)
function peakSoFar() {
  return Number(/VmHWM:\s+(\d+) kB/.exec(fs.readFileSync('/proc/self/status', 'latin1'))[1]) / 1024;
}

// In a process of its own: what one build adds to the peak, in MiB.
async function memory(which) {
  const side = kSides[which]();
  await side.build([{ content: Buffer.from('warm'), filename: 'warm.bin' }]);
  const content = noise(kAttachmentSize);
  const before = peakSoFar();
  const message = await side.build([{ content, filename: 'отчёт.bin' }]);
  const after = peakSoFar();
  if (message.length < kAttachmentSize) throw new Error('the attachment is missing');
  console.log(after - before);
}

function peak(which) {
  return Number(execFileSync(process.execPath, [__filename, '--memory', which], { encoding: 'utf8' }));
}

function row(text, unit, ours, peer, ratio) {
  console.log(`${text.padEnd(38)} ${ours.toFixed(1).padStart(10)} ${peer.toFixed(1).padStart(10)} ${unit.padEnd(8)}` +
    ` ratio ${ratio.toFixed(1)}`);
}

async function main() {
  if (process.argv[2] === '--memory') return memory(process.argv[3]);
  const seconds = Number(process.argv[2] ?? 2);
  const ours = ourSide();
  const peer = peerSide();
  console.log(`${''.padEnd(38)} ${'ours'.padStart(10)} ${'peer'.padStart(10)}          (peer: ${peer.name})`);

  const big = [{ content: noise(kAttachmentSize), filename: 'отчёт.bin' }];
  const bigTimes = [await measure(ours, big, seconds), await measure(peer, big, seconds)];
  row('20 MiB attachment to a Buffer', 'ms', bigTimes[0].time, bigTimes[1].time, bigTimes[1].time / bigTimes[0].time);

  const none = [await measure(ours, [], seconds), await measure(peer, [], seconds)];
  row('text + HTML', 'mails/s', none[0].rate, none[1].rate, none[0].rate / none[1].rate);

  const three = ['счёт.pdf', 'b.bin', 'c.bin'].map((filename) => ({ content: noise(10 << 10), filename }));
  const threes = [await measure(ours, three, seconds), await measure(peer, three, seconds)];
  row('three attachments of 10 KiB', 'mails/s', threes[0].rate, threes[1].rate, threes[0].rate / threes[1].rate);

  const peaks = [peak('ours'), peak('peer')];
  row('20 MiB attachment, added peak memory', 'MiB', peaks[0], peaks[1], peaks[1] / peaks[0]);
  // The copy that the attachment keeps, and the message.
  const allowed = (kAttachmentSize + Math.ceil(kAttachmentSize / 57) * 78) / (1 << 20);
  console.log(`(input and output together: ${allowed.toFixed(1)} MiB)`);
}

main().catch((error) => {
  console.error(error);
  process.exitCode = 1;
});
