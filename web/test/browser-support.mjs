// Debian's Chromium without a window, and the page in it.
import { existsSync } from "node:fs";
import { join } from "node:path";
import { pathToFileURL } from "node:url";
import { chromium } from "playwright-core";
import { patience, root } from "./support.mjs";

export { root };
export const chromiumPath = process.env.CHROMIUM ?? "/usr/bin/chromium";
export const pageFile = join(root, "web/dist/prismel.html");

export async function openBrowser(...more) {
  if (!existsSync(chromiumPath)) throw new Error(`${chromiumPath} is missing; scripts/setup --web installs it.`);
  return chromium.launch({
    executablePath: chromiumPath,
    timeout: patience,
    args: ["--no-sandbox", "--autoplay-policy=no-user-gesture-required", "--use-fake-ui-for-media-stream", "--use-fake-device-for-media-stream", ...more],
  });
}

/** The built page from its file, ready. `faults` collects what the console and the page report, `said` in the page its sentences. */
export async function openPage(browser, options = {}, url = pathToFileURL(pageFile).href) {
  const context = await browser.newContext(options);
  context.setDefaultTimeout(patience);
  const page = await context.newPage();
  // They go after some seconds, which may be before somebody looks.
  await page.addInitScript(() => {
    globalThis.said = [];
    new MutationObserver(() => {
      const sentence = document.querySelector(".message.shown")?.textContent;
      if (sentence && said.at(-1) !== sentence) said.push(sentence);
    }).observe(document, { subtree: true, childList: true, attributes: true, characterData: true });
  });
  const faults = [], requests = [];
  page.on("console", (message) => { if (["error", "warning"].includes(message.type())) faults.push(message.text()); });
  page.on("pageerror", (error) => faults.push(String(error)));
  page.on("request", (request) => requests.push(request.url()));
  await page.goto(url);
  await page.waitForSelector("html[data-ready], .message.shown", { state: "attached" });
  return { context, page, faults, requests };
}

/** The next sentence of the page with `word` in it. */
export async function sentenceWith(page, word) {
  const found = await page.waitForFunction((w) => {
    const at = said.findIndex((sentence) => sentence.includes(w));
    return at >= 0 && said.splice(0, at + 1).at(-1);
  }, word);
  return found.jsonValue();
}
