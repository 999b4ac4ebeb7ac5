// What the page holds: gestures, the way back, two slots, presets; and which rate a file's header tells.
import { check, compileWasm, finish, loadSources } from "./support.mjs";

const { Engine } = await loadSources("engine.ts");
const { Store } = await loadSources("page/store.ts");
const { sniffRate } = await loadSources("page/sniff.ts");
const { loops } = await loadSources("page/loops.ts");
const { writeWav } = await loadSources("wav.ts");
const engine = new Engine(compileWasm());
const table = engine.table();
const index = (name) => table.parameters.find((p) => p.name === name).index;
const json = (file) => table.presets.find((p) => p.file === file).json;
const wet = index("Prismel_Wet"), bypass = index("Bypass"), jitter = index("Prismel_FXL_FX_BitCrusher_Jitter");

const store = new Store(engine, table, bypass);
store.load(json("glass-choir"));
store.settle();
const changes = [];
store.listen((change) => changes.push(change.kind));

const first = store.get(wet);
store.beginGesture();
for (const x of [0.1, 0.2, 0.3]) store.set(wet, x);
store.endGesture();
store.set(wet, 0.9);
store.undo();
check(Math.abs(store.get(wet) - 0.3) < 1e-6, "one undo takes one change back");
store.undo();
check(store.get(wet) === first && !store.canUndo && !store.isModified, "a gesture of three values is one step, and the preset is unchanged again");
store.redo();
store.redo();
check(Math.abs(store.get(wet) - 0.9) < 1e-6 && !store.canRedo, "and forward again");

store.beginGesture();
store.endGesture();
store.undo();
check(Math.abs(store.get(wet) - 0.3) < 1e-6, "a gesture that moved nothing is no step");

const before = [...store.sound];
store.switchSlot();
check(store.slot === "B" && store.get(wet) === first, "the other slot holds what was there at the start");
store.load(json("metal-rain"));
store.set(bypass, 1);
store.switchSlot();
check(store.slot === "A" && before.every((x, i) => i === bypass || x === store.sound[i]) && store.get(bypass) === 1,
  "switching back brings the first sound, and bypass stays as it is");
store.copyToOtherSlot();
store.switchSlot();
check(Math.abs(store.get(wet) - 0.3) < 1e-6, "a copied slot is equal");

let sentence = "";
const held = [...store.sound];
try {
  store.load('{"schema": 1, "parameters": {"Prismel_Wet": "2 cows"}}');
} catch (error) {
  sentence = error.message;
}
check(sentence !== "" && held.every((x, i) => x === store.sound[i]), `a bad preset changes nothing: ${sentence}`);
check(store.load('{"schema": 1, "name": "x", "parameters": {"Prismel_Wit": 1}}').length === 1, "an unknown name is a warning");

store.set(jitter, 0.5);
check(store.get(table.parameters[jitter].twin) === 0.5, "a knob of both sides moves on both");
changes.length = 0;
store.set(wet, NaN);
store.set(wet, store.get(wet));
check(changes.length === 0, "NaN and what stands already tell nobody");

check(sniffRate(writeWav([new Float32Array(4)], 44100)) === 44100 && sniffRate(writeWav([new Float32Array(4)], 384000)) === undefined &&
  sniffRate(new Uint8Array(3)) === undefined && sniffRate(new TextEncoder().encode("RIFFxxxxWAVE")) === undefined,
  "rates are read from headers, and nothing from rubbish");

for (const { name, make } of loops) {
  const [left, right] = make(8000);
  const peak = Math.max(...[left, right].map((c) => c.reduce((top, x) => Math.max(top, Math.abs(x)), 0)));
  // Seamless: the step from the last sample to the first is one of those inside.
  const steps = left.map((x, i) => Math.abs(x - left[(i + 1) % left.length])).sort();
  check(left.length === 32000 && peak > 0.5 && peak < 0.9 && left.every(Number.isFinite) && Math.abs(left.at(-1) - left[0]) <= steps.at(-1),
    `the loop "${name}" is four seconds, finite, with a peak of ${peak.toFixed(2)}, and closes`);
}
finish();
