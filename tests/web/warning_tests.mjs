// What the page says of a console whose input the driver ignores, before and after it is put in place; and what it does when it
// hears nothing more.
import { expect, expectEqual, key, open, putRing, stepsAre, stepsOf, until } from "./rig.mjs";

const text = (page, selector) => page.textContent(selector);

export const warningTests = [
  ["Release_WhoseRequestFails_IsSentWhenThePageIsBack", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await page.waitForSelector('#link[data-link="active"]');
    await page.hover(key(20));
    await page.mouse.down();
    await until(page, () => document.getElementById("wire").textContent.includes("key T (code 20)"));
    await page.route("**/do", (route) => route.abort());
    const failed = page.waitForEvent("requestfailed");
    await page.mouse.up();
    await failed;
    await page.unroute("**/do");
    page.complaints = []; // of the browser, about the request
    await page.evaluate(() => document.dispatchEvent(new Event("visibilitychange")));
    await until(page, () => document.getElementById("wire").textContent.includes("key T (code 20) released"));
  }],

  ["Desk_OfFirmware6_IsWarnedOfBeforeAndAfter", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    expectEqual(await text(page, "#swap-warning"), "", "the warning for firmware 7");
    await page.getByLabel("Firmware").fill("6");
    await page.getByLabel("Model").selectOption("other");
    expect((await text(page, "#swap-warning")).includes("ignores the keys, ring and wheel of version 6"), "the page warns before");
    await page.getByRole("button", { name: "Swap anyway" }).click();
    await until(page, () => document.getElementById("link").textContent === "Console active, version 6");
    expect((await text(page, "#faults-note")).includes("firmware 6"), "the note names the firmware");
    expectEqual(await page.getAttribute("#link", "data-link"), "limited", "the state beside the title");
    expect((await text(page, "#warning")).includes("version 7 is needed"), "the page warns");
    expect(await page.isVisible("#warning"), "the warning is visible");
    await page.focus("#ring");
    await putRing(page, 200);
    await page.keyboard.press("T");
    await until(page, () => document.getElementById("wire").textContent.includes("key T (code 20) released; ignored"));
    expect((await text(page, "#wire")).includes("wheel +0; ignored"), "the ring's message is ignored");
    expectEqual(await text(page, "#speed"), "stopped", "speed");
    await page.getByLabel("Firmware").fill("7");
    await page.getByRole("button", { name: "Swap", exact: true }).click();
    await page.waitForSelector('#link[data-link="active"]');
    expect(await page.isHidden("#warning"), "the warning has gone");
  }],

  ["Desk_OfFirmware8AndAnother_IsWarnedOfBeforeAndAfter", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    const swap = async (firmware) => { // what the page warned of before
      await page.getByLabel("Firmware").fill(String(firmware));
      const warning = await text(page, "#swap-warning");
      await page.getByRole("button", { name: warning ? "Swap anyway" : "Swap", exact: true }).click();
      await until(page, (wanted) => document.getElementById("faults-note").textContent.includes(`firmware ${wanted}.`), firmware);
      await until(page, (wanted) => [...document.querySelectorAll("#wire li")].map((line) => line.textContent).filter((line) => line.includes("version ")).at(-1)?.endsWith(`version ${wanted}`), firmware);
      return warning;
    };
    const before = await swap(8);
    expect(before.includes("ignores the ring and wheel of every other version"), "the page warns of version 8");
    expect(before.includes("restart cvhost"), "and names the way out");
    await page.waitForSelector('#link[data-link="active"]');
    await page.focus("#ring");
    await putRing(page, 200);
    await until(page, () => document.getElementById("speed").textContent === "×1.46 forward");
    await page.keyboard.press("Home");
    await until(page, () => document.getElementById("speed").textContent === "stopped");
    const back = await swap(7);
    expect(back.includes("restart cvhost"), "the page warns of the way back");
    await page.waitForSelector('#link[data-link="limited"]');
    expect((await text(page, "#warning")).includes("restart cvhost"), "the page says what is ignored");
    await page.focus("#ring");
    await putRing(page, 200);
    await until(page, () => document.getElementById("wire").textContent.includes("wheel +0; ignored"));
    await page.click(key(20));
    await host.event("key", { code: 20 });
    expectEqual(await text(page, "#speed"), "stopped", "speed");
    await swap(8);
    await page.waitForSelector('#link[data-link="active"]');
    expect(await page.isHidden("#warning"), "the warning has gone");
  }],

  ["Stream_LostWhileKeyAndRingAreHeld_LetsGoOfBoth", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await page.focus("#ring");
    await putRing(page, 207);
    await host.event("handler", { code: 0, ispeed: 1877 });
    await page.evaluate(() => dispatchEvent(new KeyboardEvent("keydown", { key: "E", code: "KeyE" })));
    await host.event("key", { code: 5 });
    const from = host.count("handler");
    await page.route("**/events", (route) => route.abort());
    await page.evaluate(() => document.dispatchEvent(new Event("visibilitychange"))); // the page connects anew, in vain
    await host.event("handler", { code: 0, ispeed: 0 }, from);
    await host.until(() => host.sent("rx").includes("EU "), "the release");
    expectEqual(await page.getAttribute("#ring", "aria-valuetext"), "centre", "ring");
    page.complaints = []; // of the browser, about the connection
  }],

  ["Host_StandsStillAndGoesOn_PageSaysSoAndRecovers", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    const steps = await stepsOf(page);
    const dimmed = () => page.evaluate(() => getComputedStyle(document.getElementById("desk")).filter !== "none");
    expect(!await dimmed(), "the desk is lit");
    host.process.kill("SIGSTOP");
    try {
      await until(page, () => document.getElementById("gone").textContent.startsWith("cvhost does not answer"));
      expect(await page.isVisible("#gone"), "the page says so");
      await stepsAre(page, Array(6).fill("unknown").join());
      expectEqual(await page.textContent("#link"), "cvhost is away", "the link");
      expect(await dimmed(), "the desk is dimmed");
    } finally {
      host.process.kill("SIGCONT");
    }
    await page.waitForSelector('#link[data-link="active"]');
    await stepsAre(page, steps);
    expect(await page.isHidden("#gone"), "and no longer says so");
    expect(!await dimmed(), "the desk is lit again");
    await page.click(key(2));
    await host.event("key", { code: 2 });
  }],
];
