// The built page in Chromium: its sound against `prismel render`, live playing, bad input, keys, what it asks the network.
// With PRISMEL_LIVE_SECONDS, the length of the live run, it also holds how soon the page sounds and that it keeps up.
import { readFileSync, statSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { openBrowser, openPage, pageFile, root, sentenceWith } from "./browser-support.mjs";
import { check, checkSpeed, compare, finish, isMeasuring, loadSources, prismel, recording, scratch } from "./support.mjs";

const { readWav, writeWav } = await loadSources("wav.ts");
const { loops } = await loadSources("page/loops.ts");
const liveSeconds = Number(process.env.PRISMEL_LIVE_SECONDS ?? 12);
const browser = await openBrowser();

const toBase64 = (array) => Buffer.from(array.buffer, array.byteOffset, array.byteLength).toString("base64");
const fromBase64 = (text) => new Float32Array(new Uint8Array(Buffer.from(text, "base64")).buffer);

{
  const { context, page, faults, requests } = await openPage(browser);
  const size = statSync(pageFile).size;
  check(size < 1.5 * 2 ** 20, `the page is one file of ${(size / 1024).toFixed(0)} KB (limit 1536)`);

  /** Milliseconds from opening to ready, and from the press to the first sound. */
  const start = async (target) => {
    const ready = Number(await target.getAttribute("html", "data-ready"));
    const pressed = Date.now();
    await target.click("#play");
    await target.waitForFunction(() => prismel.player.live[5] > -60, null, { polling: 5 });
    return [ready, Date.now() - pressed];
  };
  // The best of three: other work on the machine is not the page's.
  const starts = [await start(page)];
  while (isMeasuring && starts.length < 3 && starts.at(-1)[0] + starts.at(-1)[1] >= 1000) {
    const again = await openPage(browser);
    starts.push(await start(again.page));
    await again.context.close();
  }
  const [ready, first] = starts.at(-1);
  checkSpeed(ready + first < 1000, `ready ${ready} ms after opening, first sound ${first} ms after the press (limit together 1000)`);

  // An OfflineAudioContext at two rates.
  const keys = join(scratch, "keys.wav");
  writeFileSync(keys, writeWav(loops[0].make(48000), 48000));
  for (const [input, presets] of [
    [recording("guit_em9", 4), ["glass-choir", "smooth-wander", "stair-steps", "octave-halo", "wavefolder-bloom", "drifting-ensemble"]],
    [keys, ["glass-choir", "slow-prism", "formant-fan", "major-sky", "old-sampler", "cold-valve"]],
  ]) {
    const { sampleRate, channels } = readWav(readFileSync(input));
    const texts = await page.evaluate(async ({ rate, data, names }) => {
      const floats = (text) => new Float32Array(Uint8Array.from(atob(text), (c) => c.charCodeAt(0)).buffer);
      const base64 = (array) => {
        const bytes = new Uint8Array(array.buffer);
        let letters = "";
        for (let at = 0; at < bytes.length; at += 32768) letters += String.fromCharCode(...bytes.subarray(at, at + 32768));
        return btoa(letters);
      };
      const inputs = data.map(floats);
      const results = [];
      for (const name of names) {
        const offline = new OfflineAudioContext(2, inputs[0].length, rate);
        const node = await prismel.Prismel.create(offline, prismel.parts, { preset: name });
        const buffer = offline.createBuffer(2, inputs[0].length, rate);
        inputs.forEach((channel, c) => buffer.copyToChannel(channel, c));
        const source = offline.createBufferSource();
        source.buffer = buffer;
        source.connect(node).connect(offline.destination);
        source.start();
        const done = await offline.startRendering();
        results.push({ latency: node.latency, channels: [0, 1].map((c) => base64(done.getChannelData(c))) });
      }
      return results;
    }, { rate: sampleRate, data: channels.map(toBase64), names: presets });
    let equal = 0;
    presets.forEach((name, i) => {
      const out = join(scratch, "expected.wav");
      prismel("render", "-q", "-y", "-f", "float", "--mono", "-P", join(root, "presets", `${name}.json`), input, out);
      const expected = readWav(readFileSync(out)).channels;
      const { latency, channels: got } = texts[i];
      const result = compare(got.map((t) => fromBase64(t).subarray(latency)), expected.map((c) => c.subarray(0, channels[0].length - latency)));
      if (result.different === 0) ++equal;
      else console.log(`     ${name} at ${sampleRate} Hz: ${result.different} samples, ${result.worstDb.toFixed(1)} dB`);
    });
    check(equal === presets.length, `OfflineAudioContext at ${sampleRate} Hz: ${equal} of ${presets.length} presets have the bits of prismel render`);
  }

  // Live, with random hands on every knob.
  const live = await page.evaluate(async (seconds) => {
    const { store, table, player } = prismel;
    let x = 1;
    const random = () => { x ^= x << 13; x ^= x >>> 17; x ^= x << 5; return (x >>> 0) / 2 ** 32; };
    const knobs = table.parameters.filter((p) => p.role === "main" && p.name !== "Bypass");
    const { context } = player;
    const stats = () => context.playbackStats && { events: context.playbackStats.underrunEvents ?? context.playbackStats.fallbackFramesEvents };
    const before = { quanta: player.quanta, time: context.currentTime, wall: performance.now(), missed: player.missed, stats: stats() };
    let frames = 0, longest = 0, last = performance.now();
    const frame = (now) => { ++frames; longest = Math.max(longest, now - last); last = now; if (now - before.wall < seconds * 1000) requestAnimationFrame(frame); };
    requestAnimationFrame(frame);
    while (performance.now() - before.wall < seconds * 1000) {
      for (let i = 0; i < 3; ++i) {
        const knob = knobs[Math.floor(random() * knobs.length)];
        store.set(knob.index, random());
      }
      if (random() < 0.03) store.load(table.presets[Math.floor(random() * table.presets.length)].json);
      await new Promise((resolve) => setTimeout(resolve, 50));
    }
    await new Promise((resolve) => setTimeout(resolve, 200));
    return {
      quanta: player.quanta - before.quanta, missed: player.missed - before.missed, audio: context.currentTime - before.time,
      wall: (performance.now() - before.wall) / 1000, rate: context.sampleRate, frames, longest, stats: [before.stats, stats()],
      finite: [...player.live].every(Number.isFinite),
    };
  }, liveSeconds);
  check(live.finite && live.quanta > 0 && live.frames > 0, `${live.wall.toFixed(0)} s live with random knobs: what it shows stays finite`);
  checkSpeed(live.missed === 0 && Math.abs(live.quanta * 128 / live.rate - live.audio) < 0.1,
    `${live.wall.toFixed(0)} s live with random knobs: ${live.quanta} quanta, ${live.missed} missed by the worklet's clock`);
  checkSpeed(Math.abs(live.audio - live.wall) < 0.25, `the context's clock kept up: ${live.audio.toFixed(2)} s of sound in ${live.wall.toFixed(2)} s`);
  console.log(`     pictures: ${(live.frames / live.wall).toFixed(0)} a second, longest pause ${live.longest.toFixed(0)} ms; ${JSON.stringify(live.stats)}`);

  // The WAV that the page saves is the command's.
  const samples = join(scratch, "in.wav");
  writeFileSync(samples, readFileSync(recording("loop_amen_full", 2)));
  await page.setInputFiles("input[aria-label='Audio file']", samples);
  await page.waitForFunction(() => prismel.player.source.kind === "file");
  await page.evaluate(() => prismel.store.load(prismel.table.presets.find((p) => p.file === "metal-rain").json));
  const [download] = await Promise.all([page.waitForEvent("download"), page.click("text=Render WAV")]);
  await download.saveAs(join(scratch, "page.wav"));
  prismel("render", "-q", "-y", "-f", "float", "--mono", "-P", join(root, "presets/metal-rain.json"), samples, join(scratch, "command.wav"));
  const [ours, theirs] = ["page.wav", "command.wav"].map((name) => readWav(readFileSync(join(scratch, name))).channels);
  check(compare(ours, theirs).different === 0, `"Render WAV" of a 44.1 kHz file has the ${ours[0].length} frames of prismel render`);

  // A file that is dropped.
  await page.evaluate((data) => {
    const files = new DataTransfer();
    files.items.add(new File([Uint8Array.from(atob(data), (c) => c.charCodeAt(0))], "dropped.wav"));
    document.body.dispatchEvent(new DragEvent("drop", { dataTransfer: files, bubbles: true, cancelable: true }));
  }, readFileSync(samples).toString("base64"));
  await page.waitForFunction(() => prismel.player.source.name === "dropped.wav" && prismel.player.isPlaying);
  check(true, "a dropped file plays");

  // A preset out and in again, and through the command.
  await page.click("[title=Menu]");
  await page.click("text=Save preset to a file");
  await page.fill("dialog[open] input >> nth=0", "My rain");
  const [preset] = await Promise.all([page.waitForEvent("download"), page.click("text=Save file")]);
  const presetFile = join(scratch, "my-rain.json");
  await preset.saveAs(presetFile);
  prismel("render", "-q", "-y", "-f", "float", "--mono", "-P", presetFile, samples, join(scratch, "saved.wav"));
  check(compare(readWav(readFileSync(join(scratch, "saved.wav"))).channels, theirs).different === 0, "a preset saved by the page sounds the same in the command");
  const before = await page.evaluate(() => [...prismel.store.sound]);
  await page.evaluate(() => prismel.store.load(prismel.table.presets[0].json));
  await page.setInputFiles("input[aria-label='Preset file']", presetFile);
  await page.waitForFunction(() => prismel.store.name === "My rain");
  const after = await page.evaluate(() => [...prismel.store.sound]);
  check(before.every((value, i) => Math.abs(value - after[i]) < 1e-6), "and comes back as it was");

  // Keys and what a screen reader hears.
  const big = page.locator("input[aria-label=Prismelion]");
  await big.focus();
  const from = await page.evaluate(() => prismel.store.get(prismel.knob("Prismel_Prismelion").index));
  await page.keyboard.press("ArrowUp");
  const to = await page.evaluate(() => prismel.store.get(prismel.knob("Prismel_Prismelion").index));
  check(Math.abs(to - from - 0.02) < 1e-6 && (await big.getAttribute("aria-valuetext")).length > 0, "an arrow key turns the focused knob and its value has a text");
  await page.keyboard.press("Control+z");
  check(Math.abs(await page.evaluate(() => prismel.store.get(prismel.knob("Prismel_Prismelion").index)) - from) < 1e-6, "Ctrl+Z takes it back");
  await page.keyboard.press("Enter");
  await page.keyboard.type("2 cows");
  await page.keyboard.press("Enter");
  check(true, `a value that is none: ${await sentenceWith(page, "cows")}`);
  const nameless = await page.evaluate(() => [...document.querySelectorAll("button, input, select")].filter((e) =>
    !e.hidden && !e.closest("[hidden]") && !(e.getAttribute("aria-label") || e.textContent.trim() || e.closest("label")?.textContent.trim() || e.title)).length);
  check(nameless === 0, "every button and input has a name");

  // Files that are none: a sentence, and what plays goes on.
  const sentence = async (file, word) => {
    await page.setInputFiles(file.endsWith(".json") ? "input[aria-label='Preset file']" : "input[aria-label='Audio file']", file);
    return sentenceWith(page, word);
  };
  writeFileSync(join(scratch, "letter.wav"), "Dear sir, this is not a recording.");
  const wasSounding = await page.evaluate(() => JSON.stringify([...prismel.store.sound]));
  console.log(`     ${await sentence(join(scratch, "letter.wav"), "letter.wav")}`);
  writeFileSync(join(scratch, "future.json"), JSON.stringify({ schema: 9, name: "Future", parameters: {} }));
  console.log(`     ${await sentence(join(scratch, "future.json"), "future.json")}`);
  writeFileSync(join(scratch, "broken.json"), "{");
  console.log(`     ${await sentence(join(scratch, "broken.json"), "broken.json")}`);
  check(await page.evaluate((s) => JSON.stringify([...prismel.store.sound]) === s && prismel.player.isPlaying, wasSounding), "bad files cost a sentence each and nothing else");

  // The microphone, and a second context.
  await page.click("text=Microphone");
  await page.waitForFunction(() => prismel.player.source.kind === "microphone" && prismel.player.isPlaying);
  check(true, "the (pretended) microphone plays");
  const second = await page.evaluate(async () => {
    const context = new AudioContext();
    const node = await prismel.Prismel.create(context, prismel.parts, { preset: "Metal Rain" });
    const { latency } = node;
    node.end();
    await context.close();
    return latency;
  });
  check(second > 0, "a second context takes a second effect");
  check(requests.every((url) => /^(file|data|blob):/.test(url)), `no request left the machine (${requests.length} in all, the page's own)`);
  check(faults.length === 0, `the console is empty${faults.length > 0 ? `: ${faults.join(" | ").slice(0, 400)}` : ""}`);
  await context.close();
}

// Without a microphone, and without worklets.
{
  const { context, page } = await openPage(browser);
  await page.evaluate(() => { navigator.mediaDevices.getUserMedia = () => Promise.reject(new DOMException("", "NotFoundError")); });
  await page.click("text=Microphone");
  check(true, `no microphone: ${await sentenceWith(page, "No microphone")}`);
  await context.close();
}
{
  const { context, page } = await openPage(browser);
  await page.evaluate(() => { Object.defineProperty(BaseAudioContext.prototype, "audioWorklet", { value: undefined }); });
  await page.click("#play");
  check(true, `no worklets: ${await sentenceWith(page, "worklets")}`);
  await context.close();
}
// On the narrowest phone nothing is cut off.
for (const width of [320, 390, 700, 1000]) {
  const { context, page } = await openPage(browser, { viewport: { width, height: 800 } });
  const wide = await page.evaluate(() => document.documentElement.scrollWidth - document.documentElement.clientWidth);
  check(wide <= 0, `${width} px wide: nothing sticks out`);
  await context.close();
}
await browser.close();
finish();
