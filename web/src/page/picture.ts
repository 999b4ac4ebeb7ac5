// The picture in the middle: sixteen taps around the knob, left voices to the left, and above them where each voice has the
// effect's first knob. Drawn from the numbers that the effect's own code gives; nothing is computed anew here.

import { Live } from "../engine";

const kVoices = 8;

export interface Scene {
  live: Float32Array;
  /** Positions and texts of the marks on the axis of the spread; empty without an effect. */
  ticks: { position: number; text: string }[];
  axis: string;
  range: string;
  longestMs: number;
}

export class Picture {
  private readonly context: CanvasRenderingContext2D;
  private width = 0;
  private height = 0;
  private colours: string[] = [];
  private faint = "";
  private dim = "";
  private font = "";

  constructor(readonly canvas: HTMLCanvasElement) {
    this.context = canvas.getContext("2d")!;
    new ResizeObserver(() => this.fit()).observe(canvas);
    this.readColours();
  }
  /** After the theme changed. */
  readColours(): void {
    const style = getComputedStyle(document.documentElement);
    const read = (name: string) => style.getPropertyValue(name).trim();
    this.colours = Array.from({ length: kVoices }, (_, v) => read(`--voice-${v + 1}`));
    this.font = `11px ${style.fontFamily}`;
    this.dim = read("--dim");
    this.faint = read("--faint");
  }
  private fit(): void {
    const ratio = Math.min(devicePixelRatio || 1, 2);
    this.width = this.canvas.clientWidth;
    this.height = this.canvas.clientHeight;
    this.canvas.width = Math.round(this.width * ratio);
    this.canvas.height = Math.round(this.height * ratio);
    this.context.setTransform(ratio, 0, 0, ratio, 0, 0);
  }

  draw(scene: Scene): void {
    const { context: c, width, height } = this;
    if (width === 0) return;
    c.clearRect(0, 0, width, height);
    c.lineCap = "round";
    c.font = this.font;
    this.drawSpread(scene, 24, width - 24, 46);
    this.drawTaps(scene, width / 2, 46 + (height - 46) * 0.5);
  }

  private drawSpread(scene: Scene, left: number, right: number, y: number): void {
    const { context: c } = this;
    c.fillStyle = this.dim;
    c.textAlign = "left";
    c.fillText(scene.axis, left, 18);
    c.textAlign = "right";
    c.fillText(scene.range, right, 18);
    c.strokeStyle = this.faint;
    c.lineWidth = 1;
    c.beginPath();
    c.moveTo(left, y);
    c.lineTo(right, y);
    for (const { position } of scene.ticks) {
      const x = left + position * (right - left);
      c.moveTo(x, y - 4);
      c.lineTo(x, y + 4);
    }
    c.stroke();
    c.textAlign = "center";
    for (const { position, text } of scene.ticks) {
      if (position > 0.06 && position < 0.94) c.fillText(text, left + position * (right - left), y + 24);
    }
    if (scene.ticks.length === 0) return;
    const voices = Math.round(scene.live[Live.voices]!);
    for (let side = 0; side < 2; ++side) {
      for (let v = voices - 1; v >= 0; --v) {
        const x = left + scene.live[Live.spread + 8 * side + v]! * (right - left);
        c.fillStyle = this.colours[v]!;
        c.beginPath();
        c.arc(x, y + (side === 0 ? -9 : 9), 4.5, 0, 2 * Math.PI);
        c.fill();
      }
    }
  }

  private drawTaps(scene: Scene, x: number, y: number): void {
    const { context: c } = this;
    const voices = Math.round(scene.live[Live.voices]!);
    // From behind the knob's outer arc to the edge of the picture.
    const inner = Math.min(124, this.width * 0.235);
    const outer = Math.max(inner + 26, Math.min(this.width / 2 - 22, 300));
    for (let side = 0; side < 2; ++side) {
      for (let v = 0; v < kVoices; ++v) {
        const angle = (-33 + 66 * v / (kVoices - 1)) * Math.PI / 180;
        const dx = Math.cos(angle) * (side === 0 ? -1 : 1), dy = Math.sin(angle);
        const isOn = v < voices;
        c.globalAlpha = isOn ? 0.22 : 0.1;
        c.strokeStyle = this.colours[v]!;
        c.lineWidth = 1.5;
        c.beginPath();
        c.moveTo(x + dx * inner, y + dy * inner);
        c.lineTo(x + dx * outer, y + dy * outer);
        c.stroke();
        if (!isOn) continue;
        // The root: most delays are short, and those are told apart best.
        const share = Math.sqrt(Math.min(1, scene.live[Live.taps + 8 * side + v]! / scene.longestMs));
        const r = inner + share * (outer - inner);
        c.globalAlpha = 0.85;
        c.lineWidth = 3;
        c.beginPath();
        c.moveTo(x + dx * inner, y + dy * inner);
        c.lineTo(x + dx * r, y + dy * r);
        c.stroke();
        c.globalAlpha = 1;
        c.fillStyle = this.colours[v]!;
        c.beginPath();
        c.arc(x + dx * r, y + dy * r, 6, 0, 2 * Math.PI);
        c.fill();
      }
    }
    c.globalAlpha = 1;
    if (this.width < 520) return;
    c.fillStyle = this.faint;
    const low = y + Math.sin(33 * Math.PI / 180) * outer + 22;
    for (const ms of [2, 8, 16]) {
      const r = inner + Math.sqrt(Math.min(1, ms / scene.longestMs)) * (outer - inner);
      for (const side of [-1, 1]) {
        c.textAlign = "center";
        c.fillStyle = this.dim;
        c.fillText(ms === 16 && side === 1 ? "16 ms" : String(ms), x + side * Math.cos(33 * Math.PI / 180) * r, low);
      }
    }
  }
}
