// A proxy that cuts connections, in a process of its own: node imap-proxy.js <port>. Prints {"port": n}.
// Each line on its input is the number of bytes that the following connections may receive from the server
// before they are cut; 0 is no limit. It answers each with a line: the bytes of the longest connection since.
// Ends with its input.
'use strict';

const net = require('node:net');
const readline = require('node:readline');

const target = Number(process.argv[2]);
let limit = 0;
let longest = 0;

const server = net.createServer((client) => {
  const upstream = net.connect(target, '127.0.0.1');
  const allowed = limit;
  let passed = 0;
  const end = () => {
    client.destroy();
    upstream.destroy();
  };
  for (const socket of [client, upstream]) {
    socket.setNoDelay(true);
    socket.on('error', end).on('close', end);
  }
  client.on('data', (bytes) => upstream.write(bytes));
  upstream.on('data', (bytes) => {
    const piece = allowed === 0 ? bytes : bytes.subarray(0, allowed - passed);
    passed += piece.length;
    longest = Math.max(longest, passed);
    client.write(piece, () => {
      if (allowed !== 0 && passed >= allowed) end();
    });
  });
});

server.listen(0, '127.0.0.1', () => {
  console.log(JSON.stringify({ port: server.address().port }));
  readline.createInterface({ input: process.stdin }).on('line', (line) => {
    limit = Number(line);
    console.log(longest);
    longest = 0;
  }).on('close', () => process.exit(0));
});
