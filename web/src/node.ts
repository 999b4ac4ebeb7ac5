// The effect as a node of the Web Audio API, for any context.

import { Engine, kParameterCount, Live, PrismelError, type Sound, type Table } from "./engine";
import { kProcessorName, type FromWorklet, type ToWorklet, type WorkletOptions } from "./protocol";

export interface PrismelOptions {
  /** Text of a preset, or the name of a factory preset. Absent: everything at its preferred value. */
  preset?: string;
  /** Positions of all parameters in place of a preset. */
  sound?: Float32Array;
  /** Which sequence of random elements; 0 (absent) is that of `prismel render`. */
  seed?: number;
  /** Quarter notes a minute; absent: 120. */
  tempo?: number;
}

/** What the package is made of at run time: the compiled module, and where the worklet's script lies. */
export interface Parts {
  module: WebAssembly.Module;
  /** Addresses of the same script, tried one after the other: a page without a server loads `data:` but not `blob:`. */
  scripts: readonly string[];
  /** The calling thread's engine, where there is one already. */
  engine?: Engine;
}

/** What the node shows of itself while it is watched; see `Live` for the numbers. */
export interface LiveReport {
  numbers: Float32Array;
  quanta: number;
  missed: number;
}

const loaded = new WeakMap<BaseAudioContext, Promise<void>>();

/** Loads the worklet's script into a context, once. Throws PrismelError. */
async function loadScript(context: BaseAudioContext, scripts: readonly string[]): Promise<void> {
  if (context.audioWorklet === undefined) {
    throw new PrismelError(
      globalThis.isSecureContext === false
        ? "Browsers offer audio worklets on secure pages only: open this one over https, from localhost or as a file."
        : "This browser has no audio worklets; every browser of the last years has.");
  }
  let reason: unknown;
  for (const script of scripts) {
    try {
      return await context.audioWorklet.addModule(script);
    } catch (error) {
      reason = error;
    }
  }
  throw new PrismelError("The browser didn't load the effect's worklet; serve the folder over http and open it from there.", { cause: reason });
}

/**
 * PRISMEL in an audio graph: stereo in, stereo out, `latency` frames late.
 *
 * Knobs are named as `prismel params` lists them, or by their flat index. Positions are 0 to 1 on the knob's own curve.
 */
export class Prismel extends AudioWorkletNode {
  /** Frames by which the output stands behind the input, its dry part included. */
  latency = 0;
  /** Called while `watch(true)`, about sixty times a second. */
  onlive: ((report: LiveReport) => void) | null = null;
  readonly table: Table;
  private readonly byName: Map<string, number>;
  private sound: Sound;

  private constructor(context: BaseAudioContext, readonly engine: Engine, table: Table, options: WorkletOptions) {
    super(context, kProcessorName, {
      numberOfInputs: 1, numberOfOutputs: 1, outputChannelCount: [2],
      channelCount: 2, channelCountMode: "explicit", processorOptions: options,
    });
    this.table = table;
    this.sound = options.sound.slice() as Sound;
    this.byName = new Map(table.parameters.map((p) => [p.name, p.index]));
  }

  /** A node in `context`, sounding as the options say from its first sample on. Throws PrismelError. */
  static async create(context: BaseAudioContext, parts: Parts, options: PrismelOptions = {}): Promise<Prismel> {
    if (!loaded.has(context)) loaded.set(context, loadScript(context, parts.scripts));
    try {
      await loaded.get(context);
    } catch (error) {
      loaded.delete(context);
      throw error;
    }
    const engine = parts.engine ?? new Engine(parts.module);
    const table = engine.table();
    let sound = (options.sound?.slice() ?? engine.defaultSound()) as Sound;
    if (options.preset !== undefined) {
      const named = table.presets.find((p) => p.name.toLowerCase() === options.preset!.toLowerCase() || p.file === options.preset);
      sound = engine.readPreset(named?.json ?? options.preset).sound;
    }
    const isLive = typeof OfflineAudioContext === "undefined" || !(context instanceof OfflineAudioContext);
    const node = new Prismel(context, engine, table, {
      module: parts.module, sound, seed: options.seed ?? 0, isLive, tempo: options.tempo ?? 120,
    });
    await new Promise<void>((resolve, reject) => {
      node.onprocessorerror = () => reject(new PrismelError("The effect can't be started in this context."));
      node.port.onmessage = (event: MessageEvent<FromWorklet>) => {
        const message = event.data;
        if (message.kind === "ready") {
          node.latency = message.latency;
          resolve();
        } else if (message.kind === "failed") {
          reject(new PrismelError(new TextDecoder().decode(message.bytes)));
        } else {
          node.onlive?.(message);
        }
      };
    });
    return node;
  }

