/** What the module's node hands its processor. */
export interface WamOptions {
  module: WebAssembly.Module;
  sound: Float32Array;
  isLive: boolean;
  knobs: { id: string; index: number; info: Record<string, unknown> & { type: string; choices?: string[]; maxValue?: number } }[];
}
