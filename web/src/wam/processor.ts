// The effect inside the SDK's processor: its events become writes between pieces of a quantum.

import { Engine, Instrument } from "../engine";
import type { WamOptions } from "./protocol";

interface Scope {
  WamProcessor: any;
  WamParameterInfo: any;
}
interface Update { id: string; value: number; normalized?: boolean }

const kModuleId = "prismel.effect";
const { WamProcessor, WamParameterInfo } =
  (globalThis as unknown as { webAudioModules: { getModuleScope(id: string): Scope } }).webAudioModules.getModuleScope(kModuleId);

class PrismelWamProcessor extends WamProcessor {
  private instrument: Instrument;
  private readonly isLive: boolean;
  private hasRun = false;
  private readonly knobs: Map<string, WamOptions["knobs"][number]>;

  constructor(options: { processorOptions: WamOptions }) {
    super(options);
    const { module, sound, isLive, knobs } = options.processorOptions;
    this.knobs = new Map(knobs.map((knob) => [knob.id, knob]));
    this.isLive = isLive;
    this.instrument = this.make(new Engine(module), sound);
    this._compensationDelay = this.instrument.latency / sampleRate;
  }

  private make(engine: Engine, sound: Float32Array): Instrument {
    const instrument = new Instrument(engine, sampleRate, 4096, sound, 0, this.isLive);
    instrument.time(120, true);
    return instrument;
  }

  _generateWamParameterInfo() {
    return Object.fromEntries([...this.knobs].map(([id, { info }]) => [id, new WamParameterInfo(id, info)]));
  }

  process(inputs: Float32Array[][], outputs: Float32Array[][], parameters: Record<string, Float32Array>): boolean {
    this._samplesPerQuantum = outputs[0]![0]!.length;
    return super.process(inputs, outputs, parameters);
  }
  _process(start: number, end: number, inputs: Float32Array[][], outputs: Float32Array[][]) {
    this.hasRun = true;
    if (start < end) this.instrument.process(inputs[0]!, outputs[0]!, start, end);
  }

  _setParameterValue(update: Update, interpolate: boolean) {
    super._setParameterValue(update, interpolate);
    const knob = this.knobs.get(update.id);
    if (knob !== undefined) this.instrument.write(knob.index, this._parameterState[update.id].normalizedValue);
  }
  /** The effect glides by itself. */
  _interpolateParameterValues() {}

  _setState(state: { parameterValues?: Record<string, Update> }) {
    super._setState(state);
    const sound = this.instrument.readSound();
    for (const [id, { index }] of this.knobs) sound[index] = this._parameterState[id].normalizedValue;
    if (this.hasRun) {
      this.instrument.writeSound(sound);  // all at once, and what rings is cut
    } else {
      // Nothing was heard yet: begin with this sound, so that a song renders the same each time.
      const { engine } = this.instrument;
      this.instrument.close();
      this.instrument = this.make(engine, sound);
    }
  }

  _onTransport(data: { tempo: number; playing: boolean; currentBar: number; currentBarStarted: number; timeSigNumerator: number; timeSigDenominator: number }) {
    const quarters = data.timeSigNumerator * 4 / data.timeSigDenominator;
    const position = data.currentBar * quarters + Math.max(0, currentTime - data.currentBarStarted) * data.tempo / 60;
    this.instrument.time(data.tempo, data.playing, data.playing ? position : data.currentBar * quarters);
  }
  _onMidi() {}
  _onSysex() {}
  _onMpe() {}
  _onOsc() {}
}

try {
  registerProcessor(kModuleId, PrismelWamProcessor as unknown as AudioWorkletProcessorConstructor);
} catch {
  // A second instance in the same context: the processor is known already.
}
