// Checks tools/validate/validate.js on small files made here. The point is that the allow-list
// cannot hide more than it says: an entry narrowed to one pointer or one kind of file must leave
// the same finding elsewhere failing, and broken files must fail however the allow-list reads.
//
// Run: node --test tests/e2e/validate_tool.test.js   (needs `npm ci` in tools/validate)

'use strict';

const { describe, it, before, after } = require('node:test');
const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const root = path.resolve(__dirname, '..', '..');
const script = path.join(root, 'tools', 'validate', 'validate.js');
const committedAllowList = path.join(root, 'tools', 'validate', 'allow-list.json');

// The document gltfio writes for a scene with nothing to export: every top-level array present
// and empty, one empty buffer, the default material.
function emptyDocument(bufferUri) {
  const buffer = { byteLength: 0 };
  if (bufferUri) buffer.uri = bufferUri;
  return {
    asset: { generator: 'gltfio test', version: '2.0' },
    scene: 0,
    scenes: [{ nodes: [] }],
    nodes: [],
    meshes: [],
    buffers: [buffer],
    bufferViews: [],
    accessors: [],
    materials: [{ pbrMetallicRoughness: { metallicFactor: 0.5, roughnessFactor: 0.5 } }],
  };
}

// GLB container: header, JSON chunk padded with spaces, BIN chunk padded with zeros.
function glb(doc, bin = Buffer.alloc(0)) {
  let json = Buffer.from(JSON.stringify(doc));
  json = Buffer.concat([json, Buffer.alloc((4 - (json.length % 4)) % 4, 0x20)]);
  const binPadded = Buffer.concat([bin, Buffer.alloc((4 - (bin.length % 4)) % 4, 0)]);
  const header = Buffer.alloc(12);
  header.writeUInt32LE(0x46546c67, 0);
  header.writeUInt32LE(2, 4);
  header.writeUInt32LE(12 + 8 + json.length + 8 + binPadded.length, 8);
  const chunk = (length, type) => {
    const b = Buffer.alloc(8);
    b.writeUInt32LE(length, 0);
    b.writeUInt32LE(type, 4);
    return b;
  };
  return Buffer.concat([header, chunk(json.length, 0x4e4f534a), json, chunk(binPadded.length, 0x004e4942), binPadded]);
}

let dir;
function write(name, content) {
  const file = path.join(dir, name);
  fs.writeFileSync(file, typeof content === 'string' || Buffer.isBuffer(content) ? content : JSON.stringify(content));
  return file;
}

function run(...args) {
  const r = spawnSync(process.execPath, [script, ...args], { cwd: dir, encoding: 'utf8' });
  const lines = r.stdout.split('\n').filter((l) => l !== '');
  return { status: r.status, lines, stderr: r.stderr };
}

// Findings that fail the run: errors and warnings without an allow-list reason.
function failing(lines) {
  return lines.filter((l) => / (error|warning) /.test(l) && !/ \(allowed: .*\)$/.test(l));
}

before(() => {
  dir = fs.mkdtempSync(path.join(os.tmpdir(), 'gltfio-validate-test-'));
});
after(() => {
  fs.rmSync(dir, { recursive: true, force: true });
});

describe('committed allow-list', () => {
  it('accepts the empty document as .gltf with a zero-byte .bin and as .glb with an empty BIN chunk', () => {
    write('empty.gltf', emptyDocument('empty.bin'));
    write('empty.bin', Buffer.alloc(0));
    write('empty.glb', glb(emptyDocument()));
    const r = run('--allow', committedAllowList, 'empty.gltf', 'empty.glb');
    assert.equal(r.status, 0, r.lines.join('\n'));
    assert.deepEqual(failing(r.lines), []);
    // Without the allow-list the same files fail: the entries are what makes them pass.
    assert.equal(run('empty.gltf', 'empty.glb').status, 1);
  });

  it('every line has the form FILE: SEVERITY CODE POINTER MESSAGE', () => {
    write('lines.glb', glb(emptyDocument()));
    const r = run('--allow', committedAllowList, 'lines.glb');
    assert.ok(r.lines.length > 0);
    for (const line of r.lines) {
      assert.match(line, /^lines\.glb: (error|warning|info|hint) [A-Z0-9_]+ (\/\S*|@\d+|-) \S.*$/);
    }
  });

  it('a pointer-narrowed entry leaves the same code at another pointer failing', () => {
    // byteLength 0 is allowed on buffer 0 only; an out-of-range material factor is a real fault.
    const doc = emptyDocument();
    doc.materials[0].pbrMetallicRoughness.metallicFactor = 2;
    write('range.glb', glb(doc));
    const r = run('--allow', committedAllowList, 'range.glb');
    assert.equal(r.status, 1);
    assert.deepEqual(failing(r.lines).map((l) => l.split(' ').slice(2, 4).join(' ')),
      ['VALUE_NOT_IN_RANGE /materials/0/pbrMetallicRoughness/metallicFactor']);
  });

  it('warnings fail like errors; infos are printed but do not fail', () => {
    const doc = emptyDocument();
    doc.materials[0].unknownKey = 1;
    write('warning.glb', glb(doc));
    const r = run('--allow', committedAllowList, 'warning.glb');
    assert.equal(r.status, 1);
    assert.deepEqual(failing(r.lines), ['warning.glb: warning UNEXPECTED_PROPERTY /materials/0/unknownKey Unexpected property.']);

    // An unused second material is only an info, and no entry explains it.
    const infoOnly = emptyDocument();
    infoOnly.materials.push({});
    write('info.glb', glb(infoOnly));
    const i = run('--allow', committedAllowList, 'info.glb');
    assert.equal(i.status, 0, i.lines.join('\n'));
    assert.ok(i.lines.includes('info.glb: info UNUSED_OBJECT /materials/1 This object may be unused.'), i.lines.join('\n'));
  });

  it('an empty array that gltfio does not always write still fails', () => {
    const doc = emptyDocument();
    doc.textures = [];
    write('textures.glb', glb(doc));
    const r = run('--allow', committedAllowList, 'textures.glb');
    assert.equal(r.status, 1);
    assert.deepEqual(failing(r.lines).map((l) => l.split(' ').slice(2, 4).join(' ')), ['EMPTY_ENTITY /textures']);
  });
});

