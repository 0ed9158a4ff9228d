// Generates text/internal/unicode_tables.inc: the simple case mappings and the canonical compositions with
// one combining mark that libplatform compiles in, taken from the Unicode Character Database 9.0.
//
//   cd tools && npm ci            # @unicode/unicode-9.0.0: case mappings and general categories
//   apt-get install unicode-data  # /usr/share/unicode/UnicodeData.txt: decompositions
//   node gen_unicode_tables.mjs [UnicodeData.txt] [output.inc]
//
// UnicodeData.txt may be of a later Unicode version; only code points assigned in 9.0 are used,
// and canonical decompositions of assigned characters are stable across versions. The pair
// counts are fixed: any difference means the sources are not the ones the library was built
// from, and the generator stops without writing anything.

import lowerLetters from '@unicode/unicode-9.0.0/General_Category/Lowercase_Letter/code-points.mjs';
import unassigned from '@unicode/unicode-9.0.0/General_Category/Unassigned/code-points.mjs';
import upperLetters from '@unicode/unicode-9.0.0/General_Category/Uppercase_Letter/code-points.mjs';
import lowercaseMap from '@unicode/unicode-9.0.0/Simple_Case_Mapping/Lowercase/code-points.mjs';
import uppercaseMap from '@unicode/unicode-9.0.0/Simple_Case_Mapping/Uppercase/code-points.mjs';
import fs from 'node:fs';
import path from 'node:path';
import {fileURLToPath} from 'node:url';

const here = path.dirname(fileURLToPath(import.meta.url));
const unicodeDataPath = process.argv[2] ?? '/usr/share/unicode/UnicodeData.txt';
const outputPath = process.argv[3] ?? path.join(here, '..', 'text', 'internal', 'unicode_tables.inc');

const EXPECTED_LOWER = 1231;
const EXPECTED_UPPER = 1274;
const EXPECTED_COMPOSE = 827;
const FIRST_MARK = 0x300;
const LAST_MARK = 0x345;

// Code points per block of the lookup tables. 32 gives the smallest data for these mappings
// (about 11 KiB per direction) while keeping the index within one byte per block.
const BLOCK_SHIFT = 5;

function fail(message) {
    console.error(`gen_unicode_tables: ${message}`);
    process.exit(1);
}

function expectCount(what, pairs, expected) {
    if (pairs.length !== expected)
        fail(`${what}: ${pairs.length} pairs, expected ${expected}`);
}

// Simple mappings of the code points of one general category, without identity entries.
function casePairs(mapping, category) {
    const members = new Set(category);
    const pairs = [];
    for (const [key, value] of mapping)
        if (members.has(key) && key !== value)
            pairs.push([ key, value ]);
    return pairs.sort((a, b) => a[0] - b[0]);
}

// Canonical decompositions into exactly a base and one mark of U+0300..U+0345, keyed as the
// library forms the key: (base << 16) | mark.
function compositionPairs(unicodeData) {
    const unassignedSet = new Set(unassigned);
    const pairs = [];
    for (const line of unicodeData.split('\n')) {
        if (line === '')
            continue;
        const fields = line.split(';');
        if (fields.length < 6)
            fail(`malformed UnicodeData line: ${line}`);
        const cp = parseInt(fields[0], 16);
        const decomposition = fields[5];
        if (unassignedSet.has(cp) || decomposition === '' || decomposition.startsWith('<'))
            continue;
        const parts = decomposition.split(' ').map((p) => parseInt(p, 16));
        if (parts.length !== 2 || parts[1] < FIRST_MARK || parts[1] > LAST_MARK)
            continue;
        if (parts[0] > 0xffff)
            fail(`base U+${hex(parts[0])} of U+${hex(cp)} does not fit the 16-bit key half`);
        pairs.push([ ((parts[0] << 16) | parts[1]) >>> 0, cp ]);
    }
    pairs.sort((a, b) => a[0] - b[0]);
    for (let i = 1; i < pairs.length; ++i)
        if (pairs[i][0] === pairs[i - 1][0])
            fail(`duplicate composition key 0x${hex(pairs[i][0])}`);
    return pairs;
}

