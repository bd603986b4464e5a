#!/usr/bin/env node
// Runs the reference glTF 2.0 validator (npm package gltf-validator, pinned in package-lock.json)
// over files that gltfio wrote, and turns its report into one line per finding:
//
//   FILE: SEVERITY CODE POINTER MESSAGE
//
// SEVERITY is error, warning, info or hint. POINTER is the JSON pointer of the finding, or
// @OFFSET for findings about the GLB container itself (a byte offset), or - when there is neither.
// A finding that the allow-list accepts ends with "(allowed: REASON)".
//
// Usage: node tools/validate/validate.js [--allow ALLOW_LIST.json] FILE...
//
// Exit status:
//   0  no file has an error or warning that the allow-list does not accept
//   1  at least one file has such a finding, or could not be read or recognised at all
//   2  bad arguments or a malformed allow-list
//
// The allow-list is a JSON array of entries {"code", "reason", "files"?, "pointer"?}. An entry
// accepts a finding with its code, narrowed by "files" (a glob; without a '/' it is matched against
// the file's base name, with one against the path as given) and by "pointer" (a glob over the
// POINTER column). In both globs `*` and `?` stay within one '/'-separated part and `**` does not.
// Every entry needs a reason; unknown keys are refused, so a misspelt narrowing cannot quietly
// widen an entry to every file and pointer.
//
// Errors and warnings fail; infos and hints are printed but never fail. The validator's infos and
// hints are its own guesses ("this object may be unused", "consider omitting ...") and some of
// them describe choices the exporter makes on purpose; failing on them would turn the allow-list
// into a list of opinions rather than a list of known, explained exceptions. Known infos are still
// listed in the allow-list so that the output shows them as understood.
//
// For a .gltf file, external resources (the .bin and any images) are read relative to the file,
// so a missing or short .bin is reported like any other finding. data: URIs are decoded by the
// validator itself and never reach the loader below.
//
// Besides the validator's own codes, this script reports these, always as failing errors that the
// allow-list does not apply to:
//   FILE_UNREADABLE   the file could not be read
//   NOT_GLTF          the validator could not recognise the bytes at all
//   RESOURCE_MISSING  a .gltf names an external buffer or image that does not exist
//   REPORT_TRUNCATED  the validator stopped listing findings early

'use strict';

const fs = require('fs');
const path = require('path');

const SEVERITY = ['error', 'warning', 'info', 'hint'];
const FAILING = new Set(['error', 'warning']);

function usage(message, status = 2) {
  if (message) process.stderr.write(`validate.js: ${message}\n`);
  process.stderr.write('usage: node tools/validate/validate.js [--allow ALLOW_LIST.json] FILE...\n');
  process.exit(status);
}

function loadValidator() {
  try {
    return require('gltf-validator');
  } catch (e) {
    process.stderr.write(
      'validate.js: the npm package gltf-validator is not installed; run `npm ci` in tools/validate ' +
      '(bash scripts/setup.sh does it)\n');
    process.exit(2);
  }
}

// `**` matches anything, `*` anything but '/', `?` one character other than '/'.
function globToRegExp(glob) {
  let re = '';
  for (let i = 0; i < glob.length; ++i) {
    const c = glob[i];
    if (c === '*' && glob[i + 1] === '*') {
      re += '.*';
      ++i;
    } else if (c === '*') {
      re += '[^/]*';
    } else if (c === '?') {
      re += '[^/]';
    } else {
      re += c.replace(/[.+^${}()|[\]\\]/g, '\\$&');
    }
  }
  return new RegExp(`^${re}$`);
}

function loadAllowList(file) {
  let entries;
  try {
    entries = JSON.parse(fs.readFileSync(file, 'utf8'));
  } catch (e) {
    usage(`cannot read allow-list ${file}: ${e.message}`);
  }
  if (!Array.isArray(entries)) usage(`${file}: the allow-list must be a JSON array`);
  const known = new Set(['code', 'reason', 'files', 'pointer']);
  return entries.map((entry, i) => {
    const where = `${file}: entry ${i}`;
    if (entry === null || typeof entry !== 'object' || Array.isArray(entry)) usage(`${where} is not an object`);
    for (const key of Object.keys(entry)) {
      if (!known.has(key)) usage(`${where} has unknown key "${key}"`);
    }
    if (typeof entry.code !== 'string' || entry.code === '') usage(`${where} needs a "code"`);
    // An exception nobody can explain is not allowed: the reason is what makes it reviewable.
    if (typeof entry.reason !== 'string' || entry.reason.trim() === '') usage(`${where} needs a "reason"`);
    for (const key of ['files', 'pointer']) {
      if (key in entry && (typeof entry[key] !== 'string' || entry[key] === '')) {
        usage(`${where}: "${key}" must be a non-empty string`);
      }
    }
    return {
      code: entry.code,
      reason: entry.reason.trim(),
      files: entry.files === undefined ? null : globToRegExp(entry.files),
      filesOnBaseName: entry.files !== undefined && !entry.files.includes('/'),
      pointer: entry.pointer === undefined ? null : globToRegExp(entry.pointer),
    };
  });
}

// "pointer" is matched against the POINTER column as printed, so what a failing line shows is
// what an entry names.
function allowedBy(allowList, file, message, where) {
  const slashed = file.split(path.sep).join('/');
  const base = path.basename(file);
  return allowList.find((a) => {
    if (a.code !== message.code) return false;
    if (a.files && !a.files.test(a.filesOnBaseName ? base : slashed)) return false;
    if (a.pointer && !a.pointer.test(where)) return false;
    return true;
  });
}

