'use strict';
// The declarations say what the module has: its classes wherever they are listed, their members, the constants.
const test = require('node:test');
const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const ts = require('typescript');
const brennox = require('./load.js');
const constants = require('../../constants.js');

const kRoot = path.join(__dirname, '../..');
const fileOf = (name) => path.join(kRoot, name);
const textOf = (name) => fs.readFileSync(fileOf(name), 'utf8');
const classes = Object.keys(brennox);

// Types that no class stands behind.
const kOnlyTypes = ['Callback', 'ConnectionSettings', 'ExtendedSignInfo'];

const program = ts.createProgram(['index.d.ts', 'index.d.mts', 'constants.d.ts', 'docs/source/velkor_brennox2.d.mts'].map(fileOf), {
  strict: true, module: ts.ModuleKind.NodeNext, moduleResolution: ts.ModuleResolutionKind.NodeNext, types: ['node'], noEmit: true,
});
const checker = program.getTypeChecker();
const exportsOf = (name) =>
  checker.getExportsOfModule(checker.getSymbolAtLocation(program.getSourceFile(fileOf(name)))).map((symbol) => symbol.name);

const namespace = program.getSourceFile(fileOf('index.d.ts')).statements.find(ts.isModuleDeclaration);
const declared = new Map(namespace.body.statements.filter(ts.isClassDeclaration).map((node) => [node.name.text, node]));

test('the sixteen classes are the same wherever they are listed', () => {
  assert.strictEqual(classes.length, 16);
  assert.deepStrictEqual([...declared.keys()], classes);
  assert.deepStrictEqual([...textOf('index.mjs').matchAll(/^ {2}(\w+),$/gm)].map(([, name]) => name), classes);
  assert.deepStrictEqual(exportsOf('index.d.mts'), [...kOnlyTypes, ...classes, 'default']);
  assert.deepStrictEqual(exportsOf('docs/source/velkor_brennox2.d.mts'), [...kOnlyTypes, ...classes]);
  assert.deepStrictEqual([...textOf('README.md').matchAll(/^\| `(\w+)` \|/gm)].map(([, name]) => name), classes);
});

for (const [name, node] of declared) {
  test(`${name}: has the members that are declared, and no others`, () => {
    const isReadOnly = (member) => (ts.getCombinedModifierFlags(member) & ts.ModifierFlags.Readonly) !== 0;
    const members = {};
    for (const member of node.members) {
      if (ts.isConstructorDeclaration(member)) continue;
      const kind = members[member.name.text] ??= { method: false, get: false, set: false };
      if (ts.isMethodDeclaration(member)) kind.method = true;
      if (ts.isPropertyDeclaration(member) || ts.isGetAccessor(member)) kind.get = true;
      if (ts.isSetAccessor(member) || (ts.isPropertyDeclaration(member) && !isReadOnly(member))) kind.set = true;
    }
    const found = {};
    for (const [member, { value, get, set }] of Object.entries(Object.getOwnPropertyDescriptors(brennox[name].prototype))) {
      if (member === 'constructor') continue;
      found[member] = { method: value !== undefined, get: get !== undefined, set: set !== undefined };
    }
    assert.deepStrictEqual(members, found);
  });
}

test('the constants are declared with their values', () => {
  const symbols = checker.getExportsOfModule(checker.getSymbolAtLocation(program.getSourceFile(fileOf('constants.d.ts'))));
  assert.deepStrictEqual(symbols.map((symbol) => symbol.name).sort(), Object.keys(constants).sort());
  for (const symbol of symbols) {
    const type = checker.getTypeOfSymbol(symbol);
    if (typeof constants[symbol.name] === 'function') {
      assert.strictEqual(type.getCallSignatures().length, 1, symbol.name);
      continue;
    }
    const values = Object.fromEntries(type.getProperties().map((member) => [member.name, checker.getTypeOfSymbol(member).value]));
    assert.deepStrictEqual(values, { ...constants[symbol.name] }, symbol.name);
  }
});
