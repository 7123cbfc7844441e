// Writes examples.js: the example configurations and the demo script as texts the page can
// load from file://, where it may fetch nothing.
// Usage: node make-examples.js OUTPUT FILE...
'use strict';
const fs = require('fs');
const path = require('path');

const [output, ...files] = process.argv.slice(2);
const examples = {};
for (const file of files) examples[path.basename(file)] = fs.readFileSync(file, 'utf8');
fs.writeFileSync(output, '// Made by make-examples.js from examples/: do not edit.\n' +
    'window.dasExamples = ' + JSON.stringify(examples, null, 1) + ';\n');
