// Sends mails in a process of its own and prints the codes, for tests that change what the process sees of the
// system (certificates, engine, clock). Jobs come as JSON on standard input: a list of
// { settings, from, to, message, sync }; the answer is one line of JSON, [code or error text, ...].
'use strict';

const { ISMTPAsyncSession } = require('../module/load.js');

function send({ settings, from = 'bob@example.test', to = ['alice@example.test'], message, sync = false }) {
  const session = Object.assign(new ISMTPAsyncSession(), settings);
  if (sync) return session.sendMessage(message, from, to);
  return new Promise((resolve) => {
    session.sendMessageOperation(from, to, message, 1, (error, code) => resolve(error ? error.message : code));
  });
}

async function main() {
  let text = '';
  for await (const chunk of process.stdin) text += chunk;
  const codes = [];
  for (const job of JSON.parse(text)) codes.push(await send(job));
  process.stdout.write(`${JSON.stringify(codes)}\n`);
}

main();
