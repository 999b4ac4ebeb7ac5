// Brings the WebAssembly module to life: no generated glue, only what it asks its surroundings for.

/** The functions and the memory of prismel.wasm; see web/wasm/Exports.cpp. Addresses are numbers. */
export interface Exports {
  readonly memory: WebAssembly.Memory;
  _initialize(): void;
  prismel_allocate(bytes: number): number;
  prismel_free(address: number): void;
  prismel_reply(): number;
  prismel_reply_size(): number;
  prismel_table(): number;
  prismel_text_of(index: number, position: number): number;
  prismel_read_text(index: number, text: number, size: number): number;
  prismel_value_of(index: number, position: number): number;
  prismel_position_of(index: number, value: number): number;
  prismel_sound(): number;
  prismel_default_sound(): void;
  prismel_read_preset(text: number, size: number): number;
  prismel_write_preset(about: number, size: number): number;
  prismel_open(rate: number, longest: number, inputs: number, outputs: number, seed: number, isLive: number): number;
  prismel_close(instrument: number): void;
  prismel_input(instrument: number, channel: number): number;
  prismel_output(instrument: number, channel: number): number;
  prismel_process(instrument: number, frames: number): void;
  prismel_latency(instrument: number): number;
  prismel_write(instrument: number, index: number, position: number): void;
  prismel_write_sound(instrument: number): number;
  prismel_read_sound(instrument: number): void;
  prismel_step(instrument: number, index: number, position: number, offset: number): void;
  prismel_ramp(instrument: number, index: number, position: number, from: number, offset: number): void;
  prismel_time(instrument: number, tempo: number, isPlaying: number, position: number): void;
  prismel_panic(instrument: number): void;
  prismel_live(instrument: number): number;
  prismel_render_open(rate: number, longest: number, inputs: number, outputs: number, tail: number, tempo: number): number;
  prismel_render_close(render: number): void;
  prismel_render_input(render: number, channel: number): number;
  prismel_render_feed(render: number, frames: number): number;
  prismel_render_end(render: number): void;
  prismel_render_tail(render: number, frames: number): number;
  prismel_render_output(render: number): number;
  prismel_render_frames(render: number): number;
}

/** An instance of the compiled module. What it may ask for: a clock, an empty environment, an end. */
export function instantiate(module: WebAssembly.Module): Exports {
  let memory: WebAssembly.Memory | undefined;
  const zero = (...addresses: number[]) => {
    for (const address of addresses) new DataView(memory!.buffer).setUint32(address, 0, true);
    return 0;
  };
  const functions: Record<string, (...args: any[]) => unknown> = {
    clock_time_get: (_id: number, _precision: bigint, address: number) => {
      new DataView(memory!.buffer).setBigUint64(address, BigInt(Date.now()) * 1000000n, true);
      return 0;
    },
    environ_sizes_get: (count: number, size: number) => zero(count, size),
    environ_get: () => 0,
    proc_exit: () => {
      throw new Error("The signal engine ended unexpectedly.");
    },
  };
  const imports: WebAssembly.Imports = {};
  for (const { module: space, name } of WebAssembly.Module.imports(module)) {
    // Everything else stands for files and the like, which there are none of: 52 is "not supported".
    (imports[space] ??= {})[name] = functions[name] ?? (() => 52);
  }
  const exports = new WebAssembly.Instance(module, imports).exports as unknown as Exports;
  memory = exports.memory;
  exports._initialize();
  return exports;
}
