// What the effect costs in WebAssembly and natively, by preset: processor time, the lowest of alternating runs. Also counts
// denormal numbers in dying tails. node web/test/cost.mjs; natively it times `prismel render` over two lengths of noise
// and takes the difference, so that starting up doesn't count.
import { spawnSync } from "node:child_process";
import { join } from "node:path";
import { writeFileSync } from "node:fs";
import { command, compileWasm, loadSources, root, scratch } from "./support.mjs";

const { Engine, Instrument } = await loadSources("engine.ts");
const { writeWav } = await loadSources("wav.ts");
const engine = new Engine(compileWasm());
const rate = 48000, quantum = 128, long = 12, short = 2;

let x = 1;
const noise = (seconds) => [0, 1].map(() => Float32Array.from({ length: seconds * rate }, () => {
  x ^= x << 13; x ^= x >>> 17; x ^= x << 5;
  return (x >>> 0) / 2 ** 33 - 0.25;
}));
const files = [long, short].map((seconds) => {
  const path = join(scratch, `${seconds}s.wav`);
  writeFileSync(path, writeWav(noise(seconds), rate));
  return path;
});
/** Processor time of `prismel render` for a second of sound. */
const native = (preset) => {
  const cpu = (file) => {
    const script = `TIMEFORMAT='%U %S'; time "$@" >/dev/null 2>/dev/null`;
    const options = ["-q", "-y", "-j", "1", "-f", "float", "--tail", "0", "-P", preset, file, join(scratch, "cost.wav")];
    const { stderr } = spawnSync("bash", ["-c", script, "-", command, "render", ...options], { encoding: "utf8" });
    return stderr.trim().split(/\s+/).map(Number).reduce((a, b) => a + b);
  };
  return (cpu(files[0]) - cpu(files[1])) / (long - short);
};

const [input, output] = [noise(4), [0, 1].map(() => new Float32Array(quantum))];
const wasm = (sound) => {
  const instrument = new Instrument(engine, rate, quantum, sound, 0, true);
  const before = process.cpuUsage();
  for (let at = 0; at + quantum <= input[0].length; at += quantum) {
    instrument.process(input.map((c) => c.subarray(at, at + quantum)), output, 0, quantum);
  }
  const { user, system } = process.cpuUsage(before);
  instrument.close();
  return (user + system) / 1e6 / 4;
};
/** Denormal output samples in twenty seconds of silence behind a second of noise. */
const denormals = (sound, isLive) => {
  const instrument = new Instrument(engine, rate, quantum, sound, 0, isLive);
  let count = 0;
  for (let q = 0; q < 21 * rate / quantum; ++q) {
    const at = q * quantum;
    instrument.process(at < rate ? input.map((c) => c.subarray(at, at + quantum)) : [], output, 0, quantum);
    if (at >= rate) for (const channel of output) for (const v of channel) if (v !== 0 && Math.abs(v) < 2 ** -126) ++count;
  }
  instrument.close();
  return count;
};

wasm(engine.defaultSound());
console.log("| preset | native, % of a core | WebAssembly | ratio | denormal samples, offline | live |\n|---|---|---|---|---|---|");
for (const preset of engine.table().presets) {
  const { sound } = engine.readPreset(preset.json);
  let best = [Infinity, Infinity];
  for (let i = 0; i < 3; ++i) {
    best = [Math.min(best[0], native(join(root, "presets", `${preset.file}.json`))), Math.min(best[1], wasm(sound))];
  }
  const percent = best.map((seconds) => (100 * seconds).toFixed(2));
  console.log(`| ${preset.name} | ${percent[0]} | ${percent[1]} | ${(best[1] / best[0]).toFixed(1)} | ${denormals(sound, false)} | ${denormals(sound, true)} |`);
}
