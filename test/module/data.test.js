'use strict';
const test = require('node:test');
const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const { Data, Attachment } = require('./load.js');
const { temporaryFolder } = require('./support.js');

const kBufferText = { name: 'TypeError', message: 'first parameter must be a Buffer' };

test('new Data() is empty', () => {
  for (const data of [new Data(), new Data(undefined), new Data(undefined, 'more'), new Data(Buffer.alloc(0))]) {
    assert.strictEqual(data.length(), 0);
    assert.deepStrictEqual(data.bytes(), Buffer.alloc(0));
    assert.strictEqual(data.base64String(), '');
  }
});

test('new Data(value): anything but a Buffer is refused', () => {
  for (const value of ['text', 5, null, {}, [], true, new ArrayBuffer(4), new Data()]) {
    assert.throws(() => new Data(value), kBufferText);
  }
});

test('new Data(view): any view on binary data counts as a Buffer', () => {
  const bytes = new Uint8Array([1, 2, 3, 4, 5, 6, 7, 8]);
  for (const [view, expected] of [
    [bytes.subarray(2, 5), [3, 4, 5]],
    [Buffer.from(bytes).subarray(1, 3), [2, 3]],
    [new Uint16Array(bytes.buffer, 2, 1), [3, 4]],
    [new DataView(bytes.buffer, 6), [7, 8]],
  ]) {
    assert.deepStrictEqual([...new Data(view).bytes()], expected);
  }
});

test('new Data(buffer): the Buffer is copied', () => {
  const buffer = Buffer.from('before');
  const data = new Data(buffer);
  buffer.fill(0);
  assert.strictEqual(data.bytes().toString(), 'before');
});

for (const size of [1, 4095, 4096, 100_000, 3_000_000]) {
  test(`bytes: ${size} bytes are a private copy, made anew each time`, () => {
    const source = Buffer.alloc(size, 'pattern');
    const data = new Data(source);
    const first = data.bytes();
    assert.ok(Buffer.isBuffer(first));
    assert.ok(first.equals(source));
    first.fill(0);
    assert.ok(data.bytes().equals(source));
    assert.strictEqual(data.length(), size);
    assert.strictEqual(data.base64String(), source.toString('base64'));
  });
}

test('bytes: embedded zeros are kept', () => {
  const source = Buffer.from([0, 1, 0, 0, 255]);
  assert.deepStrictEqual(new Data(source).bytes(), source);
});

test('bytes: the Buffer outlives its Data', () => {
  let data = new Data(Buffer.alloc(1 << 20, 'x'));
  const bytes = data.bytes();
  data = undefined;
  globalThis.gc?.();
  assert.ok(bytes.equals(Buffer.alloc(1 << 20, 'x')));
});

test('writeToFile: writes the bytes and gives 0', (t) => {
  const file = path.join(temporaryFolder(t), 'имя файла.bin');
  const source = Buffer.from([13, 10, 0, 255]);
  assert.strictEqual(new Data(source).writeToFile(file), 0);
  assert.deepStrictEqual(fs.readFileSync(file), source);
  assert.strictEqual(new Data().writeToFile(file), 0);
  assert.strictEqual(fs.readFileSync(file).length, 0);
});

test('writeToFile: a failed write gives an error code and leaves nothing', (t) => {
  const folder = temporaryFolder(t);
  assert.strictEqual(new Data(Buffer.from('x')).writeToFile(path.join(folder, 'none', 'file')), 31);
  assert.strictEqual(new Data(Buffer.from('x')).writeToFile(''), 31);
  assert.strictEqual(new Data(Buffer.from('x')).writeToFile(path.join(folder, 'a\0b')), 31);
  assert.deepStrictEqual(fs.readdirSync(folder), []);
});

test('writeToFile: a missing path or one of another type is refused', () => {
  const data = new Data();
  for (const call of [() => data.writeToFile(), () => data.writeToFile(5), () => data.writeToFile(Buffer.from('f'))]) {
    assert.throws(call, { name: 'TypeError', message: 'first parameter must be a string' });
  }
});

test('a detached ArrayBuffer reads as empty', () => {
  const bytes = new Uint8Array(16);
  structuredClone(bytes.buffer, { transfer: [bytes.buffer] });
  assert.strictEqual(new Data(bytes).length(), 0);
  assert.strictEqual(new Attachment(bytes).filename, '');
});
