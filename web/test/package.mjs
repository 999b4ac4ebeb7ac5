// The npm package over http: its node against `prismel render`, and its Web Audio Module in the host page of the SDK.
import { createServer } from "node:http";
import { existsSync, readFileSync } from "node:fs";
import { extname, join } from "node:path";
import { openBrowser, root } from "./browser-support.mjs";
import { check, compare, finish, loadSources, patience, prismel, recording, scratch } from "./support.mjs";

const { readWav } = await loadSources("wav.ts");
const input = recording("guit_em9", 3);
const { sampleRate, channels } = readWav(readFileSync(input));
const expected = (preset) => {
  const out = join(scratch, "expected.wav");
  prismel("render", "-q", "-y", "-f", "float", "--mono", "-P", join(root, "presets", `${preset}.json`), input, out);
  return readWav(readFileSync(out)).channels;
};

const sdk = join(root, "web/node_modules/@webaudiomodules/sdk");
const types = { ".js": "text/javascript", ".html": "text/html", ".wasm": "application/wasm", ".json": "application/json" };
const server = createServer((request, response) => {
  const { pathname } = new URL(request.url, "http://localhost");
  if (pathname === "/in.wav") return response.end(readFileSync(input));
  if (pathname === "/empty.html") return response.writeHead(200, { "content-type": "text/html" }).end("<!doctype html>");
  // The host page loads its module from one folder up.
  if (pathname === "/index.js") return response.writeHead(200, { "content-type": "text/javascript" }).end('export { default } from "/npm/wam/index.js";');
  if (pathname === "/prismel.html") return response.writeHead(200, { "content-type": "text/html" }).end(readFileSync(join(root, "web/dist/prismel.html")));
  const file = pathname.startsWith("/npm/") ? join(root, "web/dist", pathname) : join(sdk, pathname);
  if (!existsSync(file)) return response.writeHead(404).end();
  response.writeHead(200, { "content-type": types[extname(file)] ?? "text/plain" }).end(readFileSync(file));
}).listen(0, "127.0.0.1");
await new Promise((resolve) => server.once("listening", resolve));
const base = `http://127.0.0.1:${server.address().port}`;
const browser = await openBrowser();
const page = await browser.newPage();
page.setDefaultTimeout(patience);
const faults = [];
page.on("pageerror", (error) => faults.push(String(error)));
// What the SDK's page would fetch from elsewhere.
await page.route((url) => url.origin !== base && url.protocol.startsWith("http"), (route) => route.abort());

const helpers = `
  globalThis.base64 = (array) => {
    const bytes = new Uint8Array(array.buffer, array.byteOffset, array.byteLength);
    let letters = "";
    for (let at = 0; at < bytes.length; at += 32768) letters += String.fromCharCode(...bytes.subarray(at, at + 32768));
    return btoa(letters);
  };
  globalThis.offline = async (rate, frames) => {
    const { readWav } = await import("/npm/index.js");
    const { channels } = readWav(new Uint8Array(await (await fetch("/in.wav")).arrayBuffer()));
    const context = new OfflineAudioContext(2, frames, rate);
    const buffer = context.createBuffer(2, frames, rate);
    channels.forEach((channel, c) => buffer.copyToChannel(channel, c));
    const source = context.createBufferSource();
    source.buffer = buffer;
    source.start();
    return { context, source };
  };`;
const floats = (text) => new Float32Array(new Uint8Array(Buffer.from(text, "base64")).buffer);
const frames = channels[0].length;

await page.goto(`${base}/empty.html`);
await page.evaluate(helpers);
const node = await page.evaluate(async ({ rate, frames }) => {
  const { createPrismel } = await import("/npm/index.js");
  const { context, source } = await offline(rate, frames);
  const effect = await createPrismel(context, { preset: "Suspended Cloud" });
  source.connect(effect).connect(context.destination);
  let fault = "";
  try { effect.set("Kombcutoff", 0.5); } catch (error) { fault = `${error.name}: ${error.message}`; }
  const done = await context.startRendering();
  return { latency: effect.latency, fault, text: effect.text("FXType"), channels: [0, 1].map((c) => base64(done.getChannelData(c))) };
}, { rate: sampleRate, frames });
const reference = expected("suspended-cloud");
check(compare(node.channels.map((t) => floats(t).subarray(node.latency)), reference.map((c) => c.subarray(0, frames - node.latency))).different === 0,
  `the package's node has the samples of prismel render, ${node.latency} frames late`);
