// The panels around the middle: which effect, how much, what moves it, and the rest.

import { Live, type Parameter } from "../engine";
import { Choice, makeMenu } from "./choice";
import { makeChord } from "./chord";
import { element, icon, shape } from "./dom";
import { Knob } from "./knob";
import type { Page } from "./main";
import { Wave } from "./wave";

export interface Panel {
  root: HTMLElement;
  draw(live: Float32Array, now: number): void;
}

/** By the value of "FXType": the knob that the voices spread, and the second one. */
export const firstKnobs = [undefined, "Prismel_BandpassCutoff", "Prismel_CombCutoff", "Prismel_BitCrusherDownsample",
  "Prismel_DistortionDrive", "Prismel_HarmonizerSpray"] as const;
const secondKnobs = [undefined, "Prismel_BandpassResonance", "Prismel_CombResonance", "Prismel_BitCrusherBitDepth",
  "Prismel_DistortionAlgorithm", "Prismel_HarmonizerChord"] as const;
const pictures = ["M5 12h14", "M3 18c5 0 6-11 9-11s4 11 9 11", "M5 6v13 M10 9v10 M15 11.500v7.500 M20 14v5",
  "M3 18h4v-5h4v-4h4V6h5", "M3 18c9 0 6-12 18-12", "M6 11v8 M12 5v14 M18 8v11"];
const kHarmonizer = 5;
/** Of "LFOShapeType" and "LFORateType": pictures, and the short words of the instrument's face. */
const waves = ["M3 12c3-10 6-10 9 0s6 10 9 0", "M3 12l4.500-7 9 14L21 12", "M3 19V5l9 14V5l9 14", "M3 12V6h6v12h6V6h6v6",
  "M3 14h4V8h5v9h4V6h5", "M3 13c2-8 4-7 5.500 0s3 6 4.500-3 3-4 4 1 2 6 4-2"];
const waveNames = ["Sine", "Triangle", "Saw", "Square", "Steps", "Drift"];
const rateNames = ["Hz", "Any note", "Straight", "Triplet", "Dotted"];

export function effectOf({ store, knob }: Page): number {
  const type = knob("Prismel_FXType");
  return Math.round(store.get(type.index) * (type.steps - 1));
}

const capital = (text: string) => text.charAt(0).toUpperCase() + text.slice(1);
/** "Comb pitch" in the comb's own panel is "Pitch". */
function short(parameter: Parameter): string {
  return capital(parameter.title.replace(/^(band-?pass|comb|(bit ?)?crusher|distortion|harmonizer|lfo)\s+/i, ""));
}

export function makeEffectPanel(page: Page): Panel {
  const { store, knob } = page;
  const type = knob("Prismel_FXType");
  const effects = new Choice(store, type, "Effect", "column", (value) => icon(pictures[value] ?? ""), capital);
  const pairs = firstKnobs.map((first, e) => {
    if (first === undefined) return undefined;
    const main = new Knob(store, knob(first), { title: short(knob(first)) });
    const second = knob(secondKnobs[e]!);
    const other = second.labels.length > 0 ? makeMenu(store, second, short(second)) : new Knob(store, second, { title: short(second) }).root;
    if (e === kHarmonizer) return { main, root: element("div", { class: "stack" }, element("div", { class: "pair" }, main.root, makeChord(page) as unknown as HTMLElement), other) };
    return { main, root: element("div", { class: second.labels.length > 0 ? "stack" : "pair" }, main.root, other) };
  });
  const place = element("div", { class: "place" });
  const hint = element("p", { class: "hint" });
  const show = () => {
    const pair = pairs[effectOf(page)];
    place.replaceChildren(...(pair ? [pair.root] : [element("p", { class: "empty" }, "Plain voices: delays that Prismelion sets moving.")]));
    hint.textContent = pair ? "the same for all voices, fanned out by Prismelion" : "";
  };
  store.listen((change) => {
    if (change.kind === "sound" || (change.kind === "knob" && change.index === type.index)) show();
  });
  show();
  return {
    root: element("section", { class: "panel effect", "aria-label": "Effect" }, effects.root, place, hint),
    draw(live) { pairs[effectOf(page)]?.main.modulate(live[Live.primary]!); },
  };
}

