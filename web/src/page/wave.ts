// The LFO's two cycles, with the place where it is now.

import { Live } from "../engine";

/** Value -1 to 1 of a waveform, by its place among the labels of "LFOShapeType"; the random ones stand for themselves. */
const shapes: ((phase: number) => number)[] = [
  (p) => Math.sin(2 * Math.PI * p),
  (p) => p < 0.25 ? 4 * p : p < 0.75 ? 2 - 4 * p : 4 * p - 4,
  (p) => 1 - 2 * p,
  (p) => p < 0.5 ? 1 : -1,
];

export class Wave {
  private readonly context: CanvasRenderingContext2D;
  private width = 0;
  private height = 0;
  /** What a random waveform did: value by column. */
  private trail: number[] = [];

  constructor(readonly canvas: HTMLCanvasElement) {
    this.context = canvas.getContext("2d")!;
    new ResizeObserver(() => {
      const ratio = Math.min(devicePixelRatio || 1, 2);
      this.width = canvas.clientWidth;
      this.height = canvas.clientHeight;
      canvas.width = Math.round(this.width * ratio);
      canvas.height = Math.round(this.height * ratio);
      this.context.setTransform(ratio, 0, 0, ratio, 0, 0);
    }).observe(canvas);
  }

  draw(shape: number, live: Float32Array): void {
    const { context: c, width, height } = this;
    if (width === 0) return;
    const style = getComputedStyle(this.canvas);
    const middle = height / 2, swing = height / 2 - 12;
    const pad = 10, span = width - 2 * pad;
    c.clearRect(0, 0, width, height);
    c.strokeStyle = style.getPropertyValue("--faint");
    c.lineWidth = 1;
    c.beginPath();
    c.moveTo(pad, middle);
    c.lineTo(width - pad, middle);
    for (const share of [0.25, 0.5, 0.75]) {
      c.moveTo(pad + share * span, 8);
      c.lineTo(pad + share * span, height - 8);
    }
    c.stroke();
    c.strokeStyle = style.getPropertyValue("--accent");
    c.lineWidth = 2;
    c.lineJoin = "round";
    c.beginPath();
    const value = live[Live.lfoValue]!, phase = live[Live.lfoPhase]!;
    const form = shapes[shape];
    let x: number;
    if (form !== undefined) {
      this.trail = [];
      for (let i = 0; i <= 240; ++i) c.lineTo(pad + i / 240 * span, middle - swing * form((i / 120) % 1));
      x = pad + phase / 2 * span;
    } else {
      this.trail.push(value);
      if (this.trail.length > 240) this.trail.shift();
      const start = 240 - this.trail.length;
      this.trail.forEach((v, i) => c.lineTo(pad + (start + i) / 240 * span * 0.94, middle - swing * v));
      x = pad + span * 0.94;
    }
    c.stroke();
    c.fillStyle = style.getPropertyValue("--ink");
    c.beginPath();
    c.arc(x, middle - swing * (form !== undefined ? form(phase) : value), 5, 0, 2 * Math.PI);
    c.fill();
  }
}
