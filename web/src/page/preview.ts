// Moves the picture while no sound runs: the effect over silence, at a low rate that costs next to nothing.

import { Instrument } from "../engine";
import type { Page } from "./main";

const kRate = 8000;

export class Preview {
  private readonly instrument: Instrument;
  private readonly silence = [new Float32Array(1024), new Float32Array(1024)];

  constructor({ engine, store }: Page) {
    this.instrument = new Instrument(engine, kRate, 1024, store.sound, 0, true);
    this.instrument.time(120, true);
    store.listen((change) => {
      if (change.kind === "knob") this.instrument.write(change.index, change.position);
      if (change.kind === "sound") this.instrument.writeSound(store.sound);
    });
  }

  advance(seconds: number, live: Float32Array): void {
    this.instrument.process([], this.silence, 0, Math.min(1024, Math.round(seconds * kRate)));
    this.instrument.live(live);
  }
}
