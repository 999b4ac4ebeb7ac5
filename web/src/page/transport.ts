// What goes in and what comes out: play, loops, file, microphone, tempo, render.

import { PrismelError, renderSteps } from "../engine";
import { writeWav } from "../wav";
import { element, icon, icons } from "./dom";
import { loadPresetFile, saveFile } from "./header";
import { loops } from "./loops";
import type { Page } from "./main";
import type { Source } from "./player";

const kLargestFile = 512 << 20;

export function makeTransport(page: Page): HTMLElement {
  const { player, store, attempt, say } = page;
  const play = element("button", { type: "button", id: "play", class: "main", onclick: () => toggle() });
  const show = () => {
    play.replaceChildren(icon(player.isPlaying ? icons.stop : icons.play) as unknown as HTMLElement, player.isPlaying ? "Stop" : "Play");
    play.setAttribute("aria-pressed", String(player.isPlaying));
    for (const [key, label] of labels) label.classList.toggle("on", key === keyOf(player.source));
  };
  const toggle = () => attempt(async () => {
    if (player.isPlaying) player.stop();
    else await player.play();
  }).then(show);

  const keyOf = (source: Source) => source.kind === "loop" ? `loop ${source.number}` : source.kind;
  /** A source that can't be had leaves the one that plays. */
  const use = (source: Source) => attempt(async () => {
    const before = player.source;
    player.source = source;
    try {
      await player.play();
    } catch (error) {
      player.source = before;
      throw error;
    } finally {
      show();
    }
  });
  const labels = new Map<string, HTMLElement>();
  const chip = (key: string, act: () => void, ...content: (Node | string)[]) => {
    const made = element("button", { type: "button", class: "chip", onclick: act }, ...content);
    labels.set(key, made);
    return made;
  };
  const takeFile = (file: File) => attempt(async () => {
    if (/\.json$/i.test(file.name)) return loadPresetFile(page, file);
    if (file.size > kLargestFile) throw new PrismelError(`"${file.name}" is too large for a browser; the prismel command takes files of any length.`);
    fileName.textContent = file.name;
    const before = player.source;
    await use({ kind: "file", name: file.name, bytes: await file.arrayBuffer() });
    if (player.source === before) fileName.textContent = before.kind === "file" ? before.name : "File …";
  });
  const fileName = element("span", { class: "file-name" }, "File …");
  const choose = element("input", {
    type: "file", accept: "audio/*,.wav,.flac,.mp3,.ogg,.m4a,.aif,.aiff", hidden: true, "aria-label": "Audio file",
    onchange: () => {
      const file = choose.files?.[0];
      choose.value = "";
      if (file !== undefined) void takeFile(file);
    },
  });
  const body = document.body;
  body.addEventListener("dragover", (event) => { event.preventDefault(); body.classList.add("dropping"); });
  body.addEventListener("dragleave", (event) => { if (event.relatedTarget === null) body.classList.remove("dropping"); });
  body.addEventListener("drop", (event) => {
    event.preventDefault();
    body.classList.remove("dropping");
    const file = event.dataTransfer?.files[0];
    if (file !== undefined) void takeFile(file);
  });

  const tempo = element("input", {
    type: "number", min: 20, max: 400, step: 1, value: player.tempo, "aria-label": "Tempo, beats per minute",
    onchange: () => {
      const value = Number(tempo.value);
      if (value >= 1 && value <= 1000) player.setTempo(value);
      else {
        say("The tempo lies between 1 and 1000 beats a minute.");
        tempo.value = String(player.tempo);
      }
    },
  });

  let isRendering = false;
  const renderButton = element("button", { type: "button", class: "chip", "data-note": "the source through the effect into a WAV file of 32-bit floats, with the samples of `prismel render`" },
    icon(icons.save) as unknown as HTMLElement, element("span", {}, "Render WAV"));
  renderButton.addEventListener("click", () => attempt(async () => {
    if (isRendering) return;
    isRendering = true;
    const label = renderButton.lastElementChild!;
    try {
      const { channels, sampleRate, name } = await player.recording();
      const steps = renderSteps(page.engine, { sampleRate, channels, sound: store.sound, tempo: player.tempo, stereo: true });
      const length = channels[0]!.length;
      let pause = performance.now();
      for (;;) {
        const step = steps.next();
        if (step.done) {
          const stem = name.replace(/\.[^.]*$/, "");
          saveFile(`${stem} - ${store.name || "prismel"}.wav`, writeWav(step.value, sampleRate), "audio/wav");
          say(`Rendered ${(step.value[0]!.length / sampleRate).toFixed(1)} seconds.`, false);
          break;
        }
        if (performance.now() - pause < 12) continue;
        label.textContent = step.value < length ? `${Math.floor(100 * step.value / length)} %` : "Tail …";
        await new Promise((resolve) => setTimeout(resolve));
        pause = performance.now();
      }
    } finally {
      isRendering = false;
      label.textContent = "Render WAV";
    }
  }));

  const sources = element("div", { class: "sources", role: "group", "aria-label": "Source" },
    ...loops.map(({ name }, number) => chip(`loop ${number}`, () => use({ kind: "loop", number }), name)),
    chip("file", () => choose.click(), icon(icons.file) as unknown as HTMLElement, fileName),
    chip("microphone", () => use({ kind: "microphone" }), icon(icons.mic) as unknown as HTMLElement, element("span", {}, "Microphone")));
  show();
  return element("section", { class: "transport", "aria-label": "Sound" }, play, sources,
    element("label", { class: "tempo" }, tempo, "bpm"), renderButton, choose);
}
