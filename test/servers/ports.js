// Ports on loopback: finding free ones and waiting until a server answers on them.
'use strict';

const net = require('node:net');

// Below the range that outgoing connections take their ports from, so that none of them slips in between
// the choice of a port and the server's bind.
const kFirst = 12000;
const kLast = 31999;

function canListen(port) {
  return new Promise((resolve) => {
    const server = net.createServer();
    server.once('error', () => resolve(false));
    server.listen({ port, host: '127.0.0.1', exclusive: true }, () => server.close(() => resolve(true)));
  });
}

async function freePort(taken = new Set()) {
  for (;;) {
    const port = kFirst + Math.floor(Math.random() * (kLast - kFirst + 1));
    if (!taken.has(port) && (await canListen(port))) {
      taken.add(port);
      return port;
    }
  }
}

// An object that gives each of the names a port of its own.
async function freePorts(names) {
  const taken = new Set();
  const ports = {};
  for (const name of names) ports[name] = await freePort(taken);
  return ports;
}

// Resolves when the port accepts a connection and, if `greeting` is given, the first bytes match it.
async function waitForPort(port, { greeting = null, timeout = 20000, alive = () => true } = {}) {
  const end = Date.now() + timeout;
  for (;;) {
    if (await answers(port, greeting)) return;
    if (!alive()) throw new Error(`the server of port ${port} has ended`);
    if (Date.now() > end) throw new Error(`port ${port} did not open within ${timeout} ms`);
    await new Promise((resolve) => setTimeout(resolve, 30));
  }
}

function answers(port, greeting) {
  return new Promise((resolve) => {
    const socket = net.connect(port, '127.0.0.1');
    const done = (result) => {
      socket.destroy();
      resolve(result);
    };
    socket.setTimeout(3000, () => done(false));
    socket.once('error', () => done(false));
    socket.once('close', () => done(false));
    if (greeting) socket.once('data', (bytes) => done(greeting.test(bytes.toString('latin1'))));
    else socket.once('connect', () => done(true));
  });
}

module.exports = { freePort, freePorts, waitForPort };
