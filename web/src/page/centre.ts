// The middle: the one knob that the effect is about, inside the picture of its voices.

import { Live } from "../engine";
import { element } from "./dom";
import { Knob } from "./knob";
import type { Page } from "./main";
import { effectOf, firstKnobs, type Panel } from "./panels";
import { Picture, type Scene } from "./picture";

export function makeCentre(page: Page): Panel {
  const { store, knob, player } = page;
  const canvas = element("canvas", { role: "img", "aria-label": "The voices' delays, left and right, and their spread" });
  const picture = new Picture(canvas);
  const repaint = () => { picture.readColours(); showVoices(); };
  matchMedia("(prefers-color-scheme: light)").addEventListener("change", repaint);
  document.documentElement.addEventListener("theme", repaint);

  const big = new Knob(store, knob("Prismel_Prismelion"), { size: "big", title: "Prismelion" });
  const voices = knob("Prismel_Voices");
  const dots = Array.from({ length: voices.steps }, (_, v) => element("span", { class: `dot voice-${v + 1}` }));
  const slider = element("input", {
    type: "range", min: 1, max: voices.steps, step: 1, "aria-label": "Voices", "aria-description": voices.note,
    oninput: () => store.set(voices.index, (Number(slider.value) - 1) / (voices.steps - 1)),
  });
  const showVoices = () => {
    const count = Math.round(store.get(voices.index) * (voices.steps - 1)) + 1;
    slider.value = String(count);
    slider.setAttribute("aria-valuetext", `${count} on each side`);
    dots.forEach((dot, v) => dot.classList.toggle("on", v < count));
  };

  const scene: Scene = { live: player.live, ticks: [], axis: "Spread", range: "", longestMs: 16.5 };
  const detune = knob("Prismel_Detune");
  const showAxis = () => {
    const name = firstKnobs[effectOf(page)];
    if (name === undefined) {
      Object.assign(scene, { ticks: [], axis: "Spread", range: "no effect: plain voices" });
      return;
    }
    const parameter = knob(name);
    scene.axis = parameter.title;
    scene.range = `${page.engine.text(parameter.index, 0)} – ${page.engine.text(parameter.index, 1)}`;
    const marks = parameter.unit === "Hz" ? [20, 100, 1000, 10000, 20000]
      : parameter.unit === "dB" ? [-14, 0, 12, 24, 36] : parameter.unit === "x" ? [1, 5, 20, 80] : [0, 50, 200, 700, 1500];
    scene.ticks = marks.filter((value) => value >= parameter.min && value <= parameter.max).map((value) => {
      const position = page.engine.position(parameter.index, value);
      return { position, text: page.engine.text(parameter.index, position) };
    });
  };
  scene.longestMs = Math.max(1, page.engine.value(detune.index, 1));
  const effect = knob("Prismel_FXType").index;
  store.listen((change) => {
    if (change.kind === "sound" || (change.kind === "knob" && change.index === effect)) showAxis();
    if (change.kind === "sound" || (change.kind === "knob" && change.index === voices.index)) showVoices();
  });
  showAxis();
  showVoices();

  const root = element("section", { class: "centre", "aria-label": "Prismelion and voices" }, canvas, big.root,
    element("div", { class: "voices", "data-note": voices.note }, element("span", {}, "Voices"),
      element("div", { class: "dots" }, ...dots, slider),
      element("button", { type: "button", class: "link", "data-note": "silences what rings", onclick: () => player.node?.panic() }, "Panic")));
  return {
    root,
    draw(live) {
      big.modulate(live[Live.prismelion]!);
      picture.draw(scene);
    },
  };
}
