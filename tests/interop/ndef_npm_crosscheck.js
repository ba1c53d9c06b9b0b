// SPDX-License-Identifier: MIT
// Cross-check of the NDEF layer with the npm package "ndef": every record
// kind that package builds or reads goes both ways, through `orvex ndef
// encode` / `orvex ndef decode --json`. Usage: node ndef_npm_crosscheck.js
// ORVEX NODE_MODULES
'use strict';
const assert = require('assert');
const { execFileSync } = require('child_process');
const path = require('path');

const orvex = process.argv[2];
const ndef = require(path.join(process.argv[3], 'ndef'));

function run(args) {
  return execFileSync(orvex, args, { encoding: 'utf8' });
}
function hexOf(bytes) {
  return Buffer.from(bytes).toString('hex').toUpperCase();
}
function bytesOf(hex) {
  return Array.from(Buffer.from(hex, 'hex'));
}
function text(bytes) {
  return Buffer.from(bytes).toString('utf8');
}
let checks = 0;
function check(name, fn) {
  try {
    fn();
    checks++;
  } catch (e) {
    console.error('FAILED: ' + name + '\n' + e.message);
    process.exitCode = 1;
  }
}

// ---- ours -> npm ------------------------------------------------------------------
function ours(args) {
  return ndef.decodeMessage(bytesOf(run(['ndef', 'encode'].concat(args)).trim()));
}

check('text records (UTF-8, a language, a long record)', () => {
  const long = 'L'.repeat(300);
  const m = ours(['--text', 'hello', '--text', 'Gr\u00fc\u00dfe', '--lang', 'de', '--text', long]);
  assert.strictEqual(m.length, 3);
  assert.strictEqual(m[0].tnf, ndef.TNF_WELL_KNOWN);
  assert.strictEqual(m[0].type, 'T');
  assert.strictEqual(ndef.text.decodePayload(m[0].payload), 'hello');
  assert.strictEqual(text(m[0].payload.slice(1, 3)), 'de');
  assert.strictEqual(ndef.text.decodePayload(m[1].payload), 'Gr\u00fc\u00dfe');
  assert.strictEqual(ndef.text.decodePayload(m[2].payload), long);
});

check('URI records, abbreviated and written in full', () => {
  const uris = ['https://www.example.com/a', 'http://example.org', 'tel:+41441234567', 'mailto:a@b.example',
                'urn:epc:id:sgtin:1', 'urn:nfc:sn:x', 'file:///tmp/x', 'geo:47.37,8.54', 'sms:+4112345'];
  const m = ours([].concat(...uris.map((u) => ['--uri', u])));
  assert.strictEqual(m.length, uris.length);
  uris.forEach((u, i) => {
    assert.strictEqual(m[i].type, 'U');
    assert.strictEqual(ndef.uri.decodePayload(m[i].payload), u);
  });
});

check('smart poster with a title', () => {
  const m = ours(['--smartposter', 'https://example.com/poster', '--title', 'Poster']);
  assert.strictEqual(m[0].type, 'Sp');
  const inner = ndef.decodeMessage(m[0].payload);
  assert.strictEqual(ndef.uri.decodePayload(inner[0].payload), 'https://example.com/poster');
  assert.strictEqual(inner[1].type, 'T');
  assert.strictEqual(ndef.text.decodePayload(inner[1].payload), 'Poster');
});

check('MIME, vCard, Android application and external records', () => {
  const fs = require('fs');
  const os = require('os');
  const file = path.join(fs.mkdtempSync(path.join(os.tmpdir(), 'ndefx-')), 'card.vcf');
  fs.writeFileSync(file, 'BEGIN:VCARD\nFN:Ada\nEND:VCARD\n');
  const m = ours(['--mime', 'application/json', file, '--vcard', file, '--aar', 'com.example.app',
                  '--external', 'example.com:type', 'CAFE']);
  assert.strictEqual(m[0].tnf, ndef.TNF_MIME_MEDIA);
  assert.strictEqual(m[0].type, 'application/json');
  assert.strictEqual(text(m[0].payload), 'BEGIN:VCARD\nFN:Ada\nEND:VCARD\n');
  assert.strictEqual(m[1].type, 'text/vcard');
  assert.strictEqual(m[2].tnf, ndef.TNF_EXTERNAL_TYPE);
  assert.strictEqual(m[2].type, 'android.com:pkg');
  assert.strictEqual(text(m[2].payload), 'com.example.app');
  assert.strictEqual(m[3].type, 'example.com:type');
  assert.deepStrictEqual(m[3].payload, [0xCA, 0xFE]);
});

// ---- npm -> ours ------------------------------------------------------------------
function theirs(records) {
  return JSON.parse(run(['ndef', 'decode', hexOf(ndef.encodeMessage(records)), '--json'])).records;
}

check('npm text, URI and absolute-URI records', () => {
  const long = 'x'.repeat(254);  // the npm package's long form starts here
  const r = theirs([ndef.textRecord('hello'), ndef.textRecord('bonjour', 'fr'), ndef.textRecord(long),
                    ndef.uriRecord('https://www.example.com/'), ndef.uriRecord('urn:epc:tag:x'),
                    ndef.uriRecord('geo:1,2'), ndef.absoluteUriRecord('https://schema.example/x', 'body')]);
  assert.strictEqual(r.length, 7);
  assert.deepStrictEqual([r[0].kind, r[0].text, r[0].lang], ['text', 'hello', 'en']);
  assert.deepStrictEqual([r[1].text, r[1].lang], ['bonjour', 'fr']);
  assert.strictEqual(r[2].text, long);
  assert.deepStrictEqual([r[3].kind, r[3].uri], ['uri', 'https://www.example.com/']);
  assert.strictEqual(r[4].uri, 'urn:epc:tag:x');
  assert.strictEqual(r[5].uri, 'geo:1,2');
  assert.deepStrictEqual([r[6].tnf, r[6].type, r[6].payload], [3, 'https://schema.example/x', hexOf(Buffer.from('body'))]);
});

check('npm smart poster, MIME, empty, Android application and ID fields', () => {
  const withId = ndef.record(ndef.TNF_EXTERNAL_TYPE, 'example.com:t', 'id-7', [1, 2, 3]);
  const r = theirs([ndef.smartPoster([ndef.uriRecord('https://example.com'), ndef.textRecord('Title')]),
                    ndef.mimeMediaRecord('text/plain', 'plain text'), ndef.emptyRecord(),
                    ndef.androidApplicationRecord('org.example.reader'), withId]);
  assert.deepStrictEqual([r[0].kind, r[0].uri, r[0].titles[0].text], ['smartposter', 'https://example.com', 'Title']);
  assert.deepStrictEqual([r[1].kind, r[1].type, r[1].payload], ['mime', 'text/plain', hexOf(Buffer.from('plain text'))]);
  assert.deepStrictEqual([r[2].tnf, r[2].payload], [0, '']);
  assert.deepStrictEqual([r[3].kind, r[3].package], ['android-application', 'org.example.reader']);
  assert.deepStrictEqual([r[4].type, r[4].id, r[4].payload], ['example.com:t', 'id-7', '010203']);
});

if (!process.exitCode) console.log('ndef cross-check: ' + checks + ' checks passed');
