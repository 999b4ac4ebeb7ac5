// Screenshots of the page for docs/pictures: node web/test/pictures.mjs [FOLDER]
import { join } from "node:path";
import { openBrowser, openPage, root } from "./browser-support.mjs";

const folder = process.argv[2] ?? join(root, "docs/pictures");
const browser = await openBrowser();
for (const [name, width, height, scheme, touch] of [
  ["web-desktop-dark", 1120, 860, "dark", false], ["web-desktop-light", 1120, 860, "light", false],
  ["web-phone-dark", 390, 844, "dark", true], ["web-phone-light", 390, 844, "light", true],
]) {
  const { page, context } = await openPage(browser, {
    viewport: { width, height }, colorScheme: scheme, hasTouch: touch, isMobile: touch, deviceScaleFactor: touch ? 2 : 1,
  });
  await page.evaluate(() => {
    const { store, knob } = prismel;
    store.set(knob("Prismel_Prismelion").index, 0.55);
    store.set(knob("LFOPrismelAmount").index, 0.68);
  });
  await page.click("#play");
  await page.waitForTimeout(1500);
  await page.screenshot({ path: join(folder, `${name}.png`) });
  if (touch) await page.screenshot({ path: join(folder, `${name}-whole.png`), fullPage: true });
  await context.close();
}
await browser.close();