// Two-stage table: one byte per block of code points below the limit selects a block of int32
// deltas (mapped value minus code point); identical blocks are stored once.
function stageTable(pairs) {
    const blockSize = 1 << BLOCK_SHIFT;
    const mapping = new Map(pairs);
    const blockCount = (pairs[pairs.length - 1][0] >> BLOCK_SHIFT) + 1;
    const blockIds = new Map();
    const index = [];
    const deltas = [];
    for (let block = 0; block < blockCount; ++block) {
        const values = [];
        for (let i = 0; i < blockSize; ++i) {
            const cp = block * blockSize + i;
            values.push(mapping.has(cp) ? mapping.get(cp) - cp : 0);
        }
        const signature = values.join(',');
        if (!blockIds.has(signature)) {
            blockIds.set(signature, blockIds.size);
            deltas.push(...values);
        }
        index.push(blockIds.get(signature));
    }
    if (blockIds.size > 256)
        fail(`${blockIds.size} distinct blocks do not fit a one-byte index`);
    const limit = blockCount << BLOCK_SHIFT;

    // Replay every code point below the limit through the table, as the C++ lookup does.
    for (let cp = 0; cp < limit; ++cp) {
        const delta = deltas[(index[cp >> BLOCK_SHIFT] << BLOCK_SHIFT) | (cp & (blockSize - 1))];
        const expected = mapping.has(cp) ? mapping.get(cp) : cp;
        if (cp + delta !== expected)
            fail(`stage table disagrees at U+${hex(cp)}`);
    }
    return {index, deltas, limit};
}

function hex(n, width = 4) { return n.toString(16).toUpperCase().padStart(width, '0'); }

// Lays out items as comma-separated C++ initialisers, as many per line as fit in 100 columns.
function wrap(items, indent = '    ') {
    const lines = [];
    let line = indent;
    for (const item of items) {
        const piece = `${item},`;
        if (line.length > indent.length && line.length + 1 + piece.length > 100) {
            lines.push(line);
            line = indent;
        }
        line += (line.length > indent.length ? ' ' : '') + piece;
    }
    if (line.length > indent.length)
        lines.push(line);
    return lines.join('\n');
}

function pairArray(name, comment, pairs, keyWidth) {
    const items = pairs.map(([ k, v ]) => `{0x${hex(k, keyWidth)}, 0x${hex(v)}}`);
    return `// ${comment}\ninline constexpr std::uint32_t ${name}[${pairs.length}][2] = {\n${
        wrap(items)}\n};\n`;
}

function stageArrays(prefix, direction, table) {
    const kib = ((table.index.length + table.deltas.length * 4) / 1024).toFixed(1);
    return (
        `// ${direction} lookup (${kib} KiB): block number per ${1 << BLOCK_SHIFT} code points ` +
        `below k${prefix}MapLimit,\n// then per block the mapped value minus the code point.\n` +
        `inline constexpr unsigned int k${prefix}MapLimit = 0x${hex(table.limit)};\n` +
        `inline constexpr std::uint8_t k${prefix}BlockIndex[${table.index.length}] = {\n` +
        `${wrap(table.index.map(String))}\n};\n` +
        `inline constexpr std::int32_t k${prefix}Deltas[${table.deltas.length}] = {\n` +
        `${wrap(table.deltas.map(String))}\n};\n`);
}

const lowerPairs = casePairs(lowercaseMap, upperLetters);
const upperPairs = casePairs(uppercaseMap, lowerLetters);
const composePairs = compositionPairs(fs.readFileSync(unicodeDataPath, 'utf8'));
expectCount('lower-case table', lowerPairs, EXPECTED_LOWER);
expectCount('upper-case table', upperPairs, EXPECTED_UPPER);
expectCount('composition table', composePairs, EXPECTED_COMPOSE);

const lowerTable = stageTable(lowerPairs);
const upperTable = stageTable(upperPairs);

const output =
    `// Generated by tools/gen_unicode_tables.mjs from the Unicode Character Database 9.0; do not edit.
// Regenerate as described in tools/README.md.
//
// Internal to the library and its tests: included through text/internal/case_map.h.
#pragma once

#include <cstdint>

// clang-format off
namespace utf8_private::detail {

inline constexpr unsigned int kCaseBlockShift = ${BLOCK_SHIFT};

${
        pairArray('kLowerPairs',
                  'Simple lowercase mappings of the upper-case letters (Lu), by code point.',
                  lowerPairs, 4)}
${
        pairArray('kUpperPairs',
                  'Simple uppercase mappings of the lower-case letters (Ll), by code point.',
                  upperPairs, 4)}
${
        pairArray(
            'kComposePairs',
            'Canonical compositions: key (base << 16) | mark (U+0300..U+0345), sorted by key.',
            composePairs, 8)}
${stageArrays('Lower', 'Lowercase', lowerTable)}
${stageArrays('Upper', 'Uppercase', upperTable)}
} // namespace utf8_private::detail
// clang-format on
`;

fs.writeFileSync(outputPath, output);
console.log(`wrote ${outputPath}: ${lowerPairs.length} lower, ${upperPairs.length} upper, ` +
            `${composePairs.length} composition pairs; lookup limits 0x${hex(lowerTable.limit)}, ` +
            `0x${hex(upperTable.limit)}`);
