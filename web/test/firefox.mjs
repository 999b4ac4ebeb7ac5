// The page in Firefox: it loads from its file, plays, and renders the samples of `prismel render`.
import { existsSync, readFileSync } from "node:fs";
import { join } from "node:path";
import { pathToFileURL } from "node:url";
import puppeteer from "puppeteer-core";
import { check, compare, finish, loadSources, patience, prismel, recording, root, scratch } from "./support.mjs";

const executablePath = process.env.FIREFOX ?? "/usr/bin/firefox-esr";
if (!existsSync(executablePath)) {
  console.error("SKIPPED: the Firefox test of web/, for lack of firefox-esr; scripts/setup --web-firefox installs it.");
  process.exit(0);
}
const { readWav } = await loadSources("wav.ts");
const input = recording("guit_em9", 3);
const { sampleRate, channels } = readWav(readFileSync(input));

const browser = await puppeteer.launch({
  browser: "firefox", executablePath, headless: true, timeout: patience, protocolTimeout: patience,
  extraPrefsFirefox: { "media.autoplay.default": 0 },
});
const page = await browser.newPage();
page.setDefaultTimeout(patience);
const faults = [];
page.on("pageerror", (error) => faults.push(String(error)));
await page.goto(pathToFileURL(join(root, "web/dist/prismel.html")).href);
await page.waitForSelector("html[data-ready]");
check(true, "the page is ready, opened from its file");

const result = await page.evaluate(async (rate, data) => {
  const floats = (text) => new Float32Array(Uint8Array.from(atob(text), (c) => c.charCodeAt(0)).buffer);
  const inputs = data.map(floats);
  const context = new OfflineAudioContext(2, inputs[0].length, rate);
  const node = await prismel.Prismel.create(context, prismel.parts, { preset: "Smooth Wander" });
  const buffer = context.createBuffer(2, inputs[0].length, rate);
  inputs.forEach((channel, c) => buffer.copyToChannel(channel, c));
  const source = context.createBufferSource();
  source.buffer = buffer;
  source.connect(node).connect(context.destination);
  source.start();
  const done = await context.startRendering();
  return { latency: node.latency, channels: [0, 1].map((c) => {
    const bytes = new Uint8Array(done.getChannelData(c).buffer);
    let letters = "";
    for (let at = 0; at < bytes.length; at += 32768) letters += String.fromCharCode(...bytes.subarray(at, at + 32768));
    return btoa(letters);
  }) };
}, sampleRate, channels.map((c) => Buffer.from(c.buffer).toString("base64")));
const out = join(scratch, "expected.wav");
prismel("render", "-q", "-y", "-f", "float", "--mono", "-P", join(root, "presets/smooth-wander.json"), input, out);
const frames = channels[0].length - result.latency;
const got = result.channels.map((t) => new Float32Array(new Uint8Array(Buffer.from(t, "base64")).buffer).subarray(result.latency));
const difference = compare(got, readWav(readFileSync(out)).channels.map((c) => c.subarray(0, frames)));
check(difference.different === 0, `an OfflineAudioContext has the samples of prismel render (${difference.different} differ)`);
await page.screenshot({ path: join(scratch, "firefox.png") });
check(faults.length === 0, `no fault is reported${faults.length > 0 ? `: ${faults.join(" | ")}` : ""}`);
await browser.close();
finish();
