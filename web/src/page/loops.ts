// Loops to play with, computed when they are asked for: nothing to download, nobody's recording. They are dedicated to the
// public domain (CC0 1.0). Two bars of 4/4 at 120 bpm each, stereo, seamless: what rings on behind the end comes back in
// at the beginning.

export interface Loop {
  name: string;
  make(rate: number): [Float32Array<ArrayBuffer>, Float32Array<ArrayBuffer>];
}

/** Hz at which the page makes them, whatever the context's rate: so they are ready before there is one. */
export const kLoopRate = 48000;

const kBeats = 8;
const kSecondsPerBeat = 0.5;
const kTurn = 2 * Math.PI;

/** A small repeatable noise: xorshift. */
function noise(seed: number): () => number {
  let x = seed | 1;
  return () => {
    x ^= x << 13;
    x ^= x >>> 17;
    x ^= x << 5;
    return (x >>> 0) / 2147483648 - 1;
  };
}

const hertz = (note: number) => 440 * 2 ** ((note - 69) / 12);

class Canvas {
  readonly left: Float32Array<ArrayBuffer>;
  readonly right: Float32Array<ArrayBuffer>;
  constructor(readonly rate: number) {
    const length = Math.round(kBeats * kSecondsPerBeat * rate);
    this.left = new Float32Array(length);
    this.right = new Float32Array(length);
  }
  /** `voice(t)` for `seconds` from `beat` on, at a place from -1 (left) to 1; wraps at the end. */
  add(beat: number, seconds: number, place: number, voice: (t: number) => number): void {
    const start = Math.round(beat * kSecondsPerBeat * this.rate);
    const count = Math.round(seconds * this.rate);
    const angle = (place + 1) * Math.PI / 4;
    const l = Math.cos(angle), r = Math.sin(angle);
    for (let i = 0; i < count; ++i) {
      const at = (start + i) % this.left.length;
      const x = voice(i / this.rate);
      this.left[at]! += l * x;
      this.right[at]! += r * x;
    }
  }
  finish(peak: number): [Float32Array<ArrayBuffer>, Float32Array<ArrayBuffer>] {
    let top = 1e-9;
    for (const channel of [this.left, this.right]) for (const x of channel) top = Math.max(top, Math.abs(x));
    for (const channel of [this.left, this.right]) channel.forEach((x, i) => { channel[i] = x * peak / top; });
    return [this.left, this.right];
  }
}

/** An electric piano: two sines that colour each other, the brighter the harder. */
function keys(rate: number) {
  const canvas = new Canvas(rate);
  const chords: [number, number[]][] = [
    [0, [45, 60, 64, 67, 71]], [1.5, [60, 64, 67, 71]], [3.5, [43, 59, 62, 65, 69]], [4, [41, 57, 60, 64, 67]],
    [5.5, [57, 60, 64, 67]], [6.5, [40, 56, 59, 62, 66]], [7.5, [56, 59, 62]],
  ];
  chords.forEach(([beat, notes], c) => notes.forEach((note, n) => {
    const f = hertz(note), hard = 0.6 + 0.3 * ((c * 5 + n * 3) % 4) / 4;
    const decay = 1.1 + 24 / (note - 20);
    canvas.add(beat + 0.012 * n, 2.6, (n / notes.length - 0.4) * 0.9, (t) => {
      const bell = Math.sin(kTurn * f * 14 * t) * Math.exp(-t * 16) * 0.25 * hard;
      const body = Math.sin(kTurn * f * t + (1.1 * hard * Math.exp(-t * 3) + 0.15) * Math.sin(kTurn * f * 1.001 * t) + bell);
      return hard * body * Math.exp(-t * decay) * Math.min(1, t * 400) * Math.min(1, (2.6 - t) * 8);
    });
  }));
  return canvas.finish(0.7);
}