/** A meter with its number; colour says it again. */
const marks = [0, -6, -20, -40];
function makeMeter(title: string): { root: HTMLElement; show(db: number, now: number): void } {
  const bar = element("i"), held = element("b"), text = element("output", { "aria-hidden": "true" });
  const root = element("div", { class: "meter", role: "img", "aria-label": `${title} level` }, element("div", { class: "scale" }, bar, held),
    element("div", { class: "marks", "aria-hidden": "true" }, ...marks.map((db) => element("span", {}, String(db)))), text);
  root.querySelectorAll<HTMLElement>(".marks span").forEach((mark, i) => { mark.style.bottom = `${100 * (marks[i]! + 60) / 66}%`; });
  let peak = -80, until = 0, shown = "";
  return {
    root,
    show(db, now) {
      const share = Math.max(0, (db + 60) / 66);
      bar.style.transform = `scaleY(${share.toFixed(3)})`;
      if (db >= peak || now > until) {
        peak = db;
        until = now + 1500;
        held.style.bottom = `${(100 * Math.max(0, (db + 60) / 66)).toFixed(1)}%`;
        held.classList.toggle("seen", db > -60);
      }
      bar.className = db > 0 ? "hot" : db > -6 ? "warm" : "";
      const words = peak <= -60 ? "–∞" : peak.toFixed(0);
      if (words !== shown) text.textContent = shown = words;
    },
  };
}

export function makeLevelPanel(page: Page): Panel {
  const { store, knob, engine } = page;
  const input = makeMeter("Input"), output = makeMeter("Output");
  const highPass = knob("Prismel_HPFCutoff"), lowPass = knob("Prismel_LPFCutoff");
  const path = shape("path", { class: "set", d: "" });
  const curve = shape("svg", { viewBox: "0 0 200 44", class: "curve", preserveAspectRatio: "none", "aria-hidden": "true" }, path);
  /** Two second-order slopes over 20 Hz to 20 kHz, as the filters have them; 30 dB of height. */
  const showCurve = () => {
    const low = engine.value(highPass.index, store.get(highPass.index)), high = engine.value(lowPass.index, store.get(lowPass.index));
    let d = "";
    for (let i = 0; i <= 100; ++i) {
      const f = 20 * 1000 ** (i / 100);
      const hp = low <= 20.5 ? 1 : 1 / (1 + (low / f) ** 4), lp = high >= 19900 ? 1 : 1 / (1 + (f / high) ** 4);
      const db = 10 * Math.log10(hp * lp);
      d += `${i === 0 ? "M" : "L"}${2 * i} ${(5 - Math.max(-30, db) * 36 / 30).toFixed(1)}`;
    }
    path.setAttribute("d", d);
  };
  const feedback = new Knob(store, knob("Prismel_FeedbackDelayTime"), { title: "Feedback" });
  const showFeedback = () => feedback.dim(effectOf(page) === kHarmonizer ? "" : "is heard with the harmonizer only");
  store.listen((change) => {
    if (change.kind === "names") return;
    if (change.kind === "sound" || change.index === highPass.index || change.index === lowPass.index) showCurve();
    showFeedback();
  });
  showCurve();
  showFeedback();
  const wet = new Knob(store, knob("Prismel_Wet"), { title: "Wet" });
  const cell = (name: string, title: string) => new Knob(store, knob(name), { title, size: "small" }).root;
  return {
    root: element("section", { class: "panel levels", "aria-label": "Levels and filters" },
      element("div", { class: "meters" },
        element("div", { class: "side" }, input.root, cell("Prismel_InputGain", "In")),
        element("div", { class: "middle" }, wet.root, cell("Prismel_OutputGain", "Wet gain")),
        element("div", { class: "side" }, output.root, cell("OutputGain", "Out"))),
      curve as unknown as HTMLElement,
      element("div", { class: "three" }, cell("Prismel_HPFCutoff", "High-pass"), cell("Prismel_LPFCutoff", "Low-pass"), feedback.root)),
    draw(live, now) {
      input.show(live[Live.inputDb]!, now);
      output.show(live[Live.outputDb]!, now);
    },
  };
}