describe('allow-list matching', () => {
  it('a files glob without a slash matches the base name and nothing else', () => {
    fs.mkdirSync(path.join(dir, 'sub'), { recursive: true });
    write('sub/globbed.glb', glb(emptyDocument()));
    write('sub/globbed.gltf', emptyDocument('globbed.bin'));
    write('sub/globbed.bin', Buffer.alloc(0));
    const list = JSON.parse(fs.readFileSync(committedAllowList, 'utf8'))
      .filter((e) => e.pointer !== '/meshes')
      .concat([{ code: 'EMPTY_ENTITY', pointer: '/meshes', files: '*.glb', reason: 'test' }]);
    write('glb-only.json', list);
    const r = run('--allow', 'glb-only.json', 'sub/globbed.glb', 'sub/globbed.gltf');
    assert.equal(r.status, 1);
    assert.deepEqual(failing(r.lines), ['sub/globbed.gltf: error EMPTY_ENTITY /meshes Entity cannot be empty.']);
  });

  it('in a pointer glob * stays within one segment and ** crosses segments', () => {
    write('segments.glb', glb(emptyDocument()));
    const others = JSON.parse(fs.readFileSync(committedAllowList, 'utf8')).filter((e) => e.code !== 'EMPTY_ENTITY');
    const failingWith = (pointer) => {
      write('segments.json', others.concat([{ code: 'EMPTY_ENTITY', pointer, reason: 'test' }]));
      return failing(run('--allow', 'segments.json', 'segments.glb').lines).map((l) => l.split(' ')[3]);
    };
    assert.deepEqual(failingWith('/*'), ['/scenes/0/nodes']);
    assert.deepEqual(failingWith('/**'), []);
    assert.deepEqual(failingWith('/scenes/?/nodes').sort(), ['/accessors', '/bufferViews', '/meshes', '/nodes']);
  });
});

describe('broken files fail whatever the allow-list says', () => {
  it('a .gltf whose .bin is shorter than declared', () => {
    const doc = emptyDocument('short.bin');
    doc.buffers[0].byteLength = 8;
    write('short.gltf', doc);
    write('short.bin', Buffer.alloc(4));
    const r = run('--allow', committedAllowList, 'short.gltf');
    assert.equal(r.status, 1);
    assert.ok(failing(r.lines).some((l) => l.includes('BUFFER_BYTE_LENGTH_MISMATCH')), r.lines.join('\n'));
  });

  it('a .gltf naming a .bin that was never written, even for an empty unused buffer', () => {
    write('nobin.gltf', emptyDocument('nobin.bin'));
    const r = run('--allow', committedAllowList, 'nobin.gltf');
    assert.equal(r.status, 1);
    assert.deepEqual(failing(r.lines), ['nobin.gltf: error RESOURCE_MISSING /buffers/0/uri nobin.bin does not exist beside the file']);
  });

  it('JSON saved under a .glb name, a truncated GLB, a file that is not there', () => {
    write('json.glb', JSON.stringify(emptyDocument()));
    const whole = glb(emptyDocument());
    write('cut.glb', whole.subarray(0, whole.length - 10));
    const r = run('--allow', committedAllowList, 'json.glb', 'cut.glb', 'absent.glb');
    assert.equal(r.status, 1);
    for (const name of ['json.glb', 'cut.glb', 'absent.glb']) {
      assert.ok(failing(r.lines).some((l) => l.startsWith(`${name}: error `)), `${name}:\n${r.lines.join('\n')}`);
    }
  });
});

describe('command line', () => {
  it('refuses allow-list entries without a reason or with unknown keys, and a missing file list', () => {
    write('glb-ok.glb', glb(emptyDocument()));
    write('no-reason.json', [{ code: 'EMPTY_ENTITY' }]);
    write('typo.json', [{ code: 'EMPTY_ENTITY', reason: 'x', pointers: '/nodes' }]);
    write('not-array.json', { code: 'EMPTY_ENTITY', reason: 'x' });
    for (const list of ['no-reason.json', 'typo.json', 'not-array.json', 'missing.json']) {
      const r = run('--allow', list, 'glb-ok.glb');
      assert.equal(r.status, 2, list);
      assert.deepEqual(r.lines, [], list);
    }
    assert.equal(run('--allow', committedAllowList).status, 2);
    assert.equal(run('--bogus', 'glb-ok.glb').status, 2);
  });
});