/** Kick, snare, hats. */
function drums(rate: number) {
  const canvas = new Canvas(rate);
  const kick = (t: number) => {
    const phase = 48 * t + (165 / 28) * (1 - Math.exp(-t * 28));
    return Math.sin(kTurn * phase) * Math.exp(-t * 7.5) * 1.1 + (t < 0.004 ? 0.4 * (1 - t / 0.004) : 0);
  };
  for (const beat of [0, 1.75, 2.5, 4, 5.5, 6.25]) canvas.add(beat, 0.45, 0, kick);
  [1, 3, 5, 7, 7.75].forEach((beat, i) => {
    const random = noise(9176 + i);
    let low = 0;
    canvas.add(beat, 0.3, 0.05, (t) => {
      const x = random();
      low += 0.45 * (x - low);
      return (0.75 * (x - 0.6 * low) * Math.exp(-t * 17) + 0.55 * Math.sin(kTurn * (186 * t + 1.1 * (1 - Math.exp(-t * 60)))) * Math.exp(-t * 22)) *
        (beat === 7.75 ? 0.5 : 0.85);
    });
  });
  for (let step = 0; step < 32; ++step) {
    const random = noise(411 + 37 * step);
    const isOpen = step % 16 === 10;
    const level = isOpen ? 0.3 : [0.28, 0.1, 0.2, 0.12][step % 4]!;
    let last = 0, held = 0;
    canvas.add(step / 4 + (step % 2 === 1 ? 0.035 : 0), isOpen ? 0.32 : 0.09, step % 3 === 0 ? 0.35 : -0.3, (t) => {
      const x = random();
      held = 0.72 * (held + x - last);
      last = x;
      return level * held * Math.exp(-t * (isOpen ? 11 : 60));
    });
  }
  return canvas.finish(0.8);
}

/** A plucked string: noise in a loop of one period that loses its brightness. */
function strings(rate: number) {
  const canvas = new Canvas(rate);
  const melody = [57, 64, 69, 72, 71, 69, 64, 60, 53, 60, 65, 69, 67, 65, 60, 57];
  melody.forEach((note, i) => {
    const period = rate / hertz(note);
    const whole = Math.floor(period - 0.5), fraction = period - 0.5 - whole;
    const random = noise(77 + 13 * i);
    const line = Float32Array.from({ length: whole + 1 }, random);
    let at = 0, last = 0;
    canvas.add(i / 2, 2.2, (i % 4) / 2 - 0.75, (t) => {
      const a = line[at]!, b = line[(at + 1) % line.length]!;
      const x = a + fraction * (b - a);
      line[at] = 0.998 * (0.5 * x + 0.5 * last);
      last = x;
      at = (at + 1) % line.length;
      return 0.8 * x * Math.min(1, (2.2 - t) * 6);
    });
  });
  for (const [beat, note] of [[0, 33], [4, 29]] as const) {
    canvas.add(beat, 2.4, 0, (t) => 0.7 * (Math.sin(kTurn * hertz(note) * t) + 0.3 * Math.sin(2 * kTurn * hertz(note) * t)) *
      Math.exp(-t * 1.2) * Math.min(1, t * 200) * Math.min(1, (2.4 - t) * 10));
  }
  return canvas.finish(0.7);
}

/** A soft chord of many sawtooth-like voices: the plainest thing to hear an effect on. */
function pad(rate: number) {
  const canvas = new Canvas(rate);
  for (const [beat, notes] of [[0, [45, 57, 60, 64, 71]], [4, [41, 53, 57, 60, 67]]] as const) {
    notes.forEach((note, n) => {
      for (const side of [-1, 1]) {
        const f = hertz(note + 0.06 * side);
        canvas.add(beat, 2.6, side * (0.3 + 0.12 * n), (t) => {
          let x = 0;
          const open = 4 + 3 * Math.sin(kTurn * 0.25 * t);
          for (let k = 1; k <= 9; ++k) x += Math.sin(kTurn * f * k * t + k * n) / k * Math.exp(-k / open);
          const rise = Math.min(1, t / 0.6), fall = Math.min(1, Math.max(0, (2.6 - t) / 0.6));
          return x * rise * rise * (3 - 2 * rise) * fall * fall * (3 - 2 * fall);
        });
      }
    });
  }
  return canvas.finish(0.6);
}

/** The last loop that was made is kept: pressing "Play" waits for none. */
function kept(make: Loop["make"]): Loop["make"] {
  let last: { rate: number; channels: ReturnType<Loop["make"]> } | undefined;
  return (rate) => {
    if (last?.rate !== rate) last = { rate, channels: make(rate) };
    return last.channels;
  };
}

export const loops: readonly Loop[] = [
  { name: "Keys", make: kept(keys) },
  { name: "Drums", make: kept(drums) },
  { name: "Strings", make: kept(strings) },
  { name: "Pad", make: kept(pad) },
];
