'use strict';
// Safe HTML of a newsletter: this module beside DOMPurify with jsdom, both in one run.
//
//   node bench/render.js [size in KiB, default 100]
//
// Our side reads the whole mail and renders its body; the other one gets the HTML ready decoded and a
// window that is already there.

const path = require('node:path');
const { JSDOM } = require('jsdom');
const createDOMPurify = require('dompurify');
const { compare } = require('./lib.js');

const { MessageParser } = require(
  process.env.VELKOR_BRENNOX2 ?? path.join(__dirname, '../build/release/velkor_brennox2.node'));

// Layout tables, inline styles and links, as newsletters have them.
function newsletter(size) {
  const head = '<!DOCTYPE html><html><head><title>News</title><style>body{margin:0;background:#f4f4f4}' +
    '.btn{display:inline-block;padding:10px 18px;background:#0a7;color:#fff;text-decoration:none}' +
    '@media (max-width:600px){.col{width:100%!important}}</style></head><body><table width="600" align="center">';
  const rows = [];
  let length = head.length;
  for (let i = 0; length < size; i++) {
    const row = `<tr><td class="col" style="padding:16px 24px;font-family:Arial,sans-serif;font-size:14px;color:#333333">` +
      `<table cellpadding="0" cellspacing="0" border="0" width="100%"><tr><td width="120"><a href="https://shop.test/p/${i}?utm_source=mail&amp;utm_id=${i}">` +
      `<img src="https://cdn.shop.test/img/${i}.jpg" width="120" height="90" alt="Item ${i}" style="display:block;border:0"></a></td>` +
      `<td style="padding-left:16px"><h2 style="margin:0 0 8px;font-size:18px">Item number ${i}</h2><p style="margin:0 0 12px;line-height:1.5">` +
      `A <b>short</b> text about it &ndash; with <i>some</i> words &amp; a <span style="color:#c00">price of ${i}.90</span>.</p>` +
      `<a class="btn" href="https://shop.test/buy/${i}" target="_blank">Buy now</a></td></tr></table></td></tr>\n`;
    rows.push(row);
    length += row.length;
  }
  return `${head}${rows.join('')}</table></body></html>`;
}

async function main() {
  const html = newsletter((Number(process.argv[2]) || 100) * 1024);
  const mail = Buffer.from('From: news@shop.test\r\nSubject: News\r\nMIME-Version: 1.0\r\n' +
    `Content-Type: text/html; charset=utf-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n${html}`);
  const { window } = new JSDOM('');
  const purify = createDOMPurify(window);
  const ours = () => {
    const parser = new MessageParser();
    parser.Import(mail);
    return parser.HtmlBodyRendering();
  };
  const theirs = () => purify.sanitize(html);
  if (!ours().includes('Item number 3') || !theirs().includes('Item number 3')) {
    throw new Error('a side lost the text');
  }
  console.log(`a newsletter of ${(html.length / 1024).toFixed(0)} KiB`);
  await compare('sanitised HTML', {
    'this module': () => void ours(),
    'DOMPurify with jsdom': () => void theirs(),
  }, { runs: 15 });
  await compare('plain text', {
    'this module': () => {
      const parser = new MessageParser();
      parser.Import(mail);
      return void parser.PlainTextBodyRendering();
    },
  }, { runs: 15 });
}

main();
