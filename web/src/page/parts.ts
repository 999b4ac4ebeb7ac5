// The module and the worklet's script, both of which lie inside the page.

import type { Parts } from "../node";
import { wasmGzipBase64, workletScript } from "virtual:parts";

export async function loadParts(): Promise<Parts> {
  const packed = Uint8Array.from(atob(wasmGzipBase64), (letter) => letter.charCodeAt(0));
  const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream("gzip"));
  const module = await WebAssembly.compile(await new Response(stream).arrayBuffer());
  // From a folder, a browser loads a worklet from a `data:` address only; should that be closed one day, a blob may do.
  const data = `data:text/javascript;charset=utf-8,${encodeURIComponent(workletScript)}`;
  const blob = URL.createObjectURL(new Blob([workletScript], { type: "text/javascript" }));
  return { module, scripts: [data, blob] };
}
