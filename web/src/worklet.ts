// The effect inside an audio worklet. Says what it costs and shows what moves, about sixty times a second while watched.

import { Engine, Instrument, Live } from "./engine";
import { kProcessorName, type FromWorklet, type ToWorklet, type WorkletOptions } from "./protocol";

class PrismelProcessor extends AudioWorkletProcessor {
  private instrument: Instrument | undefined;
  private readonly live = new Float32Array(Live.count);
  private isWatched = false;
  private nextReport = 0;
  private nextFrame = -1;
  private quanta = 0;
  private missed = 0;
  private isDone = false;

  constructor(options: { processorOptions: WorkletOptions }) {
    super();
    const { module, sound, seed, isLive, tempo } = options.processorOptions;
    this.port.onmessage = (event: MessageEvent<ToWorklet>) => this.take(event.data);
    const engine = new Engine(module);
    try {
      this.instrument = new Instrument(engine, sampleRate, 4096, sound, seed, isLive);
      this.instrument.time(tempo, true);
      this.tell({ kind: "ready", latency: this.instrument.latency });
    } catch {
      this.tell({ kind: "failed", bytes: engine.replyBytes() });
    }
  }

  private tell(message: FromWorklet): void {
    this.port.postMessage(message);
  }

  private take(message: ToWorklet): void {
    const instrument = this.instrument;
    if (instrument === undefined) return;
    switch (message.kind) {
      case "write": return instrument.write(message.index, message.position);
      case "sound": return instrument.writeSound(message.sound);
      case "step": return instrument.step(message.index, message.position, this.offset(message.time));
      case "ramp": return instrument.ramp(message.index, message.position, this.offset(message.from), this.offset(message.time));
      case "time": return instrument.time(message.tempo, message.isPlaying, message.position);
      case "panic": return instrument.panic();
      case "watch": this.isWatched = message.isWatched; return;
      case "end":
        this.isDone = true;
        instrument.close();
        this.instrument = undefined;
    }
  }

  /** Frames from the coming quantum's first to a moment of the context. */
  private offset(seconds: number): number {
    return Math.max(0, Math.round(seconds * sampleRate) - currentFrame);
  }

  process(inputs: Float32Array[][], outputs: Float32Array[][]): boolean {
    const output = outputs[0]!;
    const frames = output[0]!.length;
    if (this.nextFrame >= 0 && currentFrame !== this.nextFrame) this.missed += Math.round((currentFrame - this.nextFrame) / frames);
    this.nextFrame = currentFrame + frames;
    ++this.quanta;
    this.instrument?.process(inputs[0]!, output, 0, frames);
    if (this.isWatched && this.instrument !== undefined && currentFrame >= this.nextReport) {
      this.nextReport = currentFrame + sampleRate / 62;
      this.instrument.live(this.live);
      this.tell({ kind: "live", numbers: this.live, quanta: this.quanta, missed: this.missed });
    }
    return !this.isDone;
  }
}

registerProcessor(kProcessorName, PrismelProcessor as unknown as AudioWorkletProcessorConstructor);
