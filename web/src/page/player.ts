// What is heard: a loop, a file or the microphone, through the effect, to the loudspeakers.

import { PrismelError, Live } from "../engine";
import { Prismel, type Parts } from "../node";
import type { Store } from "./store";
import { kLoopRate, loops } from "./loops";
import { sniffRate } from "./sniff";

export type Source =
  | { kind: "loop"; number: number }
  | { kind: "file"; name: string; bytes: ArrayBuffer }
  | { kind: "microphone" };

export class Player {
  context: AudioContext | undefined;
  node: Prismel | undefined;
  isPlaying = false;
  source: Source = { kind: "loop", number: 0 };
  tempo = 120;
  readonly live = new Float32Array(Live.count);
  quanta = 0;
  missed = 0;
  onlive: (() => void) | undefined;
  private playing: AudioNode | undefined;
  private stream: MediaStream | undefined;
  private buffers = new Map<string, AudioBuffer>();
  private starting: Promise<void> | undefined;

  constructor(private readonly store: Store, private readonly parts: Parts) {
    store.listen((change) => {
      if (change.kind === "knob") this.node?.set(change.index, change.position);
      if (change.kind === "sound") this.node?.setSound(store.sound);
    });
  }

  /** The context and the node, made by the first press: browsers keep a page silent until then. */
  private async open(): Promise<void> {
    if (this.node !== undefined) {
      await this.context!.resume();
      return;
    }
    if (typeof AudioContext === "undefined") throw new PrismelError("This browser can't play sound: it has no Web Audio.");
    const context = new AudioContext({ latencyHint: "interactive" });
    try {
      const node = await Prismel.create(context, this.parts, { tempo: this.tempo, sound: this.store.sound });
      node.connect(context.destination);
      node.watch(true);
      node.onlive = ({ numbers, quanta, missed }) => {
        this.live.set(numbers);
        this.quanta = quanta;
        this.missed = missed;
        this.onlive?.();
      };
      this.context = context;
      this.node = node;
      // Not waited for: where a browser wants another press, the promise stays open.
      void context.resume();
    } catch (error) {
      void context.close();
      throw error;
    }
  }

  /** Begins with the source that is chosen. Throws PrismelError. */
  async play(): Promise<void> {
    this.starting ??= this.open().finally(() => { this.starting = undefined; });
    await this.starting;
    const next = await this.makeSource();
    this.hush();
    next.connect(this.node!);
    this.node!.setTime(this.tempo, true, 0);
    if (next instanceof AudioBufferSourceNode) next.start();
    this.playing = next;
    this.isPlaying = true;
  }
  stop(): void {
    this.hush();
    this.isPlaying = false;
    this.node?.setTime(this.tempo, false);
  }
  private hush(): void {
    this.playing?.disconnect();
    if (this.playing instanceof AudioBufferSourceNode) this.playing.stop();
    this.playing = undefined;
    for (const track of this.stream?.getTracks() ?? []) track.stop();
    this.stream = undefined;
  }
  setTempo(tempo: number): void {
    this.tempo = tempo;
    this.node?.setTime(tempo, this.isPlaying);
    if (this.playing instanceof AudioBufferSourceNode && this.source.kind === "loop") this.playing.playbackRate.value = 1;
  }

  private async makeSource(): Promise<AudioNode> {
    const context = this.context!;
    const { source } = this;
    if (source.kind === "microphone") {
      const devices = navigator.mediaDevices as MediaDevices | undefined;
      if (devices === undefined) throw new PrismelError("Browsers offer the microphone on secure pages only: open this one over https, from localhost or as a file.");
      try {
        // A voice call's helpers would fight the effect.
        this.stream = await devices.getUserMedia({ audio: { echoCancellation: false, noiseSuppression: false, autoGainControl: false } });
      } catch (error) {
        const { name } = error as DOMException;
        throw new PrismelError(name === "NotAllowedError" ? "The microphone isn't allowed for this page; allow it in the browser's address bar."
          : name === "NotFoundError" ? "No microphone is connected."
          : "The microphone can't be opened; another program may hold it.");
      }
      return context.createMediaStreamSource(this.stream);
    }
    const key = source.kind === "loop" ? `loop ${source.number}` : `file ${source.name}`;
    let buffer = this.buffers.get(key);
    if (buffer === undefined) {
      if (source.kind === "loop") {
        const channels = loops[source.number]!.make(kLoopRate);
        buffer = context.createBuffer(2, channels[0].length, kLoopRate);
        channels.forEach((channel, c) => buffer!.copyToChannel(channel, c));
      } else {
        buffer = await decode(context, source.name, source.bytes);
      }
      this.buffers.set(key, buffer);
    }
    const node = context.createBufferSource();
    node.buffer = buffer;
    node.loop = true;
    return node;
  }

  /** Level of the source as samples at its own rate, for a render. Throws PrismelError. */
  async recording(): Promise<{ channels: Float32Array<ArrayBuffer>[]; sampleRate: number; name: string }> {
    const { source } = this;
    if (source.kind === "microphone") throw new PrismelError("A render needs a loop or a file: the microphone has no end.");
    if (source.kind === "loop") {
      const { name, make } = loops[source.number]!;
      return { channels: make(kLoopRate), sampleRate: kLoopRate, name };
    }
    // At the file's own rate: a context at another one would resample it.
    const rate = sniffRate(new Uint8Array(source.bytes)) ?? this.context?.sampleRate ?? 48000;
    const buffer = await decode(new OfflineAudioContext(1, 1, rate), source.name, source.bytes);
    const count = Math.min(buffer.numberOfChannels, 2);
    const channels = Array.from({ length: count }, (_, c) => buffer.getChannelData(c) as Float32Array<ArrayBuffer>);
    return { channels, sampleRate: rate, name: source.name };
  }
}

/** Throws PrismelError where it isn't audio. */
export async function decode(context: BaseAudioContext, name: string, bytes: ArrayBuffer): Promise<AudioBuffer> {
  try {
    return await context.decodeAudioData(bytes.slice(0));
  } catch {
    throw new PrismelError(`"${name}" isn't audio that this browser can read; WAV, FLAC, MP3 and Ogg are.`);
  }
}
