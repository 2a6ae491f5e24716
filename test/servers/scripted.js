// A server that follows a script, for what no real server does on command. It runs in another process, so
// a blocking call may talk to it.
//
//   const server = await startScripted([
//     ['220 ready\r\n', /^EHLO (.*)\r\n/, '250 hello $1\r\n', { serve: [[/^QUIT/, '221 bye\r\n']] }],
//   ], { tls: 'implicit', certificate: { key: 'file', cert: 'file' } });
//   ... server.port ...
//   const [first] = await server.connections();   // { lines, blocks, failure, ended, tls }
//   await server.stop();
//
// One script per connection, in order; the last one serves all later connections. A script is a list of
// steps, done one after another; after the last one the connection stays open and silent.
//   'text', Buffer       sends it ($1 to $9 are the groups of the last line that matched)
//   /regex/              reads one line, which must match; else the connection is cut and `failure` says so
//   { data: true }       reads up to CRLF . CRLF (a mail's DATA); recorded in `blocks` as latin1 text
//   { bytes: n }         reads n bytes ('$1' takes the number from the last match); recorded in `blocks`
//   { delay: ms }        waits
//   { drip: text, every: ms, size: n }   sends n bytes (1) at a time
//   { garbage: n }       sends n bytes of noise, the same each time
//   { starttls: true }   goes over to TLS as the server
//   { serve: [[/regex/, step or [steps]], ...], forever: true }   answers each line by the first row that
//                        fits, until a line fits no row (which is then the next step's line)
//   { close: true }      ends the connection in order;   { cut: true } resets it
'use strict';

const fs = require('node:fs');
const net = require('node:net');
const tls = require('node:tls');

// What is kept of each block and of the list of lines; a test with a longer message looks at its length.
const kKeptBlock = 64 * 1024;
const kKeptLines = 10000;

class Cut extends Error {}

class Connection {
  constructor(socket, options) {
    this.options = options;
    this.record = { lines: [], blocks: [], failure: null, ended: false, tls: null };
    this.match = null;
    this.attach(socket);
  }

  attach(socket) {
    this.socket = socket;
    this.chunks = [];
    this.size = 0;
    this.closed = false;
    this.wake = () => {};
    socket.on('data', (bytes) => {
      this.chunks.push(bytes);
      this.size += bytes.length;
      this.wake();
    });
    const end = () => {
      this.closed = true;
      this.wake();
    };
    socket.on('end', end).on('close', end).on('error', end);
  }

  async more() {
    if (this.closed) throw new Cut();
    await new Promise((resolve) => { this.wake = resolve; });
  }

  joined() {
    if (this.chunks.length !== 1) this.chunks = [Buffer.concat(this.chunks)];
    return this.chunks[0];
  }

  async take(length) {
    while (this.size < length) await this.more();
    const all = this.joined();
    this.chunks = [all.subarray(length)];
    this.size = all.length - length;
    return all.subarray(0, length);
  }

  // Everything up to and with the mark, which may begin in what came `before`. Searches each byte once,
  // whatever the length.
  async takeThrough(mark, before = '') {
    const parts = [];
    let tail = Buffer.from(before);
    for (;;) {
      while (this.size === 0) await this.more();
      const fresh = this.joined();
      this.chunks = [];
      this.size = 0;
      const window = Buffer.concat([tail, fresh]);
      const at = window.indexOf(mark);
      if (at >= 0) {
        const used = at + mark.length - tail.length;
        parts.push(fresh.subarray(0, used));
        this.chunks = [fresh.subarray(used)];
        this.size = fresh.length - used;
        return Buffer.concat(parts);
      }
      parts.push(fresh);
      tail = window.subarray(Math.max(0, window.length - mark.length + 1));
    }
  }

  async line() {
    if (this.pending !== undefined) {
      const line = this.pending;
      this.pending = undefined;
      return line;
    }
    const line = (await this.takeThrough(Buffer.from('\n'))).toString('latin1');
    if (this.record.lines.length < kKeptLines) this.record.lines.push(line.replace(/\r?\n$/, ''));
    return line;
  }

  keep(block) {
    this.record.blocks.push({ length: block.length, text: block.subarray(0, kKeptBlock).toString('latin1') });
  }

  expand(text) {
    return text.replace(/\$([1-9])/g, (whole, n) => this.match?.[n] ?? whole);
  }

  async write(bytes) {
    if (this.socket.destroyed) throw new Cut();
    if (!this.socket.write(bytes)) {
      await new Promise((resolve) => {
        const done = () => {
          this.socket.off('drain', done).off('close', done);
          resolve();
        };
        this.socket.once('drain', done).once('close', done);
      });
    }
  }

  async upgrade() {
    const socket = new tls.TLSSocket(this.socket, {
      isServer: true, secureContext: secureContext(this.options.certificate),
    });
    this.socket.removeAllListeners('data');
    this.attach(socket);
    await new Promise((resolve, reject) => {
      socket.once('secure', resolve);
      socket.once('close', () => reject(new Cut()));
      socket.on('error', () => reject(new Cut()));
    });
    this.record.tls = socket.getProtocol();
  }

  async run(steps) {
    for (const step of steps) await this.step(step);
  }

