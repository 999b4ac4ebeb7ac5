// Every factory preset over three recordings, in Node, against `prismel render`: the same bits.
import { readFileSync } from "node:fs";
import { join } from "node:path";
import { check, command, compare, compileWasm, finish, loadSources, prismel, recording, root, scratch } from "./support.mjs";

const { Engine, Instrument, render } = await loadSources("engine.ts");
const { readWav } = await loadSources("wav.ts");
const engine = new Engine(compileWasm());
const { presets } = engine.table();
check(presets.length >= 24, `${presets.length} factory presets are compiled in`);

// Texts and numbers: this library reads numbers by another function than the native one.
const { parameters } = engine.table();
const cutoff = parameters.find((p) => p.name === "Prismel_HPFCutoff").index;
const refused = ["", " ", "nan", "inf", "-inf", "1e999", "0.5.5", "0x10", "+-3", "19 Hz", "norm:1.01", "1e", "3 dB"].filter((text) => {
  try {
    engine.read(cutoff, text);
    return false;
  } catch (error) {
    return error.name === "PrismelError";
  }
});
check(refused.length === 13, `${refused.length} of 13 texts that are no cutoff are refused with a sentence`);
const same = [["250", "250 Hz"], ["1.2 kHz", "1200Hz"], [" +1.2e3 hz ", "1200"], [".5kHz", "500"], ["norm:1", "20 kHz"]]
  .every(([a, b]) => engine.read(cutoff, a) === engine.read(cutoff, b));
check(same, "numbers are read with and without sign, point, exponent and unit");
const turned = parameters.filter((p) => p.role === "main").filter((p) => {
  const text = engine.text(p.index, p.preferred);
  return Math.abs(engine.value(p.index, engine.read(p.index, text)) - engine.value(p.index, p.preferred)) <= 1e-3 * (p.max - p.min);
});
check(turned.length === parameters.filter((p) => p.role === "main").length, `the texts of all ${turned.length} main knobs read back`);

const seconds = 6;
let equal = 0, live = 0, count = 0;
const worse = [];
for (const name of ["guit_em9", "loop_amen_full", "ambi_choir"]) {
  const input = recording(name, seconds);
  const { sampleRate, channels } = readWav(readFileSync(input));
  for (const preset of presets) {
    const output = join(scratch, "out.wav");
    prismel("render", "-q", "-y", "-f", "float", "--mono", "-P", join(root, "presets", `${preset.file}.json`), input, output);
    const expected = readWav(readFileSync(output)).channels;
    const { sound } = engine.readPreset(preset.json);
    const result = compare(render(engine, { sampleRate, channels, sound }), expected);
    ++count;
    if (result.different === 0) ++equal;
    else worse.push(`${preset.file} on ${name}: ${result.different} samples differ, by at most ${result.worstDb.toFixed(1)} dB`);

    // The way of a worklet: pieces of 128 frames, behind the latency.
    const instrument = new Instrument(engine, sampleRate, 128, sound, 0, false);
    const pair = [channels[0], channels[1] ?? channels[0]];
    const out = [new Float32Array(channels[0].length), new Float32Array(channels[0].length)];
    for (let at = 0; at < out[0].length; at += 128) {
      const end = Math.min(at + 128, out[0].length);
      instrument.process(pair.map((c) => c.subarray(at, end)), [0, 1].map((c) => out[c].subarray(at, end)), 0, end - at);
    }
    const late = instrument.latency;
    instrument.close();
    const kept = out[0].length - late;
    if (channels.length === 2 && compare(out.map((c) => c.subarray(late)), expected.map((c) => c.subarray(0, kept))).different === 0) ++live;
  }
}
for (const sentence of worse) console.log(`     ${sentence}`);
check(equal === count, `${equal} of ${count} renders have the bits of ${command}`);
check(live === count || live === (2 * count) / 3, `${live} live runs of stereo recordings have them, too`);
finish();
