// Elements in one line each.

type Child = Node | string;
type Attributes = Record<string, string | number | boolean | EventListener>;

/** `on...` attributes are listeners, `true` is an empty attribute, `false` none. */
export function element<Name extends keyof HTMLElementTagNameMap>(
  name: Name, attributes: Attributes = {}, ...children: Child[]
): HTMLElementTagNameMap[Name] {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) {
    if (typeof value === "function") made.addEventListener(key.slice(2), value);
    else if (value !== false) made.setAttribute(key, value === true ? "" : String(value));
  }
  made.append(...children);
  return made;
}

export function shape(name: string, attributes: Record<string, string | number> = {}, ...children: Node[]): SVGElement {
  const made = document.createElementNS("http://www.w3.org/2000/svg", name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, String(value));
  made.append(...children);
  return made;
}

/** A drawing of strokes on a field of 24 x 24. */
export function icon(path: string): SVGElement {
  return shape("svg", { viewBox: "0 0 24 24", class: "icon", "aria-hidden": "true" }, shape("path", { d: path }));
}

export const icons = {
  play: "M8 5.5v13l10.5-6.5z",
  stop: "M7 7h10v10H7z",
  undo: "M8 8H15a4.5 4.5 0 0 1 0 9H9 M11 4.5 7.5 8 11 11.5",
  redo: "M16 8H9a4.5 4.5 0 0 0 0 9h6 M13 4.5 16.500 8 13 11.5",
  copy: "M9 9h9v11H9z M6 15V4h9",
  power: "M12 4v8 M7.500 6.800a7 7 0 1 0 9 0",
  more: "M6 12h.01 M12 12h.01 M18 12h.01",
  left: "M14 7l-5 5 5 5",
  right: "M10 7l5 5-5 5",
  mic: "M12 4a2.500 2.500 0 0 1 2.500 2.500v5a2.500 2.500 0 0 1-5 0v-5A2.500 2.500 0 0 1 12 4z M6.500 11.500a5.500 5.500 0 0 0 11 0 M12 17v3",
  file: "M7 4h7l4 4v12H7z M14 4v4h4",
  save: "M12 4v11 M8 11l4 4 4-4 M5 19h14",
} as const;