  async step(step) {
    if (typeof step === 'string') return this.write(Buffer.from(this.expand(step), 'utf8'));
    if (Array.isArray(step)) return this.run(step);
    if (step.raw !== undefined) return this.write(Buffer.from(step.raw, 'base64'));
    if (step.regex !== undefined) {
      const line = await this.line();
      this.match = new RegExp(step.regex, step.flags).exec(line);
      if (!this.match) {
        this.record.failure = `${JSON.stringify(line)} instead of /${step.regex}/`;
        throw new Cut();
      }
      return undefined;
    }
    // The line end of DATA is the one before the first line, so that a mail may be empty.
    if (step.data) return this.keep(await this.takeThrough(Buffer.from('\r\n.\r\n'), '\r\n'));
    if (step.bytes !== undefined) {
      const count = typeof step.bytes === 'string' ? Number(this.expand(step.bytes)) : step.bytes;
      return this.keep(await this.take(count));
    }
    if (step.delay !== undefined) return new Promise((resolve) => setTimeout(resolve, step.delay));
    if (step.drip !== undefined) {
      const bytes = Buffer.from(this.expand(step.drip), 'utf8');
      const size = step.size ?? 1;
      for (let at = 0; at < bytes.length; at += size) {
        await this.write(bytes.subarray(at, at + size));
        await new Promise((resolve) => setTimeout(resolve, step.every ?? 10));
      }
      return undefined;
    }
    if (step.garbage !== undefined) {
      let state = 12345;
      const noise = Buffer.alloc(step.garbage);
      for (let i = 0; i < noise.length; i++) {
        state = (state * 1103515245 + 12345) & 0x7fffffff;
        noise[i] = state >> 16;
      }
      return this.write(noise);
    }
    if (step.starttls) return this.upgrade();
    if (step.serve) return this.serve(step.serve);
    if (step.close) {
      this.socket.end();
      throw new Cut();
    }
    if (step.cut) {
      if (this.socket.resetAndDestroy && !this.socket.encrypted) this.socket.resetAndDestroy();
      throw new Cut();
    }
    throw new Error(`unknown step ${JSON.stringify(step)}`);
  }

  async serve(rows) {
    for (;;) {
      const line = await this.line();
      const row = rows.find(([{ regex, flags }]) => new RegExp(regex, flags).test(line));
      if (!row) {
        this.pending = line;
        return;
      }
      this.match = new RegExp(row[0].regex, row[0].flags).exec(line);
      await this.step(row[1]);
    }
  }
}

function secureContext({ key, cert }) {
  return tls.createSecureContext({ key: fs.readFileSync(key), cert: fs.readFileSync(cert) });
}

// The server's process: settings come as the first line of standard input, each further line asks for what
// has been seen so far.
function serverProcess() {
  const records = [];
  let text = '';
  let started = false;
  process.stdin.on('data', (bytes) => {
    text += bytes;
    for (let at = text.indexOf('\n'); at >= 0; at = text.indexOf('\n')) {
      const line = text.slice(0, at);
      text = text.slice(at + 1);
      if (started) {
        process.stdout.write(`${JSON.stringify(records)}\n`);
      } else {
        started = true;
        listen(JSON.parse(line), records);
      }
    }
  });
  process.stdin.on('end', () => process.exit(0));
}

function listen({ scripts, options }, records) {
  let next = 0;
  const take = async (socket) => {
    const script = scripts[Math.min(next++, scripts.length - 1)];
    const connection = new Connection(socket, options);
    if (socket.encrypted) connection.record.tls = socket.getProtocol();
    records.push(connection.record);
    socket.setNoDelay(true);
    try {
      await connection.run(script);
      while (!connection.closed) await connection.more();
    } catch (error) {
      if (!(error instanceof Cut)) connection.record.failure = error.message;
      if (!connection.socket.writableEnded) connection.socket.destroy();
    }
    connection.record.ended = true;
  };
  const server = options.tls === 'implicit'
    ? tls.createServer({ key: fs.readFileSync(options.certificate.key), cert: fs.readFileSync(options.certificate.cert) }, take)
    : net.createServer({ allowHalfOpen: false }, take);
  server.on('tlsClientError', () => {});
  server.listen(0, '127.0.0.1', () => {
    process.stdout.write(`${JSON.stringify({ port: server.address().port })}\n`);
  });
}

// Regular expressions and Buffers in a form that JSON carries.
function plain(step) {
  if (step instanceof RegExp) return { regex: step.source, flags: step.flags };
  if (Buffer.isBuffer(step)) return { raw: step.toString('base64') };
  if (Array.isArray(step)) return step.map(plain);
  if (step && typeof step === 'object') {
    return Object.fromEntries(Object.entries(step).map(([name, value]) => [name, plain(value)]));
  }
  return step;
}

// `scripts` is a list of scripts, one per connection. Options: tls 'implicit' for TLS from the first byte;
// certificate { key, cert } (files) for that and for starttls.
async function startScripted(scripts, options = {}) {
  const { spawn } = require('node:child_process');
  const child = spawn(process.execPath, [__filename], { stdio: ['pipe', 'pipe', 'inherit'] });
  child.stdin.on('error', () => {});
  const exited = new Promise((resolve) => child.once('exit', resolve));
  let text = '';
  let wake = () => {};
  child.stdout.on('data', (bytes) => {
    text += bytes;
    wake();
  });
  const readLine = async () => {
    while (!text.includes('\n')) {
      await Promise.race([
        new Promise((resolve) => { wake = resolve; }),
        exited.then(() => { throw new Error('the scripted server has ended'); }),
      ]);
    }
    const line = text.slice(0, text.indexOf('\n'));
    text = text.slice(line.length + 1);
    return JSON.parse(line);
  };
  child.stdin.write(`${JSON.stringify({ scripts: plain(scripts), options })}\n`);
  const { port } = await readLine();
  return {
    host: '127.0.0.1',
    port,
    pid: child.pid,
    async connections() {
      child.stdin.write('report\n');
      return readLine();
    },
    async stop() {
      child.stdin.end();
      await exited;
    },
  };
}

module.exports = { startScripted };

if (require.main === module) serverProcess();
