// What the node and its worklet tell each other.

export const kProcessorName = "prismel";

export interface WorkletOptions {
  module: WebAssembly.Module;
  sound: Float32Array;
  seed: number;
  isLive: boolean;
  tempo: number;
}

/** Times are seconds of the context. */
export type ToWorklet =
  | { kind: "write"; index: number; position: number }
  | { kind: "sound"; sound: Float32Array }
  | { kind: "step"; index: number; position: number; time: number }
  | { kind: "ramp"; index: number; position: number; from: number; time: number }
  | { kind: "time"; tempo: number; isPlaying: boolean; position: number }
  | { kind: "panic" }
  | { kind: "watch"; isWatched: boolean }
  | { kind: "end" };

export type FromWorklet =
  | { kind: "ready"; latency: number }
  | { kind: "failed"; bytes: Uint8Array }
  | { kind: "live"; numbers: Float32Array; quanta: number; missed: number };
