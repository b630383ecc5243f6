// The document itself, and that nothing from outside becomes part of it.

import assert from "node:assert/strict";
import { createHash } from "node:crypto";
import { readFileSync } from "node:fs";
import { test } from "node:test";
import { text_becomes } from "./browser.mjs";
import { button, in_session, share_browser, show, with_page } from "./fixture.mjs";
import { snapshot } from "./scripted_server.mjs";

share_browser();

const DOCUMENT = readFileSync(process.env.TVN_PAGE, "utf8");
const MARKUP = `<img src="/x" onerror="window.hit = 1"><script>window.hit = 1</script>`;

test("one document of 55,773 bytes that names no other file than its two", () => {
  assert.equal(Buffer.byteLength(DOCUMENT), 55773);
  assert.ok(DOCUMENT.startsWith("<!DOCTYPE html>"));
  assert.deepEqual(DOCUMENT.match(/"\/[a-z]+\.[a-z]+"/g), ['"/ball.png"', '"/piano.wav"']);
  assert.doesNotMatch(DOCUMENT.replaceAll("http://www.w3.org/2000/svg", ""), /https?:\/\//);
});

test("folders go by upload, saving by export", () => {
  assert.doesNotMatch(DOCUMENT, /\/(batch_start|save)["`?]/);
});

test("the policy allows this script and this style, by hash, and nothing else", () => {
  const [, policy] = DOCUMENT.match(/Content-Security-Policy" content="([^"]*)"/);
  const hash = (tag) => {
    const [, text] = DOCUMENT.match(new RegExp(`<${tag}>([^]*?)</${tag}>`));
    return `'sha256-${createHash("sha256").update(text).digest("base64")}'`;
  };
  assert.deepEqual(policy.split(";").map((part) => part.trim()), [
    "default-src 'none'", `script-src ${hash("script")}`, `style-src ${hash("style")}`,
    "img-src 'self' data:", "connect-src 'self'", "base-uri 'none'", "form-action 'none'"]);
});

test("a script that gets in all the same does not run", with_page(async (page) => {
  await page.evaluate((markup) => { document.body.insertAdjacentHTML("beforeend", markup); },
                      `<button onclick="window.hit = 1">click</button>`);
  await button(page, "click").click();
  await page.evaluate(() => {
    const script = document.createElement("script");
    script.textContent = "window.hit = 2";
    document.body.append(script);
  });
  assert.equal(await page.evaluate(() => window.hit), undefined);
}));

test("names, labels and errors from outside are text", in_session(async (page, server) => {
  const images = await page.locator("img").count();
  await show(page, server, { name_id: MARKUP, source_label: MARKUP, bt_status: MARKUP,
                             mode: "live", app_version: MARKUP });
  for (const id of ["session-title", "source-label", "bluetooth-line", "version"]) {
    assert.ok((await page.locator("#" + id).textContent()).includes(MARKUP), id);
  }
  server.replies["/export"] = { ok: true };
  server.replies["/export_status"] = { status: "done", result: { folder: MARKUP, files: [MARKUP],
                                                                 errors: [MARKUP] } };
  await button(page, "Save").click();
  await text_becomes(page.locator("#export-line"), "Exported to exports/" + MARKUP);
  assert.deepEqual(await page.locator("#export-list li").allTextContents(), [MARKUP, MARKUP]);
  assert.equal(await page.locator("img").count(), images);
  assert.equal(await page.evaluate(() => window.hit), undefined);
}));

test("so are device and file names", with_page(async (page, server) => {
  server.replies["/scan"] = { success: true, devices: [{ name: MARKUP, address: "A" }] };
  await button(page, "Scan for devices").click();
  await text_becomes(page.locator("#device option").last(), MARKUP + "\u00a0\u00a0—\u00a0\u00a0A");
  assert.equal(await page.locator("#recording option").nth(1).textContent(), MARKUP);
  assert.equal(await page.evaluate(() => window.hit), undefined);
}, (server) => {
  server.replies["/bt_available"] = { available: true };
  server.replies["/recordings"] = { saved: [MARKUP], samples: [] };
}));

test("every control byte in a text leaves the stream alive", in_session(async (page, server) => {
  const bytes = Array.from({ length: 32 }, (_, byte) => String.fromCharCode(byte))
    .filter((byte) => byte !== "\n" && byte !== "\r").join("");
  // A line end would end the event; the program writes a newline as \n and copies the rest.
  server.push(JSON.stringify(snapshot({ source_label: "@", hr: 61 })).replace("@", bytes));
  await text_becomes(page.locator("#hr-value"), "61");
  assert.equal(await page.evaluate(() => last_snapshot.source_label), bytes);
}));
