// A plain face for hosts: one slider or menu for each main knob. The whole instrument is the page.

interface Info { id: string; label: string; type: string; minValue: number; maxValue: number; discreteStep: number; choices: string[] }
interface Node {
  getParameterInfo(): Promise<Record<string, Info>>;
  getParameterValues(normalized: boolean): Promise<Record<string, { id: string; value: number }>>;
  setParameterValues(values: Record<string, { id: string; value: number; normalized: boolean }>): Promise<void>;
}

export async function createGui(node: Node): Promise<HTMLElement> {
  const [infos, values] = await Promise.all([node.getParameterInfo(), node.getParameterValues(false)]);
  const root = document.createElement("div");
  Object.assign(root.style, { display: "grid", gridTemplateColumns: "auto 220px", gap: "4px 12px", font: "14px system-ui, sans-serif", padding: "12px" });
  for (const info of Object.values(infos)) {
    const label = document.createElement("label");
    label.textContent = info.label;
    const input = document.createElement(info.type === "choice" ? "select" : "input");
    if (input instanceof HTMLSelectElement) input.append(...info.choices.map((text) => new Option(text)));
    else if (info.type === "boolean") input.type = "checkbox";
    else Object.assign(input, { type: "range", min: String(info.minValue), max: String(info.maxValue), step: info.discreteStep > 0 ? "1" : "any" });
    const now = values[info.id]?.value ?? 0;
    if (input instanceof HTMLSelectElement) input.selectedIndex = now;
    else if (info.type === "boolean") input.checked = now > 0.5;
    else input.value = String(now);
    input.addEventListener("input", () => {
      const value = input instanceof HTMLSelectElement ? input.selectedIndex : info.type === "boolean" ? Number(input.checked) : Number(input.value);
      void node.setParameterValues({ [info.id]: { id: info.id, value, normalized: false } });
    });
    label.append(input);
    root.append(label);
    label.style.display = "contents";
  }
  return root;
}
