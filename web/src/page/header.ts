// Name, preset, A/B, the way back, menu, on and off.

import { PrismelError } from "../engine";
import { element, icon, icons } from "./dom";
import type { Page } from "./main";

function button(title: string, drawing: string, act: () => void, attributes: Record<string, string> = {}): HTMLButtonElement {
  return element("button", { type: "button", class: "plain", title, "aria-label": title, onclick: act, ...attributes }, icon(drawing) as unknown as HTMLElement);
}

/** A file to the user's downloads. */
export function saveFile(name: string, bytes: BlobPart, type: string): void {
  const url = URL.createObjectURL(new Blob([bytes], { type }));
  element("a", { href: url, download: name }).click();
  setTimeout(() => URL.revokeObjectURL(url), 10000);
}

const fileName = (name: string) => name.trim().toLowerCase().replace(/[^\p{L}\p{N}]+/gu, "-").replace(/^-|-$/g, "") || "prismel";

export function makeHeader(page: Page): HTMLElement {
  const { store, table, attempt, say } = page;
  const presets = table.presets;
  const name = element("strong");
  const line = element("small");
  const open = element("button", { type: "button", class: "preset", "aria-haspopup": "dialog", onclick: () => showList() }, name, line);
  const step = (by: number) => attempt(() => {
    const now = presets.findIndex((p) => p.name === store.name);
    store.load(presets[(now + by + presets.length) % presets.length]!.json);
  });

  const list = element("dialog", { class: "list", "aria-label": "Presets" });
  function showList(): void {
    const filter = element("input", { type: "text", placeholder: "Find", "aria-label": "Find a preset" });
    const rows = presets.map((preset) => {
      const row = element("button", {
        type: "button", "aria-current": preset.name === store.name ? "true" : "false",
        onclick: () => { list.close(); void attempt(() => { store.load(preset.json); }); },
      }, element("strong", {}, preset.name), element("em", {}, preset.effect), element("small", {}, preset.description));
      return { row, text: `${preset.name} ${preset.effect} ${preset.description}`.toLowerCase() };
    });
    filter.addEventListener("input", () => {
      for (const { row, text } of rows) row.hidden = !text.includes(filter.value.trim().toLowerCase());
    });
    list.replaceChildren(filter, element("div", { class: "rows" }, ...rows.map(({ row }) => row)));
    list.showModal();
    rows.find(({ row }) => row.getAttribute("aria-current") === "true")?.row.scrollIntoView({ block: "center" });
  }

  const choose = element("input", {
    type: "file", accept: ".json,application/json", hidden: true, "aria-label": "Preset file",
    onchange: () => attempt(async () => {
      const file = choose.files?.[0];
      choose.value = "";
      if (file !== undefined) await loadPresetFile(page, file);
    }),
  });
  const save = element("dialog", { class: "save", "aria-label": "Save preset" });
  function showSave(): void {
    const title = element("input", { type: "text", required: true, maxlength: 80, value: store.name });
    const about = element("input", { type: "text", maxlength: 160, value: store.description });
    save.replaceChildren(element("form", {
      method: "dialog",
      onsubmit: () => attempt(() => {
        const text = store.save(title.value.trim() || "Untitled", about.value.trim());
        saveFile(`${fileName(title.value)}.json`, text, "application/json");
        say("The preset was saved as a file; the command reads it, too: prismel render -P FILE.", false);
      }),
    },
      element("h2", {}, "Save preset"), element("label", {}, "Name", title), element("label", {}, "In one line", about),
      element("div", { class: "row" },
        element("button", { type: "button", onclick: () => save.close() }, "Cancel"),
        element("button", { type: "submit", class: "main" }, "Save file"))));
    save.showModal();
    title.select();
  }

  const themes = ["system", "dark", "light"] as const;
  let theme = 0;
  const more = element("dialog", { class: "more", "aria-label": "Menu" });
  function showMore(): void {
    const entry = (text: string, act: () => void) => element("button", { type: "button", onclick: () => { more.close(); act(); } }, text);
    more.replaceChildren(
      entry("Save preset to a file …", showSave),
      entry("Load preset from a file …", () => choose.click()),
      entry(`Copy this sound to ${store.slot === "A" ? "B" : "A"}`, () => store.copyToOtherSlot()),
      entry("Silence what rings", () => page.player.node?.panic()),
      entry(`Colours: ${themes[theme]}`, () => {
        theme = (theme + 1) % themes.length;
        if (theme === 0) delete document.documentElement.dataset["theme"];
        else document.documentElement.dataset["theme"] = themes[theme]!;
        document.documentElement.dispatchEvent(new Event("theme"));
      }),
      element("p", {}, `PRISMEL ${table.version}. Everything runs on this machine; nothing is sent anywhere.`));
    more.showModal();
  }
  for (const dialog of [list, save, more]) {
    dialog.addEventListener("click", (event) => { if (event.target === dialog) dialog.close(); });
  }

  const slots = element("button", { type: "button", class: "slots", title: "Switch between two sounds", onclick: () => store.switchSlot() });
  const undo = button("Undo", icons.undo, () => store.undo());
  const redo = button("Redo", icons.redo, () => store.redo());
  const power = button("Bypass", icons.power, () => store.set(store.bypass, store.get(store.bypass) > 0.5 ? 0 : 1), { class: "plain power" });
  const show = () => {
    name.textContent = (store.name || "Untitled") + (store.isModified ? " *" : "");
    line.textContent = store.description;
    open.setAttribute("aria-label", `Preset ${store.name || "untitled"}${store.isModified ? ", changed" : ""}: choose another`);
    slots.replaceChildren(...(["A", "B"] as const).map((slot) => element("span", { class: slot === store.slot ? "on" : "" }, slot)));
    slots.setAttribute("aria-label", `Sound ${store.slot}: switch to the other`);
    undo.disabled = !store.canUndo;
    redo.disabled = !store.canRedo;
    const isOff = store.get(store.bypass) > 0.5;
    power.classList.toggle("on", !isOff);
    power.setAttribute("aria-pressed", String(isOff));
    document.body.classList.toggle("bypassed", isOff);
  };
  store.listen((change) => { if (change.kind !== "knob" || change.index === store.bypass) show(); });
  store.listen((change) => { if (change.kind === "knob") name.textContent = (store.name || "Untitled") + (store.isModified ? " *" : ""); });
  show();

  return element("header", {},
    element("h1", {}, "PRISMEL"),
    element("nav", { class: "presets" }, button("Previous preset", icons.left, () => step(-1)), open, button("Next preset", icons.right, () => step(1))),
    element("div", { class: "tools" }, slots, undo, redo,
      button("Copy this sound to the other slot", icons.copy, () => { store.copyToOtherSlot(); say(`Copied to ${store.slot === "A" ? "B" : "A"}.`, false); }),
      button("Menu", icons.more, showMore), power),
    list, save, more, choose);
}

/** A preset that somebody dropped or chose. Throws PrismelError, and then nothing has changed. */
export async function loadPresetFile(page: Page, file: File): Promise<void> {
  if (file.size > 1 << 20) throw new PrismelError(`"${file.name}" is too large for a preset; presets are JSON files of a few kilobytes.`);
  let warnings: string[];
  try {
    warnings = page.store.load(await file.text());
  } catch (error) {
    throw error instanceof PrismelError ? new PrismelError(error.message.replace('"this preset"', `"${file.name}"`)) : error;
  }
  page.say(warnings.length > 0 ? warnings.join(" ") : `Loaded "${page.store.name}".`, warnings.length > 0);
}
