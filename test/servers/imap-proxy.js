// A proxy that cuts connections, in a process of its own: node imap-proxy.js <port>. Prints {"port": n}.
// Each line on its input is two numbers, of the bytes that each of the following connections may receive from the
// server and send to it before it is cut; 0 is no limit. It answers each with a line: the bytes of the longest
// connections since, in both directions. Ends with its input.
'use strict';

const net = require('node:net');
const readline = require('node:readline');

const target = Number(process.argv[2]);
let limits = [0, 0];
let longest = [0, 0];

const server = net.createServer((client) => {
  const upstream = net.connect(target, '127.0.0.1');
  const end = () => {
    client.destroy();
    upstream.destroy();
  };
  for (const socket of [client, upstream]) {
    socket.setNoDelay(true);
    socket.on('error', end).on('close', end);
  }
  for (const [way, from, to] of [[0, upstream, client], [1, client, upstream]]) {
    const allowed = limits[way];
    let passed = 0;
    from.on('data', (bytes) => {
      const piece = allowed === 0 ? bytes : bytes.subarray(0, allowed - passed);
      passed += piece.length;
      longest[way] = Math.max(longest[way], passed);
      to.write(piece, () => {
        if (allowed !== 0 && passed >= allowed) end();
      });
    });
  }
});

server.listen(0, '127.0.0.1', () => {
  console.log(JSON.stringify({ port: server.address().port }));
  readline.createInterface({ input: process.stdin }).on('line', (line) => {
    limits = line.split(' ').map(Number);
    console.log(longest.join(' '));
    longest = [0, 0];
  }).on('close', () => process.exit(0));
});
