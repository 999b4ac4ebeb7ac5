// The engine as objects: parameters with their texts, whole sounds, the effect live and over recordings. Runs on a page, in
// a worklet and in Node alike; one instance of the module is one thread's.

import { type Exports, instantiate } from "./loader";

/** Names, ranges and texts of one parameter, as the host library tells them. */
export interface Parameter {
  index: number;
  id: number;
  name: string;
  title: string;
  symbol: string;
  /** Place in lists. */
  order: number;
  group: string;
  role: "main" | "advanced" | "internal" | "read-out" | "command";
  /** One line on what it does. */
  note: string;
  unit: string;
  /** A share of 1, which people read in percent. */
  isRatio: boolean;
  min: number;
  max: number;
  /** Number of values; 0: continuous. */
  steps: number;
  labels: string[];
  /** Position 0 to 1 of a preset that doesn't name it. */
  preferred: number;
  range: string;
  /** Index of the same knob on the other side; -1: there is none. */
  twin: number;
  inPresets: boolean;
}

export interface FactoryPreset {
  file: string;
  name: string;
  description: string;
  effect: string;
  json: string;
}

export interface Table {
  version: string;
  parameters: Parameter[];
  presets: FactoryPreset[];
  /** Semitones of each voice, by "HarmonizerChord". */
  chords: number[][];
}

/** A position 0 to 1 for each of the 228 parameters. */
export type Sound = Float32Array<ArrayBuffer>;
export const kParameterCount = 228;

/** What moves by itself, as `Instrument.live` copies it: see web/wasm/Instrument.h. */
export const Live = {
  voices: 0, prismelion: 1, primary: 2, lfoPhase: 3, lfoValue: 4, inputDb: 5, outputDb: 6, position: 7,
  taps: 8, spread: 24, count: 40,
} as const;

/** Something that a user can mend: the message is one sentence to be shown. */
export class PrismelError extends Error {
  override name = "PrismelError";
}

export class Engine {
  readonly exports: Exports;
  private known: Table | undefined;

  constructor(module: WebAssembly.Module) {
    this.exports = instantiate(module);
    this.exports.prismel_default_sound();
  }

  /** Bytes of the last reply. A worklet has no text decoder and hands these on. */
  replyBytes(): Uint8Array<ArrayBuffer> {
    const { memory, prismel_reply, prismel_reply_size } = this.exports;
    return new Uint8Array(memory.buffer, prismel_reply(), prismel_reply_size()).slice() as Uint8Array<ArrayBuffer>;
  }
  reply(): string {
    return new TextDecoder().decode(this.replyBytes());
  }

  private withText<Result>(text: string, use: (address: number, size: number) => Result): Result {
    const bytes = new TextEncoder().encode(text);
    const address = this.exports.prismel_allocate(bytes.length + 1);
    if (address === 0) throw new PrismelError("There is not enough memory for this.");
    try {
      new Uint8Array(this.exports.memory.buffer, address, bytes.length).set(bytes);
      return use(address, bytes.length);
    } finally {
      this.exports.prismel_free(address);
    }
  }

  /** All parameters and the factory presets. The same object each time: don't change it. */
  table(): Table {
    if (this.known === undefined) {
      if (!this.exports.prismel_table()) throw new PrismelError(this.reply());
      this.known = JSON.parse(this.reply()) as Table;
    }
    return this.known;
  }
  /** "250 Hz": the value at a position, as people write it. */
  text(index: number, position: number): string {
    return this.exports.prismel_text_of(index, position) ? this.reply() : "";
  }
  /** And back: "1.2 kHz", "70%", "comb". Throws PrismelError. */
  read(index: number, text: string): number {
    const position = this.withText(text, (address, size) => this.exports.prismel_read_text(index, address, size));
    if (position < 0) throw new PrismelError(this.reply());
    return position;
  }
  value(index: number, position: number): number {
    return this.exports.prismel_value_of(index, position);
  }
  position(index: number, value: number): number {
    return this.exports.prismel_position_of(index, value);
  }

  /** The sound that stands at the border, as a view that the next growing of the memory ends. */
  private sound(): Float32Array {
    return new Float32Array(this.exports.memory.buffer, this.exports.prismel_sound(), kParameterCount);
  }
  putSound(sound: Float32Array): void {
    this.sound().set(sound);
  }
  takeSound(): Sound {
    return this.sound().slice() as Sound;
  }
  /** A sound where everything stands at its preferred value. */
  defaultSound(): Sound {
    this.exports.prismel_default_sound();
    return this.takeSound();
  }
  /** A preset's text as a sound. Throws PrismelError with one sentence; names it doesn't know are warnings. */
  readPreset(json: string): { name: string; description: string; warnings: string[]; sound: Sound } {
    this.exports.prismel_default_sound();
    const good = this.withText(json, (address, size) => this.exports.prismel_read_preset(address, size));
    if (!good) throw new PrismelError(this.reply());
    return { ...JSON.parse(this.reply()), sound: this.takeSound() };
  }
  /** A preset's text, as `prismel` reads it. */
  writePreset(sound: Float32Array, name: string, description: string): string {
    this.putSound(sound);
    const about = JSON.stringify({ name, description });
    if (!this.withText(about, (address, size) => this.exports.prismel_write_preset(address, size))) {
      throw new PrismelError(this.reply());
    }
    return this.reply();
  }
}

/** The effect as it is played: any number of frames a call, `latency` frames late. Stereo. */
export class Instrument {
  private readonly handle: number;

