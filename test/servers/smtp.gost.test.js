// Strict GOST mode: one of the four suites, or nothing.
'use strict';

const assert = require('node:assert/strict');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const test = require('node:test');

const { kSuites, makeGostCertificates, reasonToSkipGost, startGostServer } = require('./gost.js');
const { reasonToSkip } = require('./harness.js');
const { startScripted } = require('./scripted.js');
const { mail, sendApart, sendAsync, sessionTo, trusting } = require('./smtp.helpers.js');

const hasSharedOpenSSL = process.config.variables.node_shared_openssl ? 'this Node.js has no OpenSSL of its own' : false;
const skip = reasonToSkip({ badtls: true }) || reasonToSkipGost();

test('strict GOST mode', { skip }, async (t) => {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'gost-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  const bundle = path.join(folder, 'bundle.pem');
  fs.writeFileSync(bundle, makeGostCertificates(folder));

  const job = (port, settings = {}) => ({
    settings: { hostname: '127.0.0.1', port, connectionType: 4, checkCertificateEnabled: true, strictGost: true, ...settings },
    message: mail('gost'),
  });
  const certificate = (name) => ['-cert', `${name}.crt`, '-key', `${name}.key`];

  // Sends to a server with these options and returns the code and the suite that was agreed on.
  async function sendTo(options, settings, env) {
    const server = await startGostServer(folder, options);
    try {
      const [code] = await sendApart(trusting(bundle), [job(server.port, settings)], env);
      return { code, suite: server.suite(), output: server.output() };
    } finally {
      await server.stop();
    }
  }

  for (const name of ['gost256', 'gost512']) {
    for (const suite of kSuites) {
      await t.test(`${suite} with a ${name} certificate`, async () => {
        const result = await sendTo([...certificate(name), '-cipher', suite]);
        assert.equal(result.code, 0, result.output);
        assert.equal(result.suite, suite);
        assert.match(result.output, /^Subject: gost/m);
      });
    }
  }

  await t.test('a server that can do everything gets a GOST suite over TLS 1.2, not TLS 1.3', async () => {
    const result = await sendTo([...certificate('gost256'), '-dcert', 'rsa.crt', '-dkey', 'rsa.key', '-cipher', 'ALL']);
    assert.equal(result.code, 0, result.output);
    // None of them exists in TLS 1.3.
    assert.ok(kSuites.includes(result.suite), result.suite);
  });

  await t.test('a server without GOST suites is refused, whatever TLS version it wants', async () => {
    for (const version of ['-tls1_2', '-tls1_3', '-no_tls1']) {
      const result = await sendTo([...certificate('rsa'), version]);
      assert.equal(result.code, 1, version);
      assert.equal(result.suite, null, version);
      assert.doesNotMatch(result.output, /EHLO|MAIL/);
    }
  });

  await t.test('the same server without strict mode is sent to', async () => {
    const result = await sendTo(certificate('rsa'), { strictGost: false });
    assert.equal(result.code, 0, result.output);
    assert.equal(kSuites.includes(result.suite), false);
  });

  await t.test('the older GOST 2001 suite and suites without encryption are refused', async () => {
    for (const suite of ['GOST2001-GOST89-GOST89', 'GOST2012-NULL-GOST12', 'eNULL']) {
      let result;
      try {
        result = await sendTo([...certificate('gost256'), '-cipher', `${suite}:@SECLEVEL=0`]);
      } catch (error) {
        assert.match(error.message, /s_server ended/);
        continue;
      }
      assert.equal(result.code, 1, suite);
      assert.equal(result.suite, null, suite);
    }
  });

  await t.test('an untrusted GOST certificate gives 4', async () => {
    const server = await startGostServer(folder, [...certificate('gost256'), '-cipher', kSuites[0]]);
    try {
      assert.equal(await sendAsync(sessionTo(server.port, { connectionType: 4, strictGost: true }), mail('gost')), 4);
    } finally {
      await server.stop();
    }
  });

  await t.test('a GOST-only server is reached without strict mode, too', async () => {
    const result = await sendTo([...certificate('gost256'), '-cipher', kSuites[0]], { strictGost: false });
    assert.equal(result.code, 0, result.output);
    assert.equal(result.suite, kSuites[0]);
  });

  await t.test('without the engine: 2, and no connection is made; other sends go on working', async () => {
    const server = await startScripted([['220 ready\r\n', { serve: [
      [/^(EHLO|MAIL|RCPT)/, '250 fine\r\n'], [/^DATA/, ['354 go on\r\n', { data: true }, '250 taken\r\n']], [/^QUIT/, '221 bye\r\n'],
    ] }]]);
    try {
      const strict = [4, 2, 1].map((connectionType) => job(server.port, { connectionType }));
      const codes = await sendApart(trusting(bundle), [...strict, { ...strict[0], sync: true }], { HIDE_GOST: '1' });
      assert.deepEqual(codes, [2, 2, 2, 2]);
      assert.deepEqual(await server.connections(), []);
      const clear = job(server.port, { connectionType: 1, strictGost: false });
      assert.deepEqual(await sendApart(trusting(bundle), [strict[0], clear], { HIDE_GOST: '1' }), [2, 0]);
    } finally {
      await server.stop();
    }
  });

  // The module is then bound to the OpenSSL of Node.js, where the suites cannot work.
  await t.test('in the wake of an addon that brings the system\'s OpenSSL it fails closed', { skip: hasSharedOpenSSL }, async () => {
    const env = { NODE_OPTIONS: `--require=${path.join(process.env.BRENNOX_TEST_ADDONS, 'uses_libcrypto.node')}` };
    for (const options of [[...certificate('gost256'), '-cipher', kSuites[0]],
      [...certificate('gost256'), '-dcert', 'rsa.crt', '-dkey', 'rsa.key', '-cipher', 'ALL'], certificate('rsa')]) {
      for (const settings of [{}, { checkCertificateEnabled: false }]) {
        const result = await sendTo(options, settings, env);
        assert.equal(result.code, 2, options.join(" "));
        assert.equal(result.suite, null);
        assert.doesNotMatch(result.output, /EHLO|MAIL/);
      }
    }
    const ordinary = await sendTo(certificate('rsa'), { strictGost: false }, env);
    assert.equal(ordinary.code, 0, 'and the others go on working');
  });

  await t.test('STARTTLS in strict mode: nothing but EHLO and STARTTLS goes out in clear', async () => {
    const rsa = { key: path.join(folder, 'rsa.key'), cert: path.join(folder, 'rsa.crt') };
    const script = ['220 ready\r\n', /^EHLO/, '250-ready\r\n250 STARTTLS\r\n', /^STARTTLS/, '220 go ahead\r\n', { starttls: true },
      { serve: [[/./, '250 fine\r\n']] }];
    const server = await startScripted([script], { certificate: rsa });
    try {
      const settings = { connectionType: 2, username: 'user', password: 'secret' };
      assert.deepEqual(await sendApart(trusting(bundle), [job(server.port, settings)]), [1]);
      assert.deepEqual((await server.connections())[0].lines.map((line) => line.split(' ')[0]), ['EHLO', 'STARTTLS']);
    } finally {
      await server.stop();
    }
  });

  await t.test('a clear connection is refused with 2 and none is made', async () => {
    const server = await startScripted([['220 ready\r\n']]);
    try {
      assert.equal(await sendAsync(sessionTo(server.port, { strictGost: true }), mail('gost')), 2);
      assert.deepEqual(await server.connections(), []);
    } finally {
      await server.stop();
    }
  });
});
