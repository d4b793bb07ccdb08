// How the page looks: what axe finds, where the panels are, where a line breaks.
import { axeSource, expect, expectEqual, key, open } from "./rig.mjs";

const widths = [360, 768, 844, 1024, 1440];

/// What all rules of axe find, those included that it leaves out unless asked.
async function findings(page) {
  const { violations, passes } = await page.evaluate(() =>
    axe.run({ rules: Object.fromEntries(axe.getRules().map(({ ruleId }) => [ruleId, { enabled: true }])) }));
  const passed = passes.map((rule) => rule.id);
  for (const rule of ["label-content-name-mismatch", "color-contrast-enhanced", "region"]) expect(passed.includes(rule), `${rule} has looked`);
  return violations.map((rule) => `${rule.id}: ${rule.nodes.map((node) => node.target.join(" ")).slice(0, 4).join(", ")}`);
}

export async function expectNoFindings(page, what, at) {
  for (const colorScheme of ["light", "dark"]) {
    await page.emulateMedia({ colorScheme });
    for (const width of at) {
      await page.setViewportSize({ width, height: 844 });
      expectEqual(await page.evaluate(() => document.documentElement.scrollWidth), width, "the page's width");
      expectEqual(await findings(page), [], `${what}, ${colorScheme}, ${width} wide`);
    }
  }
}

/// The panels' rows that do not reach from edge to edge, or whose panels end at different heights.
const raggedRows = () => {
  const boxes = [...document.querySelectorAll(".panels .panel")].map((panel) => panel.getBoundingClientRect());
  const grid = document.querySelector(".panels").getBoundingClientRect();
  const near = (one, other) => Math.abs(one - other) < 1;
  return Object.values(Object.groupBy(boxes, (box) => Math.round(box.top))).filter((row) =>
    !near(row[0].left, grid.left) || !near(row.at(-1).right, grid.right) || row.some((box) => !near(box.bottom, row[0].bottom))).length;
};

/// The numbers of the port's name that a line's end cuts in two.
const cutNumbers = () => {
  const cut = [];
  for (const place of document.querySelectorAll('#port, [data-step="port"] span, #log span')) {
    const walker = document.createTreeWalker(place, NodeFilter.SHOW_TEXT);
    for (let node = walker.nextNode(); node; node = walker.nextNode()) {
      for (const number of node.data.matchAll(/[0-9.:]*[0-9]/g)) {
        const range = document.createRange();
        range.setStart(node, number.index);
        range.setEnd(node, number.index + number[0].length);
        if (new Set([...range.getClientRects()].map((box) => Math.round(box.top))).size > 1) cut.push(number[0]);
      }
    }
  }
  return cut;
};

export const lookTests = [
  ["Accessibility_ConsoleActive_AxeFindsNothing", async ({ browser, start }) => {
    const page = await open(browser, await start());
    await page.click(key(20));
    await page.waitForSelector("#queue li");
    await page.evaluate(axeSource);
    await expectNoFindings(page, "active", widths);
  }],

  ["Accessibility_ConsoleLimited_AxeFindsNothing", async ({ browser, start }) => {
    const page = await open(browser, await start());
    await page.getByLabel("Firmware").fill("6");
    await page.getByRole("button", { name: "Swap anyway" }).click();
    await page.waitForSelector('#link[data-link="limited"]');
    await page.getByLabel("Firmware").fill("8");
    await page.evaluate(axeSource);
    await expectNoFindings(page, "limited", [360, 1024]);
  }],

  ["Accessibility_HostAway_AxeFindsNothing", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await page.evaluate(axeSource);
    await host.stop();
    await page.waitForSelector("#gone:not([hidden])");
    await expectNoFindings(page, "away", [360, 1024]);
    page.complaints = []; // of the browser, about the connection
  }],

  ["Layout_AtEachWidth_FillsItsRowsAndCutsNoNumber", async ({ browser, start }) => {
    const page = await open(browser, await start());
    for (const width of [...widths, 390, 640, 641, 900, 901, 1080, 1081, 1280]) {
      await page.setViewportSize({ width, height: 700 });
      expectEqual(await page.evaluate(raggedRows), 0, `ragged rows of panels at ${width}`);
      expectEqual(await page.evaluate(cutNumbers), [], `numbers cut at ${width}`);
    }
  }],
];
