// The harmonizer's chord as notes: a voice each, in its colour, over lines an octave apart. Voices that are off are hollow.

import { shape } from "./dom";
import type { Page } from "./main";

const kLow = -26, kHigh = 26;  // semitones

export function makeChord({ store, table, knob }: Page): SVGElement {
  const chord = knob("Prismel_HarmonizerChord"), voices = knob("Prismel_Voices");
  const root = shape("svg", { viewBox: "0 0 100 92", class: "chord", role: "img" });
  const y = (semitones: number) => 86 - 80 * (semitones - kLow) / (kHigh - kLow);
  const show = () => {
    const number = Math.round(store.get(chord.index) * (chord.steps - 1));
    const count = Math.round(store.get(voices.index) * (voices.steps - 1)) + 1;
    const notes = table.chords[number] ?? [];
    root.setAttribute("aria-label", `${chord.labels[number]}: ${notes.slice(0, count).map((n) => (n > 0 ? `+${n}` : String(n))).join(", ")} semitones`);
    root.replaceChildren(
      ...[-24, -12, 0, 12, 24].map((octave) => shape("path", { class: octave === 0 ? "line zero" : "line", d: `M4 ${y(octave)}H96` })),
      ...notes.map((semitones, v) => shape("circle", {
        class: `note voice-${v + 1}${v < count ? " on" : ""}`, cx: 11.5 + 11 * v, cy: y(semitones), r: 4,
      })));
  };
  store.listen((change) => {
    if (change.kind === "sound" || (change.kind === "knob" && (change.index === chord.index || change.index === voices.index))) show();
  });
  show();
  return root;
}
