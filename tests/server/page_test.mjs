// Tests the page in headless Chromium: page_test.mjs ADDRESS SCREENSHOT_FOLDER
// The served folder must contain tour.flv, audio-only.flv, no-list.flv and broken.flv.
import assert from "node:assert/strict";
import puppeteer from "puppeteer-core";

const [address, screenshots] = process.argv.slice(2);
const browser = await puppeteer.launch({
  executablePath: process.env.QBFLV_CHROMIUM || "/usr/bin/chromium",
  args: ["--no-sandbox", "--autoplay-policy=no-user-gesture-required"],
});

try {
  const page = await browser.newPage();
  const errors = [];
  page.on("pageerror", (error) => errors.push(error.message));
  await page.setViewport({ width: 1280, height: 800 });
  await page.goto(address, { waitUntil: "networkidle0" });

  const state = () => page.evaluate(() => ({
    time: now(), paused: video.paused, width: video.videoWidth, played: video.currentTime,
    ended: video.ended, shown: byId("time").textContent,
    message: byId("message").textContent, isError: byId("message").classList.contains("error"),
  }));
  const choose = (name) => page.evaluate((wanted) => {
    [...document.querySelectorAll("#list button")].find((button) => button.textContent.startsWith(wanted)).click();
  }, name);
  const seekTo = (time) => page.evaluate((value) => {
    position.value = value;
    position.dispatchEvent(new Event("change"));
  }, time);
  // Waits for a state. On failure prints the current one.
  const until = async (what, condition) => {
    for (let i = 0; i < 300; ++i) {
      if (condition(await state())) return;
      await new Promise((resolve) => setTimeout(resolve, 50));
    }
    assert.fail(`${what}: ${JSON.stringify(await state())}`);
  };

  const names = await page.$$eval("#list .name", (spans) => spans.map((span) => span.textContent));
  assert.deepEqual(names, ["audio-only.flv", "broken.flv", "no-list.flv", "tour.flv"]);
  const durations = await page.$$eval("#list .duration", (spans) => spans.map((span) => span.textContent));
  assert.deepEqual(durations, ["0:10", "not playable", "0:10", "0:10"]);

  for (const name of ["audio-only", "no-list", "tour"]) {
    await choose(name);
    await until(`${name} plays`, (now) => now.played > 0.3 && now.time < 3 && (now.width > 0) === (name !== "audio-only"));
    await seekTo(6.5);
    await until(`${name} seeks`, (now) => now.time > 5.9 && now.time < 9 && now.played > 0.1);
    await seekTo(2);
    await until(`${name} seeks back`, (now) => now.time > 1.9 && now.time < 4 && now.played > 0.1);
  }
  await page.keyboard.press(" ");
  await until("space pauses", (now) => now.paused);
  await page.keyboard.press("Home");
  await until("home starts again", (now) => now.time < 0.5 && now.shown === "0:00 / 0:10" && now.paused);
  await seekTo(9.5);
  await page.keyboard.press(" ");
  await until("the film ends", (now) => now.ended);
  await page.keyboard.press(" ");
  await until("space plays it again", (now) => now.played > 0.1 && now.time < 3 && !now.paused);
  await seekTo(5);
  await until("the film goes on", (now) => now.time > 4.5);
  await page.screenshot({ path: `${screenshots}/page-desktop.png` });

  await choose("broken");
  await until("an error is shown in words", (now) => now.isError && now.message === "This is not an FLV file.");
  await page.screenshot({ path: `${screenshots}/page-error.png` });
  await page.setViewport({ width: 390, height: 780 });
  await page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: "dark" }]);
  const overflow = await page.evaluate(() => document.documentElement.scrollWidth - window.innerWidth);
  assert.ok(overflow <= 0, "the page is wider than a phone");
  await page.screenshot({ path: `${screenshots}/page-narrow.png` });
  assert.deepEqual(errors, []);
} finally {
  await browser.close();
}
