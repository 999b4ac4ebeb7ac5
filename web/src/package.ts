// The npm package: the effect as a node for any audio context, and as a function over recordings.

import { Engine, PrismelError } from "./engine";
import { Prismel, type Parts, type PrismelOptions } from "./node";

export { Engine, Instrument, Live, PrismelError, kParameterCount, render, renderSteps } from "./engine";
export type { FactoryPreset, Parameter, RenderOptions, Sound, Table } from "./engine";
export { Prismel } from "./node";
export type { LiveReport, Parts, PrismelOptions } from "./node";
export { readWav, writeWav } from "./wav";

let parts: Promise<Parts> | undefined;

/** The files that lie beside this one, or in the folder `base`: `prismel.wasm` and `worklet.js`. Loaded once. */
export function loadParts(base: string | URL = new URL("./", import.meta.url)): Promise<Parts> {
  parts ??= (async () => {
    const answer = await fetch(new URL("prismel.wasm", base));
    if (!answer.ok) throw new PrismelError(`prismel.wasm isn't where it should be: ${answer.url} answered ${answer.status}.`);
    const module = await WebAssembly.compile(await answer.arrayBuffer());
    return { module, scripts: [new URL("worklet.js", base).href], engine: new Engine(module) };
  })();
  parts.catch(() => { parts = undefined; });
  return parts;
}

/** The effect in `context`: `source.connect(await createPrismel(context)).connect(context.destination)`. */
export async function createPrismel(context: BaseAudioContext, options: PrismelOptions & { base?: string | URL } = {}): Promise<Prismel> {
  return Prismel.create(context, await loadParts(options.base), options);
}
