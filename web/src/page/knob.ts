// A knob: a range input, with two arcs drawn over it. The thick arc is what is set, the thin one outside is where modulation
// takes it. Keyboard and screen readers meet the range input; hands drag up and down.

import type { Parameter } from "../engine";
import { element, shape } from "./dom";
import type { Store } from "./store";

const kSweep = 270;  // degrees from one end to the other
const kCentre = 50, kRadius = 38, kOuter = 46;

function arc(radius: number, from: number, to: number): string {
  const [a, b] = from < to ? [from, to] : [to, from];
  const point = (position: number) => {
    const angle = ((position - 0.5) * kSweep - 90) * Math.PI / 180;
    return `${(kCentre + radius * Math.cos(angle)).toFixed(2)} ${(kCentre + radius * Math.sin(angle)).toFixed(2)}`;
  };
  if (b - a < 1e-4) return "";
  return `M${point(a)}A${radius} ${radius} 0 ${(b - a) * kSweep > 180 ? 1 : 0} 1 ${point(b)}`;
}

export interface KnobOptions {
  title?: string;
  size?: "small" | "big";
}

export class Knob {
  readonly root: HTMLDivElement;
  private readonly input: HTMLInputElement;
  private readonly value: HTMLButtonElement;
  private readonly title: HTMLSpanElement;
  private readonly set: SVGElement;
  private readonly moved: SVGElement;
  private readonly pointer: SVGElement;
  private readonly isBipolar: boolean;
  private drag: { y: number; x: number; position: number } | undefined;
  private shownModulation = NaN;

  constructor(private readonly store: Store, readonly parameter: Parameter, options: KnobOptions = {}) {
    const title = options.title ?? parameter.title;
    this.isBipolar = parameter.min < 0 && Math.abs(parameter.min + parameter.max) < 1e-6 * parameter.max;
    this.set = shape("path", { class: "set", d: "" });
    this.moved = shape("path", { class: "moved", d: "" });
    this.pointer = shape("path", { class: "pointer", d: `M${kCentre} 24V34` });
    const drawing = shape("svg", { viewBox: "0 0 100 100", "aria-hidden": "true" },
      shape("circle", { class: "cap", cx: kCentre, cy: kCentre, r: 30 }),
      shape("path", { class: "track", d: arc(kRadius, 0, 1) }), this.moved, this.set, this.pointer);
    const last = parameter.steps > 1 ? 1 / (parameter.steps - 1) : 0.001;
    this.input = element("input", {
      type: "range", min: 0, max: 1, step: parameter.steps > 1 ? last : "any", "aria-label": title,
      "aria-description": parameter.note,
      oninput: () => this.write(Number(this.input.value)),
      onkeydown: (event) => this.onKey(event as KeyboardEvent),
      onpointerdown: (event) => this.onDown(event as PointerEvent),
      onpointermove: (event) => this.onMove(event as PointerEvent),
      onpointerup: () => this.onUp(),
      onpointercancel: () => this.onUp(),
      ondblclick: () => this.write(parameter.preferred),
    });
    this.input.addEventListener("wheel", (event) => {
      if (document.activeElement !== this.input) return;  // a page that scrolls past must not turn knobs
      event.preventDefault();
      this.nudge(event.deltaY < 0 ? 1 : -1, event.shiftKey);
    }, { passive: false });
    this.title = element("span", { class: "title" }, title);
    this.value = element("button", {
      class: "value", type: "button", "aria-label": `${title}: type a value`, onclick: () => this.type(),
    });
    this.root = element("div", { class: `knob ${options.size ?? ""}`, "data-note": `${parameter.note} (${parameter.range})` },
      element("div", { class: "dial" }, drawing as unknown as HTMLElement, this.input), this.title, this.value);
    store.listen((change) => {
      if (change.kind === "sound" || (change.kind === "knob" && change.index === parameter.index)) this.show();
    });
    this.show();
  }

