// A private certificate authority and server certificates signed by it, good ones and bad ones.
'use strict';

const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');

const kSystemBundle = '/etc/ssl/certs/ca-certificates.crt';
const kLocalNames = 'DNS:localhost,IP:127.0.0.1';

function openssl(folder, ...args) {
  execFileSync('openssl', args, { cwd: folder, stdio: ['ignore', 'ignore', 'pipe'] });
}

const kNewKey = ['-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256', '-nodes'];

function selfSigned(folder, name, commonName, extensions) {
  openssl(folder, 'req', '-x509', ...kNewKey, '-days', '3650', '-subj', `/CN=${commonName}`,
      ...extensions.flatMap((text) => ['-addext', text]),
      '-keyout', `${name}.key`, '-out', `${name}.pem`);
}

function signed(folder, name, commonName, names, days) {
  openssl(folder, 'req', ...kNewKey, '-subj', `/CN=${commonName}`,
      '-keyout', `${name}.key`, '-out', `${name}.csr`);
  fs.writeFileSync(path.join(folder, `${name}.ext`),
      `subjectAltName=${names}\nbasicConstraints=CA:FALSE\nextendedKeyUsage=serverAuth\n`);
  openssl(folder, 'x509', '-req', '-in', `${name}.csr`, '-CA', 'ca.pem', '-CAkey', 'ca.key',
      '-CAcreateserial', '-extfile', `${name}.ext`, '-days', String(days), '-out', `${name}.pem`);
  const chain = fs.readFileSync(path.join(folder, `${name}.key`), 'latin1') +
      fs.readFileSync(path.join(folder, `${name}.pem`), 'latin1');
  fs.writeFileSync(path.join(folder, `${name}-chain.pem`), chain, { mode: 0o600 });
}

// Fills the folder with NAME.pem and NAME.key for: ca, server (localhost and 127.0.0.1), wronghost,
// expired, selfsigned; and bundle.pem, the system's bundle with the private authority behind it.
function makeCertificates(folder) {
  fs.mkdirSync(folder, { recursive: true });
  selfSigned(folder, 'ca', 'Private Test Root', ['keyUsage=critical,keyCertSign,cRLSign']);
  signed(folder, 'server', 'localhost', kLocalNames, 3650);
  signed(folder, 'wronghost', 'elsewhere.test', 'DNS:elsewhere.test', 3650);
  signed(folder, 'expired', 'localhost', kLocalNames, -1);
  selfSigned(folder, 'selfsigned', 'localhost', [`subjectAltName=${kLocalNames}`]);
  const system = fs.existsSync(kSystemBundle) ? fs.readFileSync(kSystemBundle, 'latin1') : '';
  fs.writeFileSync(path.join(folder, 'bundle.pem'),
      system + fs.readFileSync(path.join(folder, 'ca.pem'), 'latin1'));
}

module.exports = { kSystemBundle, makeCertificates };
