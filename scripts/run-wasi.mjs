// Runs a WebAssembly program of the WASI kind under Node, 18 or newer, with this process's standard
// streams.
//
//   node --no-warnings --experimental-wasi-unstable-preview1 scripts/run-wasi.mjs PROGRAM [ARGUMENT...]
import { readFile } from 'node:fs/promises';
import { WASI } from 'node:wasi';

const [program, ...rest] = process.argv.slice(2);
const wasi = new WASI({ version: 'preview1', args: [program, ...rest], returnOnExit: true });
const module = await WebAssembly.compile(await readFile(program));
const instance = await WebAssembly.instantiate(module, { wasi_snapshot_preview1: wasi.wasiImport });
process.exitCode = wasi.start(instance);
