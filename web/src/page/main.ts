// The page: the whole instrument.

import { Engine, PrismelError, type Parameter, type Table } from "../engine";
import { Prismel, type Parts } from "../node";
import { element, icon, icons } from "./dom";
import { Store } from "./store";
import { Player } from "./player";
import { kLoopRate, loops } from "./loops";
import { loadParts } from "./parts";
import { makeHeader } from "./header";
import { makeTransport } from "./transport";
import { makeEffectPanel, makeLevelPanel, makeLfoPanel, makeAdvanced, type Panel } from "./panels";
import { makeCentre } from "./centre";
import { Preview } from "./preview";

/** What every part of the page may use. */
export interface Page {
  engine: Engine;
  table: Table;
  store: Store;
  player: Player;
  parts: Parts;
  /** A parameter by its name; the table and the page are built together, so a missing one is a fault. */
  knob(name: string): Parameter;
  /** One sentence for everybody to see; empty takes it away. */
  say(sentence: string, isTrouble?: boolean): void;
  /** Runs something that may fail with a sentence. */
  attempt(work: () => Promise<void> | void): Promise<void>;
}

const kFirstPreset = "Glass Choir";

async function start(): Promise<void> {
  const app = document.getElementById("app")!;
  const message = element("p", { class: "message", role: "status", "aria-live": "polite" });
  app.append(message);
  let hiding = 0;
  const say = (sentence: string, isTrouble = true) => {
    clearTimeout(hiding);
    message.textContent = sentence;
    message.classList.toggle("shown", sentence !== "");
    message.classList.toggle("trouble", isTrouble);
    if (sentence !== "") hiding = window.setTimeout(() => say(""), 9000);
  };
  const attempt = async (work: () => Promise<void> | void) => {
    try {
      await work();
    } catch (error) {
      if (!(error instanceof PrismelError)) console.error(error);
      say(error instanceof PrismelError ? error.message : "Something went wrong that shouldn't: reload the page; your sound can be saved first.");
    }
  };

  if (typeof WebAssembly === "undefined" || typeof DecompressionStream === "undefined") {
    say("This browser is too old for PRISMEL; any browser since 2023 will do.");
    return;
  }
  const parts = await loadParts();
  const engine = new Engine(parts.module);
  parts.engine = engine;
  const table = engine.table();
  const byName = new Map(table.parameters.map((p) => [p.name, p]));
  const knob = (name: string): Parameter => {
    const found = byName.get(name);
    if (found === undefined) throw new Error(`no parameter ${name}`);
    return found;
  };
  const store = new Store(engine, table, knob("Bypass").index);
  store.load(table.presets.find((p) => p.name === kFirstPreset)!.json);
  store.settle();
  const player = new Player(store, parts);
  const page: Page = { engine, table, store, player, parts, knob, say, attempt };

  const effect = makeEffectPanel(page), centre = makeCentre(page), levels = makeLevelPanel(page), lfo = makeLfoPanel(page);
  const panels: Panel[] = [effect, centre, levels, lfo];
  const note = element("p", { class: "note", "aria-hidden": "true" });
  app.append(makeHeader(page), makeTransport(page), effect.root, centre.root, levels.root, lfo.root, makeAdvanced(page), note);

  // The line at the bottom tells what lies under the pointer or has the focus.
  const tell = (event: Event) => {
    const target = (event.target as Element).closest?.("[data-note]") as HTMLElement | null;
    note.textContent = target?.dataset["note"] ?? "";
  };
  for (const kind of ["pointerover", "focusin"]) app.addEventListener(kind, tell);
  app.addEventListener("sentence", (event) => say((event as CustomEvent<string>).detail));

  // Until sound runs, a small engine of the page's own keeps the picture alive.
  const preview = new Preview(page);
  let stamp = 0;
  let last = performance.now();
  player.onlive = () => { stamp = performance.now(); };
  const frame = (now: number) => {
    if (now - stamp > 400) preview.advance(Math.min(0.1, (now - last) / 1000), player.live);
    last = now;
    for (const panel of panels) panel.draw(player.live, now);
    requestAnimationFrame(frame);
  };
  requestAnimationFrame(frame);

  window.addEventListener("keydown", (event) => {
    const target = event.target as HTMLElement;
    if (target.matches("input[type=text], input[type=number], select, textarea") || document.querySelector("dialog[open]") !== null) return;
    const isCommand = event.ctrlKey || event.metaKey;
    if (event.key === " " && !target.matches("button, label, summary")) {
      event.preventDefault();
      document.querySelector<HTMLButtonElement>("#play")!.click();
    } else if (isCommand && event.key.toLowerCase() === "z") {
      event.preventDefault();
      if (event.shiftKey) store.redo();
      else store.undo();
    } else if (isCommand && event.key.toLowerCase() === "y") {
      event.preventDefault();
      store.redo();
    }
  });
  // The first loop, while nobody waits for it.
  setTimeout(() => loops[0]!.make(kLoopRate), 60);
  document.documentElement.dataset["ready"] = String(Math.round(performance.now()));
  // For tests and the curious: nothing of the page reads this.
  Object.assign(globalThis, { prismel: { ...page, Prismel } });
}

start().catch((error: unknown) => {
  console.error(error);
  document.getElementById("app")!.append(
    element("p", { class: "message shown trouble", role: "alert" }, icon(icons.power) as unknown as HTMLElement,
      error instanceof Error ? `PRISMEL can't start here: ${error.message}` : "PRISMEL can't start here."));
});
