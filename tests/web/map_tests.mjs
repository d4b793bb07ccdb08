// A map on the page: what each key does in the layer that is on.
import { mkdtempSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { expectNoFindings } from "./look_tests.mjs";
import { axeSource, expect, expectEqual, key, open, until } from "./rig.mjs";

// No program listens at this port, so the datagrams are lost.
const map = `target = "osc"
port = 9
[keys]
play = "/play"
E = { tap = "/edit/undo/with/a/very/long/address" }
[layer.zoom]
held = "H"
keys = { E = { tap = "/zoom" } }
`;

function mapFile() {
  const file = join(mkdtempSync(join(tmpdir(), "web-test-")), "map.toml");
  writeFileSync(file, map);
  return file;
}

const legend = (page, code) => page.textContent(`${key(code)} small`);
const legendBecomes = (page, code, wanted) =>
  until(page, ([selector, text]) => document.querySelector(selector).textContent === text, [`${key(code)} small`, wanted]);

export const mapTests = [
  ["Map_LayerOnAndOff_KeysSayWhatTheyDo", async ({ browser, start }) => {
    const page = await open(browser, await start(["--desk", "--map", mapFile()]));
    await legendBecomes(page, 11, "/play");
    expectEqual(await legend(page, 8), "zoom", "the key of the layer");
    expectEqual(await legend(page, 1), "", "a key that does nothing");
    expectEqual(await legend(page, 28), "Jog", "the jog key");
    expect((await page.getAttribute(key(11), "aria-label")).includes("/play"), "its name for a screen reader");
    await page.hover(key(8));
    await page.mouse.down();
    await legendBecomes(page, 5, "/zoom");
    await until(page, () => document.getElementById("plate-text").textContent === "simulated desk, layer zoom");
    await page.mouse.up();
    await legendBecomes(page, 5, "/edit/undo/with/a/very/long/address");
    await until(page, () => document.getElementById("plate-text").textContent === "simulated desk");
  }],

  ["Map_LongLegends_StayOnTheirKeys", async ({ browser, start }) => {
    const page = await open(browser, await start(["--desk", "--map", mapFile()]));
    await legendBecomes(page, 11, "/play");
    for (const [width, height] of [[1024, 700], [390, 844]]) {
      await page.setViewportSize({ width, height });
      const outside = await page.evaluate(() => [...document.querySelectorAll(".key")].filter((each) => {
        const [box, small] = [each, each.querySelector("small")].map((element) => element.getBoundingClientRect());
        return small.left < box.left - 1 || small.right > box.right + 1;
      }).map((each) => each.dataset.code));
      expectEqual(outside, [], `keys whose legend leaves them at ${width}x${height}`);
    }
    await page.evaluate(axeSource);
    await expectNoFindings(page, "with a map", [360, 1024]);
    expectEqual(await page.getAttribute(key(5), "title"), "E, code 5, lamp 10: /edit/undo/with/a/very/long/address", "title");
  }],

  ["Map_None_KeysKeepTheirWords", async ({ browser, start }) => {
    const page = await open(browser, await start());
    expectEqual([await legend(page, 11), await legend(page, 10), await legend(page, 28)], ["Play", "10", "Jog"], "legends");
    expectEqual(await page.getAttribute(key(11), "title"), "K, code 11, lamp 1", "title");
  }],
];
