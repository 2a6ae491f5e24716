'use strict';
const test = require('node:test');
const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { execFileSync } = require('node:child_process');

const kRoot = path.join(__dirname, '../..');

// Every file below a folder, with its text.
function tree(folder) {
  const files = {};
  for (const entry of fs.readdirSync(folder, { recursive: true, withFileTypes: true })) {
    if (entry.isFile()) {
      const file = path.join(entry.parentPath ?? entry.path, entry.name);
      files[path.relative(folder, file)] = fs.readFileSync(file, 'utf8');
    }
  }
  return files;
}

test('the API reference is what the declarations generate, and every member is documented', () => {
  const out = fs.mkdtempSync(path.join(os.tmpdir(), 'brennox-docs-'));
  try {
    execFileSync(process.execPath, [path.join(kRoot, 'node_modules/typedoc/bin/typedoc'), '--out', out], {
      cwd: kRoot,
      stdio: 'pipe',
    });
    assert.deepStrictEqual(tree(out), tree(path.join(kRoot, 'docs/api')));
  } finally {
    fs.rmSync(out, { recursive: true });
  }
});
