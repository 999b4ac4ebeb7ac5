// Every factory preset over three recordings, in Node, against `prismel render`: the same bits.
import { readFileSync } from "node:fs";
import { join } from "node:path";
import { check, command, compare, compileWasm, finish, loadSources, prismel, recording, root, scratch } from "./support.mjs";

const { Engine, Instrument, render } = await loadSources("engine.ts");
const { readWav } = await loadSources("wav.ts");
const engine = new Engine(compileWasm());
const { presets } = engine.table();
check(presets.length >= 24, `${presets.length} factory presets are compiled in`);

const seconds = 6;
let equal = 0, live = 0, count = 0;
const worse = [];
for (const name of ["guit_em9", "loop_amen_full", "ambi_choir"]) {
  const input = recording(name, seconds);
  const { sampleRate, channels } = readWav(readFileSync(input));
  for (const preset of presets) {
    const output = join(scratch, "out.wav");
    prismel("render", "-q", "-y", "-f", "float", "-P", join(root, "presets", `${preset.file}.json`), input, output);
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
