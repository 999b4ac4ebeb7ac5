// What the tests share: the engine in Node, renders by the command, numbers.
import { execFileSync } from "node:child_process";
import { mkdirSync, readFileSync } from "node:fs";
import { fileURLToPath, pathToFileURL } from "node:url";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { buildSync } from "esbuild";

export const root = fileURLToPath(new URL("../..", import.meta.url));
export const command = process.env.PRISMEL ?? join(root, "build/release/bin/prismel");
export const wasmPath = process.env.PRISMEL_WASM ?? join(root, "build/web/web/wasm/prismel.wasm");
export const recordings = "/usr/share/sonic-pi/samples";
export const scratch = join(tmpdir(), `prismel-web-${process.pid}`);
mkdirSync(scratch, { recursive: true });

/** The TypeScript sources as one module that Node takes. */
export async function loadSources(entry) {
  const outfile = join(scratch, `${entry.replace(/\W/g, "-")}.mjs`);
  buildSync({ entryPoints: [join(root, "web/src", entry)], bundle: true, format: "esm", platform: "neutral", outfile });
  return import(pathToFileURL(outfile).href);
}

export const compileWasm = () => new WebAssembly.Module(readFileSync(wasmPath));

/** Runs the command, quietly; its sentence on failure. */
export function prismel(...args) {
  return execFileSync(command, args, { encoding: "utf8", stdio: ["ignore", "pipe", "pipe"] });
}

/** The first seconds of a recording as a float WAV file. */
export function recording(name, seconds, rate) {
  const path = join(scratch, `${name}.wav`);
  prismel("render", "-q", "-y", "-f", "float", "--tail", "0", "--duration", String(seconds), "-p", "Bypass=on",
    join(recordings, `${name}.flac`), path);
  return path;
}

/**
 * {different, worstDb} of two lists of channels; different lengths count as 0 dB. What differs by less than 1e-30 (-600 dBFS)
 * is equal: there a native processor flushes the denormal numbers that its sums come from, and WebAssembly can't.
 */
export function compare(a, b) {
  if (a.length !== b.length || a[0].length !== b[0].length) return { different: Infinity, worstDb: 0 };
  let different = 0, worst = 0;
  a.forEach((channel, c) => {
    const other = b[c];
    for (let i = 0; i < channel.length; ++i) {
      if (!(Math.abs(channel[i] - other[i]) < 1e-30)) {
        ++different;
        worst = Math.max(worst, Math.abs(channel[i] - other[i]));
      }
    }
  });
  return { different, worstDb: worst > 0 ? 20 * Math.log10(worst) : -Infinity };
}

/**
 * Whether this run measures: how fast the page is and whether it keeps up live, a busy or slow machine decides as much as the
 * page does. scripts/nightly asks for it.
 */
export const isMeasuring = process.env.PRISMEL_LIVE_SECONDS !== undefined;
/** For what would hang, in milliseconds: how long a browser takes for anything says nothing. */
export const patience = 300000;

let failures = 0;
/** Holds where it is measured; elsewhere it is told. */
export function checkSpeed(isGood, sentence) {
  if (isMeasuring) check(isGood, sentence);
  else console.log(`told ${sentence}`);
}
export function check(isGood, sentence) {
  if (!isGood) ++failures;
  console.log(`${isGood ? "ok  " : "FAIL"} ${sentence}`);
}
export function finish() {
  process.exitCode = failures > 0 ? 1 : 0;
}
