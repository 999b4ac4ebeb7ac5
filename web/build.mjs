// Bundles the page into one HTML file and the package into a folder: node web/build.mjs MODULE.wasm
import { createHash } from "node:crypto";
import { execFileSync } from "node:child_process";
import { copyFileSync, cpSync, mkdirSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";
import { gzipSync } from "node:zlib";
import { build } from "esbuild";

const here = dirname(fileURLToPath(import.meta.url));
const wasm = readFileSync(process.argv[2]);
const dist = join(here, "dist");
rmSync(dist, { recursive: true, force: true });
mkdirSync(dist, { recursive: true });

/** One source with everything that it imports, as a text. */
async function bundle(entry, options = {}) {
  const { outputFiles } = await build({
    entryPoints: [join(here, entry)], bundle: true, minify: true, write: false, target: "es2022", format: "iife",
    legalComments: "none", logLevel: "warning", tsconfigRaw: {}, ...options,
  });
  return outputFiles[0].text;
}

const workletScript = await bundle("src/worklet.ts");
const parts = {
  name: "parts",
  setup(plugin) {
    plugin.onResolve({ filter: /^virtual:parts$/ }, ({ path }) => ({ path, namespace: "parts" }));
    plugin.onLoad({ filter: /.*/, namespace: "parts" }, () => ({
      contents: `export const wasmGzipBase64 = ${JSON.stringify(gzipSync(wasm, { level: 9 }).toString("base64"))};
export const workletScript = ${JSON.stringify(workletScript)};`,
    }));
  },
};

// No text of a script element may end it early.
const script = (await bundle("src/page/main.ts", { plugins: [parts] })).replaceAll("</script", "<\\/script");
const style = await bundle("src/page/style.css", { format: undefined });
const digest = (text) => `'sha256-${createHash("sha256").update(text).digest("base64")}'`;
// The page loads nothing from anywhere: its own script and style by their digests, the worklet as a `data:` or `blob:`
// address, the module from its bytes.
const policy = [
  "default-src 'none'", `script-src ${digest(script)} 'wasm-unsafe-eval' data: blob:`, "script-src-attr 'none'",
  `style-src ${digest(style)}`, "img-src data:", "connect-src 'none'", "form-action 'none'", "base-uri 'none'",
].join("; ");
const page = readFileSync(join(here, "src/page/index.html"), "utf8")
  .replace("<!doctype html>", () => `<!doctype html>\n<!--\n${readFileSync(join(here, "package/NOTICE"), "utf8")}-->`)
  .replace("<!--policy-->", () => `<meta http-equiv="Content-Security-Policy" content="${policy}">`)
  .replace("/*style*/", () => style)
  .replace("/*script*/", () => script);
writeFileSync(join(dist, "prismel.html"), page);
console.log(`web/dist/prismel.html: ${(Buffer.byteLength(page) / 1024).toFixed(0)} KB in one file (module ${(wasm.length / 1024).toFixed(0)} KB before packing)`);

// The package: the same sources as ES modules, with their types.
const npm = join(dist, "npm");
mkdirSync(join(npm, "wam"), { recursive: true });
cpSync(join(here, "package"), npm, { recursive: true });
writeFileSync(join(npm, "prismel.wasm"), wasm);
writeFileSync(join(npm, "worklet.js"), workletScript);
writeFileSync(join(npm, "index.js"), await bundle("src/package.ts", { format: "esm" }));
writeFileSync(join(npm, "wam/index.js"), await bundle("src/wam/index.ts", { format: "esm" }));
writeFileSync(join(npm, "wam/processor.js"), await bundle("src/wam/processor.ts"));
copyFileSync(join(here, "src/wam/descriptor.json"), join(npm, "wam/descriptor.json"));
copyFileSync(join(here, "../LICENSE"), join(npm, "LICENSE"));
execFileSync(process.execPath, [join(here, "node_modules/typescript/bin/tsc"), "-p", join(here, "tsconfig.package.json"), "--outDir", npm], { stdio: "inherit" });
writeFileSync(join(npm, "index.d.ts"), 'export * from "./package";\n');
const packed = execFileSync("npm", ["pack", npm, "--pack-destination", dist, "--silent"], { encoding: "utf8", stdio: ["ignore", "pipe", "ignore"] }).trim();
console.log(`web/dist/${packed}: the npm package, made by npm pack`);
