// What is set: the sound with its name, two slots, the way back. Knows no page and no audio; tells who listens.

import type { Engine, Sound, Table } from "../engine";

interface Entry {
  sound: Sound;
  name: string;
  description: string;
  isModified: boolean;
}

export type Change =
  | { kind: "knob"; index: number; position: number }
  | { kind: "sound" }       // everything may be another
  | { kind: "names" };      // name, slot or history

const kDepth = 100;

export class Store {
  private now: Entry;
  private other: Entry;
  private back: Entry[] = [];
  private forward: Entry[] = [];
  private before: Entry | undefined;
  private readonly listeners: ((change: Change) => void)[] = [];
  slot: "A" | "B" = "A";

  constructor(readonly engine: Engine, readonly table: Table, readonly bypass: number) {
    this.now = { sound: engine.defaultSound(), name: "", description: "", isModified: false };
    this.other = this.copy(this.now);
  }

  listen(listener: (change: Change) => void): void {
    this.listeners.push(listener);
  }
  private tell(change: Change): void {
    for (const listener of this.listeners) listener(change);
  }
  private copy(entry: Entry): Entry {
    return { ...entry, sound: entry.sound.slice() as Sound };
  }

  get sound(): Sound { return this.now.sound; }
  get name(): string { return this.now.name; }
  get description(): string { return this.now.description; }
  get isModified(): boolean { return this.now.isModified; }
  get canUndo(): boolean { return this.back.length > 0; }
  get canRedo(): boolean { return this.forward.length > 0; }
  get(index: number): number { return this.now.sound[index]!; }
  /** As the instrument's face shows it: shares in percent, the rest as the table says. */
  text(index: number): string {
    const { isRatio, min } = this.table.parameters[index]!;
    if (!isRatio) return this.engine.text(index, this.get(index));
    const percent = Math.round(1000 * this.engine.value(index, this.get(index))) / 10;
    return `${min < 0 && percent > 0 ? "+" : ""}${Math.abs(percent) >= 10 ? Math.round(percent) : percent}%`;
  }

  /** Between these two lies one step of the history. */
  beginGesture(): void {
    this.before ??= this.copy(this.now);
  }
  endGesture(): void {
    if (this.before !== undefined && this.before.sound.some((x, i) => x !== this.now.sound[i])) this.leave(this.before);
    this.before = undefined;
    this.tell({ kind: "names" });
  }
  private leave(entry: Entry): void {
    this.back.push(entry);
    if (this.back.length > kDepth) this.back.shift();
    this.forward = [];
  }

  /** A knob that the other side has, too, moves on both. */
  set(index: number, position: number): void {
    position = Math.fround(Math.min(1, Math.max(0, position)));
    if (!(position === position) || position === this.now.sound[index]) return;
    const isAlone = this.before === undefined;
    if (isAlone) this.beginGesture();
    const { twin } = this.table.parameters[index]!;
    for (const moved of twin >= 0 ? [index, twin] : [index]) {
      this.now.sound[moved] = position;
      if (moved !== this.bypass) this.now.isModified = true;
      this.tell({ kind: "knob", index: moved, position });
    }
    if (isAlone) this.endGesture();
  }

  private become(entry: Entry): void {
    const bypass = this.now.sound[this.bypass]!;
    this.now = entry;
    this.now.sound[this.bypass] = bypass;
    this.tell({ kind: "sound" });
    this.tell({ kind: "names" });
  }
  /** A preset's text. Throws PrismelError with a sentence, and then nothing has changed; answers what it didn't know. */
  load(json: string): string[] {
    const { name, description, warnings, sound } = this.engine.readPreset(json);
    this.leave(this.copy(this.now));
    this.become({ sound, name, description, isModified: false });
    return warnings;
  }
  save(name: string, description: string): string {
    const json = this.engine.writePreset(this.now.sound, name, description);
    Object.assign(this.now, { name, description, isModified: false });
    this.tell({ kind: "names" });
    return json;
  }
  undo(): void {
    const entry = this.back.pop();
    if (entry === undefined) return;
    this.forward.push(this.copy(this.now));
    this.become(entry);
  }
  redo(): void {
    const entry = this.forward.pop();
    if (entry === undefined) return;
    this.back.push(this.copy(this.now));
    this.become(entry);
  }
  switchSlot(): void {
    const entry = this.other;
    this.other = this.copy(this.now);
    this.slot = this.slot === "A" ? "B" : "A";
    this.become(entry);
  }
  copyToOtherSlot(): void {
    this.other = this.copy(this.now);
    this.tell({ kind: "names" });
  }
  /** Both slots are as now: for the start. */
  settle(): void {
    this.other = this.copy(this.now);
    this.back = [];
    this.forward = [];
    this.tell({ kind: "names" });
  }
}
