// A parameter of few values as a row or column of buttons, or as a menu. Radio buttons, so that keys and readers know them.

import type { Parameter } from "../engine";
import { element } from "./dom";
import type { Store } from "./store";

let groups = 0;

export class Choice {
  readonly root: HTMLFieldSetElement;
  private readonly buttons: HTMLInputElement[];

  /** `draw` may put a picture in front of a label. */
  constructor(private readonly store: Store, private readonly parameter: Parameter, title: string, style: string,
              draw?: (value: number) => Node, label = (text: string, _value: number) => text) {
    const name = `choice-${++groups}`;
    const last = parameter.steps - 1;
    this.buttons = parameter.labels.map((_, value) => element("input", {
      type: "radio", name, onchange: () => store.set(parameter.index, value / last),
    }));
    this.root = element("fieldset", { class: `choice ${style}`, "data-note": parameter.note },
      element("legend", {}, title),
      ...parameter.labels.map((text, value) =>
        element("label", {}, this.buttons[value]!, ...(draw ? [draw(value)] : []), element("span", {}, label(text, value)))));
    store.listen((change) => {
      if (change.kind === "sound" || (change.kind === "knob" && change.index === parameter.index)) this.show();
    });
    this.show();
  }
  get value(): number {
    return Math.round(this.store.get(this.parameter.index) * (this.parameter.steps - 1));
  }
  private show(): void {
    this.buttons.forEach((button, value) => { button.checked = value === this.value; });
  }
}

/** The same as a menu. */
export function makeMenu(store: Store, parameter: Parameter, title: string): HTMLLabelElement {
  const last = parameter.steps - 1;
  const select = element("select", { onchange: () => store.set(parameter.index, select.selectedIndex / last) },
    ...parameter.labels.map((text) => element("option", {}, text)));
  const show = () => { select.selectedIndex = Math.round(store.get(parameter.index) * last); };
  store.listen((change) => {
    if (change.kind === "sound" || (change.kind === "knob" && change.index === parameter.index)) show();
  });
  show();
  return element("label", { class: "menu", "data-note": parameter.note }, element("span", { class: "title" }, title), select);
}
