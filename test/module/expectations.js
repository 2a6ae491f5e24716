'use strict';
// Compares what the module reads in a message with what other projects' test suites expect of it.
const crypto = require('node:crypto');

const squash = (text) => text.replace(/\s+/gu, ' ').trim().normalize('NFC');

// "Name <mailbox>" or a bare mailbox, the domain in lower case.
function mailbox(text) {
  const match = /^(?:"((?:[^"\\]|\\.)*)"|([^<]*?))\s*<([^<>]*)>$/su.exec(text);
  const name = match ? (match[1] !== undefined ? match[1].replace(/\\(.)/gsu, '$1') : match[2]) : '';
  const address = match ? match[3] : text;
  const at = address.lastIndexOf('@');
  return {
    name: squash(name),
    address: at < 0 ? address : address.slice(0, at) + address.slice(at).toLowerCase(),
  };
}

const words = (text) => squash(text).match(/[\p{L}\p{N}]+/gu) || [];

// The share of the expected words that are there, each as often as it is expected.
function shareFound(expected, actual) {
  const count = new Map();
  for (const word of words(actual)) count.set(word, (count.get(word) || 0) + 1);
  const wanted = words(expected);
  let found = 0;
  for (const word of wanted) {
    const left = count.get(word) || 0;
    if (left > 0) {
      count.set(word, left - 1);
      found += 1;
    }
  }
  return wanted.length === 0 ? 1 : found / wanted.length;
}

const entities = {
  amp: '&', lt: '<', gt: '>', quot: '"', apos: "'", nbsp: ' ', auml: 'ä', ouml: 'ö', uuml: 'ü', Auml: 'Ä', Ouml: 'Ö', Uuml: 'Ü', szlig: 'ß',
  eacute: 'é', egrave: 'è', agrave: 'à', ccedil: 'ç', copy: '©', reg: '®', laquo: '«', raquo: '»', hellip: '…', ndash: '–', mdash: '—',
};
const stripTags = (html) => html
  .replace(/<(style|script|title|head)\b[^]*?<\/\1\s*>/giu, ' ')
  .replace(/<!--[^]*?-->/gu, ' ')
  .replace(/<[^>]*>/gu, ' ')
  .replace(/&(?:#(\d+)|#x([0-9a-f]+)|(\w+));/giu, (all, decimal, hex, name) =>
    decimal || hex ? String.fromCodePoint(parseInt(decimal || hex, decimal ? 10 : 16) || 32)
      : entities[name] || entities[name.toLowerCase()] || all);

const asList = (value) => (Array.isArray(value) ? value : [value]);
const sha256 = (bytes) => crypto.createHash('sha256').update(bytes).digest('hex');

// The differences as [field, text]; none when the expectation is met.
function differences(parser, expectation) {
  const found = [];
  const differ = (field, expected, actual) =>
    found.push([field, `expected ${JSON.stringify(expected)}, got ${JSON.stringify(actual)}`]);
  const headerFields = ['subject', 'messageId', 'date', 'from', 'to', 'cc', 'bcc', 'replyTo'];
  const header = headerFields.some((field) => field in expectation) ? parser.header : null;

  const equal = (field, expected, actual) => {
    if (expected !== actual) differ(field, expected, actual);
  };
  if ('subject' in expectation) equal('subject', squash(expectation.subject || ''), squash(header.subject));
  if ('messageId' in expectation) {
    equal('messageId', (expectation.messageId || '').replace(/^<|>$/gu, ''), header.messageID);
  }
  if ('date' in expectation) {
    equal('date', expectation.date, header.date === undefined ? null : header.date.getTime() / 1000);
  }
  for (const field of ['from', 'to', 'cc', 'bcc', 'replyTo']) {
    if (!(field in expectation)) continue;
    let expected = (expectation[field] || []).map(({ name, address }) => {
      const at = (address || '').lastIndexOf('@');
      return {
        name: squash(name || ''),
        address: at < 0 ? address || '' : address.slice(0, at) + address.slice(at).toLowerCase(),
      };
    });
    let actual = (field === 'from' ? [header.from].filter(Boolean) : header[field]).map(mailbox);
    // A script sees the first author only.
    if (field === 'from' || expectation[`${field}First`]) {
      expected = expected.slice(0, 1);
      actual = actual.slice(0, 1);
    }
    if (JSON.stringify(expected) !== JSON.stringify(actual)) differ(field, expected, actual);
  }

  const texts = ['text', 'textTrimmed'].filter((field) => field in expectation);
  if (texts.length > 0) {
    const actual = `${parser.PlainTextBodyRendering()}\n${stripTags(parser.HtmlRendering())}`;
    for (const field of texts) {
      for (const text of asList(expectation[field])) {
        if (shareFound(text || '', actual) < 0.95) differ(field, text, parser.PlainTextBodyRendering());
      }
    }
  }
  for (const field of ['html', 'htmlTrimmed', 'htmlAsText']) {
    if (!(field in expectation)) continue;
    const rendering = parser.HtmlBodyRendering();
    for (const html of asList(expectation[field])) {
      const expected = field === 'htmlAsText' ? html || '' : stripTags(html || '');
      if (shareFound(expected, stripTags(rendering)) < 0.95) differ(field, html, rendering);
    }
  }

  for (const [field, rendering] of [['textCount', 'PlainTextBodyRendering'], ['htmlCount', 'HtmlBodyRendering']]) {
    if (!(field in expectation)) continue;
    const actual = squash(stripTags(parser[rendering]()));
    if (!actual.includes(squash(stripTags(expectation[field][1])))) differ(field, expectation[field], actual);
  }

  // Fields of our own mails.
  if ('plainExact' in expectation) {
    equal('plainExact', expectation.plainExact, parser.PlainTextBodyRendering().replace(/\r\n/gu, '\n').trim());
  }
  for (const text of expectation.plainHas || []) {
    if (!parser.PlainTextBodyRendering().includes(text)) differ('plainHas', text, parser.PlainTextBodyRendering());
  }
  if ('notText' in expectation && parser.PlainTextBodyRendering().includes(expectation.notText)) {
    differ('notText', expectation.notText, parser.PlainTextBodyRendering());
  }
  if ('inlineCount' in expectation) equal('inlineCount', expectation.inlineCount, parser.htmlInlineAttachments.length);
  if ('attachmentCountIs' in expectation) equal('attachmentCountIs', expectation.attachmentCountIs, parser.attachments.length);

  const expectedParts = [
    ...(expectation.leaves || []).filter((leaf) => leaf.kind === 'binary' && !leaf.nested),
    ...(expectation.files || []),
    ...(Array.isArray(expectation.attachments) ? expectation.attachments : []),
  ];
  if (expectedParts.length > 0) {
    const parts = [...parser.attachments, ...parser.htmlInlineAttachments].map((part) => {
      const data = part.data;
      return { name: part.filename, mimeType: part.mimeType, size: data.length, sha256: sha256(data), part };
    });
    for (const expected of expectedParts) {
      const name = expected.name || expected.filename || '';
      const at = parts.findIndex((part) =>
        (expected.sha256 === undefined || part.sha256 === expected.sha256) &&
        (!expected.contains || part.part.data.includes(expected.contains)) &&
        (name === '' || squash(part.name) === squash(name)) &&
        (!expected.mimeType || part.mimeType === expected.mimeType.toLowerCase()));
      if (at < 0) differ('part', expected, parts.map(({ part, ...fields }) => fields));
      else parts.splice(at, 1);
    }
  }
  return found;
}

module.exports = { differences, mailbox, shareFound, stripTags };
