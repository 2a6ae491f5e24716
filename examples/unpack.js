'use strict';
// Reads a message from a file and takes it apart: a page for a browser, the text, and a file for each part.
//
//   node examples/unpack.js MESSAGE.eml FOLDER      FOLDER is made; nothing that is in it is written over

const fs = require('node:fs');
const path = require('node:path');

const { MessageParser } = require('..');

const [file, folder] = process.argv.slice(2);
if (folder === undefined) {
  console.error('usage: node examples/unpack.js MESSAGE.eml FOLDER');
  process.exit(2);
}

const parser = new MessageParser();
parser.Import(fs.readFileSync(file));
fs.mkdirSync(folder, { recursive: true });

/**
 * Writes a file of that name, or where there is one already, of the next free one like it.
 * @param {string} name
 * @param {string | Buffer} content
 */
function write(name, content) {
  const { name: stem, ext } = path.parse(name);
  for (let number = 1; ; ++number) {
    const free = path.join(folder, number === 1 ? name : `${stem} (${number})${ext}`);
    try {
      fs.writeFileSync(free, content, { flag: 'wx' });
      return free;
    } catch (error) {
      if (!(error instanceof Error) || !('code' in error) || error.code !== 'EEXIST') throw error;
    }
  }
}

/** @param {string} text */
const escaped = (text) => text.replace(/[&<]/g, (character) => (character === '&' ? '&amp;' : '&lt;'));

const { header } = parser;
console.log(`Subject: ${header?.subject ?? ''}`);
console.log(`From:    ${header?.from ?? ''}`);
if (parser.isEncrypted) console.log(parser.decryptResult ? 'It was encrypted and could be decrypted.' : 'It is encrypted and could not be decrypted.');
if (parser.isSigned) console.log(parser.verifyResult ? 'Its signature is good.' : 'Its signature is not valid.');

// The rendering is safe to open: it runs nothing and fetches nothing, and pictures of the message are inside.
const page = `<!doctype html><meta charset="utf-8"><title>${escaped(header?.subject ?? '')}</title>${parser.HtmlRendering()}`;
console.log(write('message.html', page));
console.log(write('message.txt', parser.PlainTextRendering()));

// File names come from the library without anything that leads out of a folder.
for (const part of [...parser.attachments, ...parser.htmlInlineAttachments]) {
  if (part.data !== undefined) console.log(`${write(part.filename, part.data)} (${part.mimeType})`);
}