  private send(message: ToWorklet): void {
    this.port.postMessage(message);
  }

  /** Flat index of a knob. Throws PrismelError. */
  indexOf(knob: string | number): number {
    const index = typeof knob === "number" ? knob : this.byName.get(knob) ?? this.byName.get(`Prismel_${knob}`) ?? this.byName.get(`LFO_${knob}`);
    if (index === undefined || !(index >= 0 && index < kParameterCount)) throw new PrismelError(`There is no parameter "${knob}".`);
    return index;
  }

  /** Position of a knob, as it was set. */
  get(knob: string | number): number {
    return this.sound[this.indexOf(knob)]!;
  }
  /** A position, or a value as people write it ("1.2 kHz", "comb"); heard within a few milliseconds. */
  set(knob: string | number, value: number | string): void {
    const index = this.indexOf(knob);
    const position = typeof value === "number" ? value : this.engine.read(index, value);
    this.sound[index] = position;
    this.send({ kind: "write", index, position });
  }
  /** The same at a moment of the context, to the effect's own block of about a millisecond. */
  setAt(knob: string | number, value: number | string, time: number): void {
    const index = this.indexOf(knob);
    const position = typeof value === "number" ? value : this.engine.read(index, value);
    this.sound[index] = position;
    this.send({ kind: "step", index, position, time });
  }
  /** In a straight line of knob travel, from where it stands at `from` (absent: now). */
  rampTo(knob: string | number, value: number | string, time: number, from = this.context.currentTime): void {
    const index = this.indexOf(knob);
    const position = typeof value === "number" ? value : this.engine.read(index, value);
    this.sound[index] = position;
    this.send({ kind: "ramp", index, position, from, time });
  }
  /** The knob's value as people write it. */
  text(knob: string | number): string {
    const index = this.indexOf(knob);
    return this.engine.text(index, this.sound[index]!);
  }

  /** The whole sound, and back; loading one cuts what rings. */
  getSound(): Sound {
    return this.sound.slice() as Sound;
  }
  setSound(sound: Float32Array): void {
    this.sound = sound.slice() as Sound;
    this.send({ kind: "sound", sound: this.sound });
  }
  /** Text of a preset, or the name of a factory preset. Throws PrismelError; answers what it didn't understand. */
  loadPreset(preset: string): string[] {
    const named = this.table.presets.find((p) => p.name.toLowerCase() === preset.toLowerCase() || p.file === preset);
    const { sound, warnings } = this.engine.readPreset(named?.json ?? preset);
    this.setSound(sound);
    return warnings;
  }
  /** A preset's text, as `prismel` reads it. */
  savePreset(name: string, description = ""): string {
    return this.engine.writePreset(this.sound, name, description);
  }

  /** Tempo and song of a host; without it the song runs at the tempo given first. Position in quarter notes. */
  setTime(tempo: number, isPlaying = true, position = NaN): void {
    this.send({ kind: "time", tempo, isPlaying, position });
  }
  /** Silences what rings. */
  panic(): void {
    this.send({ kind: "panic" });
  }
  watch(isWatched: boolean): void {
    this.send({ kind: "watch", isWatched });
  }
  /** The node is done: its memory is given back. */
  end(): void {
    this.disconnect();
    this.send({ kind: "end" });
  }
}

export { Live };