check(node.text === "harmonizer" && node.fault.includes("Kombcutoff"), `texts and errors: ${node.text}; ${node.fault}`);

await page.goto(`${base}/host/index.html`);
await page.waitForSelector("#mount input");
const count = await page.locator("#mount label").count();
check(count > 40, `the SDK's host page loads the module and shows its ${count} knobs`);
await page.evaluate(helpers);
const wam = await page.evaluate(async ({ rate, frames }) => {
  const { default: initializeWamHost } = await import("/src/initializeWamHost.js");
  const { default: Module } = await import("/index.js");
  const make = async (state) => {
    const { context, source } = await offline(rate, frames);
    const [group] = await initializeWamHost(context);
    const instance = await Module.createInstance(group, context, state);
    source.connect(instance.audioNode).connect(context.destination);
    return { context, node: instance.audioNode, instance };
  };
  // A knob by automation, half way.
  const { loadParts } = await import("/npm/index.js");
  const { engine } = await loadParts();
  const table = engine.table();
  const symbol = (name) => table.parameters.find((p) => p.name === name).symbol;
  const a = await make();
  const info = await a.node.getParameterInfo();
  const half = frames / 2 / rate;
  a.node.scheduleEvents({ type: "wam-automation", time: half, data: { id: symbol("OutputGain"), value: 0, normalized: true } });
  await a.node.getCompensationDelay();  // an answer: what was sent before has come, too
  const automated = await a.context.startRendering();
  const plain = await (await make()).context.startRendering();
  // State out of one, into the next: a preset's values by symbol.
  const { sound } = engine.readPreset(table.presets.find((p) => p.file === "metal-rain").json);
  const values = {};
  for (const p of table.parameters) if (info[p.symbol] !== undefined && p.inPresets) values[p.symbol] = { id: p.symbol, value: sound[p.index], normalized: true };
  const b = await make();
  await b.node.setState({ parameterValues: values });
  const state = JSON.parse(JSON.stringify(await b.node.getState()));
  const c = await make(state);
  const delay = await c.node.getCompensationDelay();
  const restored = await c.context.startRendering();
  return {
    knobs: Object.keys(info).length, delay, descriptor: a.instance.descriptor.name,
    automated: base64(automated.getChannelData(0)), plain: base64(plain.getChannelData(0)), restored: [0, 1].map((k) => base64(restored.getChannelData(k))),
  };
}, { rate: sampleRate, frames });
const [plain, automated] = [wam.plain, wam.automated].map(floats);
const half = Math.floor(frames / 2);
const isSame = compare([plain.subarray(0, half)], [automated.subarray(0, half)]).different === 0;
// The gain glides for a tenth of a second, and then stands at -12 dB.
const ratio = compare([plain.subarray(half + 8000).map((x) => x * 10 ** -0.6)], [automated.subarray(half + 8000)]).worstDb;
check(isSame && ratio < -80, `automation: nothing changes before its moment, and the gain stands 12 dB lower behind it (within ${ratio.toFixed(0)} dB)`);
const latency = Math.round(wam.delay * sampleRate);
const result = compare(wam.restored.map((t) => floats(t).subarray(latency)), expected("metal-rain").map((c) => c.subarray(0, frames - latency)));
check(result.different === 0, `a state of ${wam.knobs} knobs, restored in another instance, has the samples of prismel render (${result.different} differ)`);
await page.goto(`${base}/prismel.html`);
await page.waitForSelector("html[data-ready]", { state: "attached" });
await page.click("#play");
await page.waitForFunction(() => prismel.player.live[5] > -60 && prismel.player.quanta > 0);
check(true, "the page plays from a web server as well");
check(faults.length === 0, `no page reports a fault${faults.length > 0 ? `: ${faults.join(" | ")}` : ""}`);
await browser.close();
server.close();
finish();
