// Debian's Chromium without a window, and the page in it.
import { existsSync } from "node:fs";
import { join } from "node:path";
import { pathToFileURL } from "node:url";
import { chromium } from "playwright-core";
import { root } from "./support.mjs";

export { root };
export const chromiumPath = process.env.CHROMIUM ?? "/usr/bin/chromium";
export const pageFile = join(root, "web/dist/prismel.html");

export async function openBrowser(...more) {
  if (!existsSync(chromiumPath)) throw new Error(`${chromiumPath} is missing; scripts/setup --web installs it.`);
  return chromium.launch({
    executablePath: chromiumPath,
    args: ["--no-sandbox", "--autoplay-policy=no-user-gesture-required", "--use-fake-ui-for-media-stream", "--use-fake-device-for-media-stream", ...more],
  });
}

/** The built page from its file, ready. `faults` collects what the console and the page report. */
export async function openPage(browser, options = {}, url = pathToFileURL(pageFile).href) {
  const context = await browser.newContext(options);
  const page = await context.newPage();
  const faults = [], requests = [];
  page.on("console", (message) => { if (["error", "warning"].includes(message.type())) faults.push(message.text()); });
  page.on("pageerror", (error) => faults.push(String(error)));
  page.on("request", (request) => requests.push(request.url()));
  await page.goto(url);
  await page.waitForSelector("html[data-ready], .message.shown", { timeout: 20000, state: "attached" });
  return { context, page, faults, requests };
}
