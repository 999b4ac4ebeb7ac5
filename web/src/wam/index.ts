// PRISMEL as a Web Audio Module (version 2.0).

import { WamNode, WebAudioModule } from "@webaudiomodules/sdk";
import { Engine, type Parameter } from "../engine";
import type { WamOptions } from "./protocol";
import { createGui } from "./gui";

const here = (file: string) => new URL(file, import.meta.url).href;

/** How a host shows a knob: positions 0 to 1 for what is continuous, numbers of values for the rest. */
function infoOf({ title, labels, steps, preferred, note, unit }: Parameter) {
  const isSwitch = labels.length === 2 && labels[0] === "off";
  if (isSwitch) return { type: "boolean", label: title, defaultValue: Math.round(preferred), note };
  if (labels.length > 0) return { type: "choice", label: title, choices: labels, defaultValue: Math.round(preferred * (labels.length - 1)), note };
  if (steps > 1) return { type: "int", label: title, minValue: 0, maxValue: steps - 1, discreteStep: 1, defaultValue: Math.round(preferred * (steps - 1)), note };
  return { type: "float", label: title, minValue: 0, maxValue: 1, defaultValue: preferred, units: unit, note };
}

export default class PrismelModule extends WebAudioModule {
  override async initialize(state?: unknown): Promise<any> {
    const answer = await fetch(here("./descriptor.json"));
    Object.assign(this._descriptor, await answer.json());
    await super.initialize(state);
    if (state !== undefined) await (this.audioNode as unknown as { setState(state: unknown): Promise<void> }).setState(state);
    return this;
  }

  override async createAudioNode(): Promise<any> {
    const { audioContext, moduleId } = this;
    await WamNode.addModules(audioContext, moduleId);
    await audioContext.audioWorklet.addModule(here("./processor.js"));
    const module = await WebAssembly.compile(await (await fetch(here("../prismel.wasm"))).arrayBuffer());
    const engine = new Engine(module);
    const knobs = engine.table().parameters.filter((p) => p.role === "main" || p.role === "advanced").sort((a, b) => a.order - b.order);
    const options: WamOptions = {
      module, sound: engine.defaultSound(),
      isLive: !(audioContext instanceof OfflineAudioContext),
      knobs: knobs.map((p) => ({ id: p.symbol, index: p.index, info: infoOf(p) })),
    };
    const node = new WamNode(this as any, {
      numberOfInputs: 1, numberOfOutputs: 1, outputChannelCount: [2], channelCount: 2, channelCountMode: "explicit",
      processorOptions: options,
    } as AudioWorkletNodeOptions);
    await (node as unknown as { _initialize(): Promise<void> })._initialize();
    return node;
  }

  override async createGui(): Promise<any> {
    return createGui(this.audioNode as any);
  }
}