  /** Where modulation has it now; the thin arc leads there from what is set. */
  modulate(position: number): void {
    if (Math.abs(position - this.shownModulation) < 0.002) return;
    this.shownModulation = position;
    const set = this.store.get(this.parameter.index);
    this.moved.setAttribute("d", Math.abs(position - set) > 0.004 ? arc(kOuter, set, position) : "");
  }

  /** Dim, with the reason: the knob works and is kept, but isn't heard now. */
  dim(reason: string): void {
    this.root.classList.toggle("dim", reason !== "");
    if (reason !== "") this.root.dataset["note"] = `${this.parameter.note} (${reason})`;
    else this.root.dataset["note"] = `${this.parameter.note} (${this.parameter.range})`;
  }

  private show(): void {
    const position = this.store.get(this.parameter.index);
    const text = this.store.text(this.parameter.index);
    this.input.value = String(position);
    this.input.setAttribute("aria-valuetext", text);
    this.value.textContent = text;
    this.set.setAttribute("d", arc(kRadius, this.isBipolar ? 0.5 : 0, position));
    this.pointer.setAttribute("transform", `rotate(${((position - 0.5) * kSweep).toFixed(2)} ${kCentre} ${kCentre})`);
    this.shownModulation = NaN;
  }

  private write(position: number): void {
    const { steps, index } = this.parameter;
    this.store.set(index, steps > 1 ? Math.round(position * (steps - 1)) / (steps - 1) : position);
  }

  private nudge(steps: number, isFine: boolean): void {
    const { steps: count } = this.parameter;
    const width = count > 1 ? 1 / (count - 1) : isFine ? 0.002 : 0.02;
    this.write(this.store.get(this.parameter.index) + steps * width);
  }

  private onKey(event: KeyboardEvent): void {
    const moves: Record<string, number> = { ArrowUp: 1, ArrowRight: 1, ArrowDown: -1, ArrowLeft: -1, PageUp: 5, PageDown: -5 };
    const move = moves[event.key];
    if (move !== undefined) {
      event.preventDefault();
      this.nudge(move, event.shiftKey);
    } else if (event.key === "Enter") {
      this.type();
    } else if (event.key === "Delete" || event.key === "Backspace") {
      this.write(this.parameter.preferred);
    }
  }

  private onDown(event: PointerEvent): void {
    if (event.button !== 0) return;
    event.preventDefault();
    this.input.focus({ preventScroll: true });
    this.input.setPointerCapture(event.pointerId);
    this.store.beginGesture();
    this.drag = { y: event.clientY, x: event.clientX, position: this.store.get(this.parameter.index) };
  }
  private onMove(event: PointerEvent): void {
    if (this.drag === undefined) return;
    const travel = (this.drag.y - event.clientY + 0.5 * (event.clientX - this.drag.x)) / (event.shiftKey ? 1600 : 220);
    this.drag.position = Math.min(1, Math.max(0, this.drag.position + travel));
    this.drag.y = event.clientY;
    this.drag.x = event.clientX;
    this.write(this.drag.position);
  }
  private onUp(): void {
    if (this.drag === undefined) return;
    this.drag = undefined;
    this.store.endGesture();
  }

  /** The value becomes a line to type in. */
  private type(): void {
    const line = element("input", { class: "line", type: "text", "aria-label": `${this.title.textContent}, as text`, spellcheck: "false" });
    line.value = this.value.textContent ?? "";
    let isDone = false;
    const finish = (isTaken: boolean) => {
      if (isDone) return;
      isDone = true;
      try {
        if (isTaken && line.value.trim() !== "") this.store.set(this.parameter.index, this.store.engine.read(this.parameter.index, line.value));
      } catch (error) {
        this.root.dispatchEvent(new CustomEvent("sentence", { bubbles: true, detail: (error as Error).message }));
      }
      line.replaceWith(this.value);
      this.input.focus({ preventScroll: true });
    };
    line.addEventListener("keydown", (event) => {
      if (event.key === "Enter") finish(true);
      if (event.key === "Escape") finish(false);
      event.stopPropagation();
    });
    line.addEventListener("blur", () => finish(true));
    this.value.replaceWith(line);
    line.focus();
    line.select();
  }
}
