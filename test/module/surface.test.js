'use strict';
// The members of all classes, in order, and what their setters refuse.
const test = require('node:test');
const assert = require('node:assert');
const path = require('node:path');
const brennox = require('./load.js');
const { classes } = require('./tables.js');

const probe = require(path.join(process.env.BRENNOX_TEST_ADDONS, 'probe.node'));
const names = Object.keys(classes);

test('the classes are exported in order', () => {
  assert.strictEqual(names.length, 16);
  assert.deepStrictEqual(Object.keys(brennox), names);
});

for (const [className, members] of Object.entries(classes)) {
  const Class = brennox[className];
  const { prototype } = Class;

  test(`${className}: the members are defined in order`, () => {
    const defined = Object.getOwnPropertyNames(prototype).filter((name) => name !== 'constructor');
    assert.deepStrictEqual(defined, members.map(({ name }) => name));
    assert.strictEqual(Class.name, className);
    // No static members: nothing but what every function of this Node.js has.
    const ofFunctions = ['prototype', ...Object.getOwnPropertyNames(new Function())];
    assert.deepStrictEqual(Object.getOwnPropertyNames(Class).filter((name) => !ofFunctions.includes(name)), []);
  });

  test(`${className}: a call without new is refused`, () => {
    assert.throws(() => Class(), {
      name: 'TypeError',
      message: "Class constructors cannot be invoked without 'new'",
    });
  });

  test(`${className}: can be extended by a script`, () => {
    class Derived extends Class {}
    const derived = new Derived();
    assert.ok(derived instanceof Class);
    for (const { name, isMethod } of members) {
      if (!isMethod) void derived[name];
    }
  });

  for (const { name, isMethod, text, wrong, right, isPlainError } of members) {
    const descriptor = Object.getOwnPropertyDescriptor(prototype, name);

    if (isMethod) {
      test(`${className}.${name}: is a method`, () => {
        assert.strictEqual(typeof descriptor.value, 'function');
      });
    } else {
      test(`${className}.${name}: is ${text ? 'a property' : 'read-only'}`, () => {
        assert.strictEqual(typeof descriptor.get, 'function');
        assert.strictEqual(typeof descriptor.set, text ? 'function' : 'undefined');
      });
    }
    if (text) {
      test(`${className}.${name}: a wrong value is refused with its text and changes nothing`, () => {
        const object = new Class();
        if (right !== undefined) object[name] = right;
        const before = object[name];
        for (const value of [wrong, Symbol('wrong')]) {
          assert.throws(
            () => {
              object[name] = value;
            },
            (error) => {
              assert.strictEqual(error.message, text);
              assert.strictEqual(error.constructor, isPlainError ? Error : TypeError);
              return true;
            },
          );
        }
        assert.deepStrictEqual(object[name], before);
        if (right !== undefined) assert.deepStrictEqual(before, right);
      });
    }

    test(`${className}.${name}: refuses receivers of other kinds`, () => {
      const wrapped = {};
      probe.wrap(wrapped);
      const foreign = names.filter((other) => other !== className).map((other) => new brennox[other]());
      const calls = isMethod ? [descriptor.value] : [descriptor.get, descriptor.set].filter(Boolean);
      for (const receiver of [...foreign, wrapped, {}, Object.create(prototype), prototype, 5, null, undefined]) {
        for (const call of calls) {
          assert.throws(() => call.call(receiver, right), { name: 'TypeError', message: 'Illegal invocation' });
        }
      }
    });
  }
}

test('the registry has no map before the first class is listed, then names one class for all', () => {
  assert.throws(() => probe.newInstance('MessageHeader'), {
    name: 'TypeError',
    message: 'Constructor map is not initialized',
  });
  class Listed {
    constructor() {
      this.count = arguments.length;
    }
  }
  probe.set('Listed', class Replaced {});
  probe.set('Listed', Listed);
  assert.ok(probe.newInstance('Listed') instanceof Listed);
  assert.strictEqual(probe.newInstance('Listed').count, 0);
  assert.throws(() => probe.newInstance('IMAPFolderInfo'), {
    name: 'TypeError',
    message: 'Constructor for MessageHeader is not found in map',
  });
  probe.set('Throws', class { constructor() { throw new RangeError('refused'); } });
  assert.throws(() => probe.newInstance('Throws'), { name: 'RangeError', message: 'refused' });
});