  /** `isLive` keeps denormal numbers away, which changes bits far below hearing. Throws where it can't be made. */
  constructor(readonly engine: Engine, rate: number, readonly longest: number, sound: Float32Array, seed: number, isLive: boolean) {
    engine.putSound(sound);
    this.handle = engine.exports.prismel_open(rate, longest, 2, 2, seed, isLive ? 1 : 0);
    if (this.handle === 0) throw new PrismelError("The effect can't be made.");
  }
  close(): void {
    this.engine.exports.prismel_close(this.handle);
  }
  get latency(): number {
    return this.engine.exports.prismel_latency(this.handle);
  }

  /** Frames `begin` to `end` of the channels. A missing input channel is silence, of one channel both sides are made. */
  process(inputs: readonly Float32Array[], outputs: readonly Float32Array[], begin: number, end: number): void {
    const { exports } = this.engine;
    for (let at = begin; at < end; at += this.longest) {
      const count = Math.min(this.longest, end - at);
      // Views per call: when the memory grows, old ones lose theirs.
      for (let c = 0; c < 2; ++c) {
        const room = new Float32Array(exports.memory.buffer, exports.prismel_input(this.handle, c), count);
        const input = inputs[c] ?? inputs[0];
        if (input === undefined) room.fill(0);
        else if (at === 0 && input.length === count) room.set(input);
        else room.set(input.subarray(at, at + count));
      }
      exports.prismel_process(this.handle, count);
      for (let c = 0; c < Math.min(outputs.length, 2); ++c) {
        outputs[c]!.set(new Float32Array(exports.memory.buffer, exports.prismel_output(this.handle, c), count), at);
      }
    }
  }

  write(index: number, position: number): void {
    this.engine.exports.prismel_write(this.handle, index, position);
  }
  /** A whole sound; what rings is cut, as when a preset is loaded. */
  writeSound(sound: Float32Array): void {
    this.engine.putSound(sound);
    this.engine.exports.prismel_write_sound(this.handle);
  }
  readSound(): Sound {
    this.engine.exports.prismel_read_sound(this.handle);
    return this.engine.takeSound();
  }
  step(index: number, position: number, offset: number): void {
    this.engine.exports.prismel_step(this.handle, index, position, offset);
  }
  ramp(index: number, position: number, from: number, offset: number): void {
    this.engine.exports.prismel_ramp(this.handle, index, position, from, offset);
  }
  /** NaN leaves tempo or position as they are. */
  time(tempo: number, isPlaying: boolean, position = NaN): void {
    this.engine.exports.prismel_time(this.handle, tempo, isPlaying ? 1 : 0, position);
  }
  panic(): void {
    this.engine.exports.prismel_panic(this.handle);
  }
  live(target: Float32Array): void {
    const { exports } = this.engine;
    target.set(new Float32Array(exports.memory.buffer, exports.prismel_live(this.handle), Live.count));
  }
}

export interface RenderOptions {
  sampleRate: number;
  /** One or two channels of equal length. */
  channels: readonly Float32Array[];
  sound: Float32Array;
  /** Seconds; absent: until the sound has died away, a minute at most. */
  tail?: number;
  /** Quarter notes a minute; absent: 120. */
  tempo?: number;
  /** Two channels out of a mono input. */
  stereo?: boolean;
}

/** A recording through the effect: the samples of `prismel render`, channel by channel. Yields frames done. */
export function* renderSteps(engine: Engine, options: RenderOptions): Generator<number, Float32Array<ArrayBuffer>[]> {
  const { exports } = engine;
  const kPiece = 16384;
  const inputs = options.channels.length;
  const outputs = inputs === 1 && options.stereo ? 2 : inputs;
  const length = options.channels[0]?.length ?? 0;
  engine.putSound(options.sound);
  const render = exports.prismel_render_open(options.sampleRate, kPiece, inputs, outputs, options.tail ?? -1, options.tempo ?? 120);
  if (render === 0) throw new PrismelError(engine.reply());
  try {
    const pieces: Float32Array[] = [];
    let total = 0;
    const take = (answer: number): number => {
      if (answer < 0) throw new PrismelError(engine.reply());
      const frames = exports.prismel_render_frames(render);
      pieces.push(new Float32Array(exports.memory.buffer, exports.prismel_render_output(render), frames * outputs).slice());
      total += frames;
      return answer;
    };
    for (let at = 0; at < length; at += kPiece) {
      const count = Math.min(kPiece, length - at);
      options.channels.forEach((channel, c) => {
        new Float32Array(exports.memory.buffer, exports.prismel_render_input(render, c), count).set(channel.subarray(at, at + count));
      });
      take(exports.prismel_render_feed(render, count));
      yield total;
    }
    exports.prismel_render_end(render);
    while (take(exports.prismel_render_tail(render, kPiece)) === 0) yield total;
    const result = Array.from({ length: outputs }, () => new Float32Array(total));
    let at = 0;
    for (const piece of pieces) {
      const frames = piece.length / outputs;
      for (let c = 0; c < outputs; ++c) {
        const channel = result[c]!;
        for (let i = 0; i < frames; ++i) channel[at + i] = piece[i * outputs + c]!;
      }
      at += frames;
    }
    return result;
  } finally {
    exports.prismel_render_close(render);
  }
}

/** The same in one go. */
export function render(engine: Engine, options: RenderOptions): Float32Array<ArrayBuffer>[] {
  const steps = renderSteps(engine, options);
  for (;;) {
    const step = steps.next();
    if (step.done) return step.value;
  }
}