function readResourceNear(file) {
  const dir = path.dirname(path.resolve(file));
  return (uri) => new Promise((resolve, reject) => {
    let decoded;
    try {
      decoded = decodeURIComponent(uri);
    } catch (e) {
      reject(`bad URI ${uri}`);
      return;
    }
    fs.readFile(path.resolve(dir, decoded), (err, data) => {
      if (err) reject(err.message);
      else resolve(new Uint8Array(data.buffer, data.byteOffset, data.byteLength));
    });
  });
}

// The validator only loads the resources that something uses, so an unused buffer (the empty
// buffer 0 of an empty scene) may name a .bin that was never written without any finding. A
// reader that loads every buffer up front would fail on such a file, so every external buffer
// and image of a .gltf must exist beside it.
function missingResources(file, bytes, ext, messages) {
  if (ext !== '.gltf') return [];
  let doc;
  try {
    doc = JSON.parse(bytes.toString('utf8'));
  } catch (e) {
    return []; // the validator has already reported why it is not JSON
  }
  const reported = new Set(messages.filter((m) => m.code === 'IO_ERROR').map((m) => m.pointer));
  const dir = path.dirname(path.resolve(file));
  const missing = [];
  for (const kind of ['buffers', 'images']) {
    const list = Array.isArray(doc[kind]) ? doc[kind] : [];
    list.forEach((entry, i) => {
      const uri = entry && entry.uri;
      const pointer = `/${kind}/${i}/uri`;
      if (typeof uri !== 'string' || uri.startsWith('data:') || reported.has(pointer)) return;
      let target;
      try {
        target = path.resolve(dir, decodeURIComponent(uri));
      } catch (e) {
        return; // a malformed URI is the validator's finding, not ours
      }
      if (!fs.existsSync(target)) missing.push({ pointer, message: `${uri} does not exist beside the file` });
    });
  }
  return missing;
}

function oneLine(text) {
  return String(text).replace(/\s+/g, ' ').trim();
}

// Validates one file and prints its findings; returns true when nothing in it fails.
async function validateFile(validator, allowList, file) {
  let bytes;
  try {
    bytes = fs.readFileSync(file);
  } catch (e) {
    console.log(`${file}: error FILE_UNREADABLE - ${oneLine(e.message)}`);
    return false;
  }
  const ext = path.extname(file).toLowerCase();
  const options = {
    uri: path.basename(file),
    maxIssues: 0,
    writeTimestamp: false,
    externalResourceFunction: readResourceNear(file),
  };
  // The extension decides the format, so a .glb that starts with '{' is reported as a broken GLB
  // rather than silently validated as JSON.
  if (ext === '.glb') options.format = 'glb';
  else if (ext === '.gltf') options.format = 'gltf';

  let report;
  try {
    report = await validator.validateBytes(new Uint8Array(bytes.buffer, bytes.byteOffset, bytes.byteLength), options);
  } catch (e) {
    console.log(`${file}: error NOT_GLTF - ${oneLine(e)}`);
    return false;
  }

  let ok = true;
  const issues = report.issues || { messages: [] };
  for (const m of issues.messages) {
    const severity = SEVERITY[m.severity] || `severity${m.severity}`;
    const where = typeof m.pointer === 'string' ? (m.pointer === '' ? '/' : m.pointer)
      : (typeof m.offset === 'number' ? `@${m.offset}` : '-');
    const allowed = allowedBy(allowList, file, m, where);
    const failing = FAILING.has(severity) && !allowed;
    if (failing) ok = false;
    const suffix = allowed ? ` (allowed: ${allowed.reason})` : '';
    console.log(`${file}: ${severity} ${m.code} ${where} ${oneLine(m.message)}${suffix}`);
  }
  for (const m of missingResources(file, bytes, ext, issues.messages)) {
    ok = false;
    console.log(`${file}: error RESOURCE_MISSING ${m.pointer} ${m.message}`);
  }
  if (issues.truncated) {
    console.log(`${file}: error REPORT_TRUNCATED - the validator stopped listing findings`);
    ok = false;
  }
  return ok;
}

async function main() {
  const args = process.argv.slice(2);
  let allowFile = null;
  const files = [];
  for (let i = 0; i < args.length; ++i) {
    const a = args[i];
    if (a === '--allow') {
      if (i + 1 >= args.length) usage('--allow needs a file');
      allowFile = args[++i];
    } else if (a.startsWith('--allow=')) {
      allowFile = a.slice('--allow='.length);
    } else if (a === '--help' || a === '-h') {
      usage(null, 0);
    } else if (a === '--') {
      files.push(...args.slice(i + 1));
      break;
    } else if (a.startsWith('--')) {
      usage(`unknown option ${a}`);
    } else {
      files.push(a);
    }
  }
  if (files.length === 0) usage('no files to validate');

  const allowList = allowFile ? loadAllowList(allowFile) : [];
  const validator = loadValidator();
  let ok = true;
  for (const file of files) {
    if (!(await validateFile(validator, allowList, file))) ok = false;
  }
  process.exitCode = ok ? 0 : 1;
}

main().catch((e) => {
  process.stderr.write(`validate.js: ${e && e.stack ? e.stack : e}\n`);
  process.exit(2);
});
