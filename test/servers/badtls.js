// TLS ports with certificates that must not be accepted, and ports that speak no protocol at all.
'use strict';

const fs = require('node:fs');
const net = require('node:net');
const path = require('node:path');
const tls = require('node:tls');

const kCertificates = { expired: 'expired', wronghost: 'wronghost', selfsigned: 'selfsigned' };

// A client of any of the protocols gets as far as the greeting; what it says then is refused.
const kGreetings = { imap: '* OK ready\r\n', pop3: '+OK ready\r\n', smtp: '220 ready ESMTP\r\n' };

function listen(server, port) {
  return new Promise((resolve, reject) => {
    server.once('error', reject);
    server.listen(port, '127.0.0.1', resolve);
  });
}

const badTlsPorts = [
  ...Object.keys(kCertificates).flatMap((name) => Object.keys(kGreetings).map((kind) => `${name}_${kind}s`)),
  'silent', 'garbage',
];

// Ports: expired_imaps, wronghost_pop3s, selfsigned_smtps and so on; `silent` accepts and says nothing;
// `garbage` sends bytes and closes. They live in the calling process until it ends.
async function startBadTls({ ports, tls: folder }) {
  for (const [name, file] of Object.entries(kCertificates)) {
    const options = {
      key: fs.readFileSync(path.join(folder, `${file}.key`)),
      cert: fs.readFileSync(path.join(folder, `${file}.pem`)),
    };
    for (const [kind, greeting] of Object.entries(kGreetings)) {
      const server = tls.createServer(options, (socket) => {
        socket.on('error', () => {});
        socket.write(greeting);
        socket.on('data', (bytes) => {
          const tag = bytes.toString('latin1').split(' ')[0];
          socket.write({ imap: `${tag} BAD no\r\n`, pop3: '-ERR no\r\n', smtp: '502 no\r\n' }[kind]);
        });
      });
      server.on('tlsClientError', () => {});
      await listen(server, ports[`${name}_${kind}s`]);
    }
  }
  await listen(net.createServer((socket) => socket.on('error', () => {})), ports.silent);
  const bytes = Buffer.from(Array.from({ length: 16384 }, (_, i) => i % 256));
  await listen(net.createServer((socket) => {
    socket.on('error', () => {});
    socket.end(bytes);
  }), ports.garbage);
}

module.exports = { badTlsPorts, startBadTls };