export function makeLfoPanel(page: Page): Panel {
  const { store, knob, engine } = page;
  const shapes = knob("LFOShapeType"), rates = knob("LFORateType");
  const canvas = element("canvas", { role: "img", "aria-label": "The LFO's wave and where it is" });
  const wave = new Wave(canvas);
  const free = knob("LFO_RateUnSynced"), all = knob("LFO_AllRateSynced"), synced = knob("LFO_RateSynced");
  const knobs = { free: new Knob(store, free, { title: "Rate" }), all: new Knob(store, all, { title: "Rate" }), synced: new Knob(store, synced, { title: "Rate" }) };
  const rate = element("div", { class: "rate" });
  const hint = element("p", { class: "hint" });
  const primary = element("div");
  const toPrismelion = new Knob(store, knob("LFOPrismelAmount"), { title: "to Prismelion" });
  const amounts = firstKnobs.map((name) => new Knob(store, knob("LFOPrimaryAmount"), { title: name === undefined ? "to effect" : `to ${short(knob(name))}` }));
  const show = () => {
    const kind = Math.round(store.get(rates.index) * (rates.steps - 1));
    rate.replaceChildren((kind === 0 ? knobs.free : kind === 1 ? knobs.all : knobs.synced).root);
    const effect = effectOf(page);
    const amount = amounts[effect]!;
    amount.dim(effect === 0 ? "there is no effect to move" : "");
    if (primary.firstChild !== amount.root) primary.replaceChildren(amount.root);
    const hz = engine.value(free.index, store.get(free.index));
    hint.textContent = kind === 0 ? `${hz < 1 ? `${(1 / hz).toFixed(1)} s` : `${Math.round(1000 / hz)} ms`} a cycle` : `of the song, at ${page.player.tempo} bpm`;
  };
  store.listen((change) => { if (change.kind !== "names") show(); });
  show();
  return {
    root: element("section", { class: "panel lfo", "aria-label": "LFO" },
      element("div", { class: "controls" }, element("h2", {}, "LFO"),
        new Choice(store, shapes, "Shape", "row waves", (value) => icon(waves[value] ?? ""), (text, value) => waveNames[value] ?? capital(text)).root,
        new Choice(store, rates, "Rate by", "row", undefined, (text, value) => rateNames[value] ?? capital(text)).root, hint),
      rate, canvas, element("div", { class: "pair" }, toPrismelion.root, primary)),
    draw(live) { wave.draw(Math.round(store.get(shapes.index) * (shapes.steps - 1)), live); },
  };
}

/** Everything else that a preset holds, by groups; made when it is first opened. */
export function makeAdvanced(page: Page): HTMLDetailsElement {
  const shownAbove = new Set(["Bypass", "Prismel_Prismelion", "Prismel_Voices", "Prismel_FXType", "Prismel_Wet", "Prismel_InputGain", "Prismel_OutputGain",
    "OutputGain", "Prismel_HPFCutoff", "Prismel_LPFCutoff", "Prismel_FeedbackDelayTime", "LFOShapeType", "LFORateType", "LFO_RateUnSynced",
    "LFO_RateSynced", "LFO_AllRateSynced", "LFOPrismelAmount", "LFOPrimaryAmount", ...firstKnobs, ...secondKnobs]);
  const details = element("details", { class: "panel advanced" }, element("summary", {}, "Advanced"));
  details.addEventListener("toggle", () => {
    if (details.childElementCount > 1) return;
    const groups = new Map<string, Parameter[]>();
    for (const parameter of [...page.table.parameters].sort((a, b) => a.order - b.order)) {
      if ((parameter.role !== "main" && parameter.role !== "advanced") || shownAbove.has(parameter.name)) continue;
      // Of two sides the left one stands for both.
      if (parameter.twin >= 0 && parameter.twin < parameter.index) continue;
      const name = parameter.twin >= 0 ? `${capital(parameter.group.replace(/^left\s+/i, ""))}, both sides` : parameter.group;
      const group = groups.get(name) ?? [];
      group.push(parameter);
      groups.set(name, group);
    }
    for (const [group, parameters] of groups) {
      details.append(element("section", { "aria-label": group }, element("h3", {}, group),
        element("div", { class: "grid" }, ...parameters.map((parameter) => {
          const title = parameter.twin >= 0 ? short(parameter).replace(/\s+L$/, "") : short(parameter);
          return parameter.labels.length > 2 ? makeMenu(page.store, parameter, title) : new Knob(page.store, parameter, { title, size: "small" }).root;
        }))));
    }
  });
  return details;
}
