// What the tests against the scripted server share: one browser per file, and per test a fresh
// server and a fresh page.

import assert from "node:assert/strict";
import { after, before } from "node:test";
import { close_page, eventually, launch_browser, open_page } from "./browser.mjs";
import { snapshot, start_scripted_server } from "./scripted_server.mjs";

const PAGE_FILE = process.env.TVN_PAGE;
if (!PAGE_FILE) throw new Error("TVN_PAGE must name the assembled index.html");

let browser;

export function share_browser() {
  before(async () => { browser = await launch_browser(); }, { timeout: 60_000 });
  after(() => browser?.close());
}

export const shared_browser = () => browser;

// A test on a page that has finished entering Setup. prepare(server) may change the script
// before the page is opened.
export function with_page(run, prepare = () => {}, options = {}) {
  return async () => {
    const server = await start_scripted_server(PAGE_FILE);
    prepare(server);
    let page;
    try {
      page = await open_page(browser, server.address, options);
      await page.waitForFunction(() => document.querySelector("#recording optgroup"));
      await eventually(() => assert.deepEqual(server.requests.map(({ path }) => path).sort(),
                                              ["/bt_available", "/recordings", "/status"]));
      server.requests.length = 0;
      await run(page, server);
      await close_page(page);
    } finally {
      await page?.context().close();
      await server.close();
    }
  };
}

// Starts the first sample; the page is then in the Session view with an open stream.
export async function start_replay(page, server, sample = "Sample 1.txt") {
  await page.getByLabel("Open a recording").check();
  await page.getByLabel("Recording", { exact: true }).selectOption(sample);
  await page.getByRole("button", { name: "Start recording" }).click();
  await eventually(() => assert.equal(server.streams(), 1));
}

// A test in the Session view of a replay that has not yet sent a snapshot.
export function in_session(run, options) {
  return with_page(async (page, server) => {
    await start_replay(page, server);
    server.requests.length = 0;
    await run(page, server);
  }, () => {}, options);
}

// Pushes a snapshot with these changes and waits until the page has drawn it.
export async function show(page, server, changes) {
  const pushed = snapshot(changes);
  server.push(pushed);
  await page.waitForFunction((shown) => last_snapshot && paint_request === 0 &&
    JSON.stringify(last_snapshot) === shown, JSON.stringify(pushed));
}

// Every piece of text that is shown in the element, in the order of the document.
export function shown_texts(page, selector) {
  return page.locator(selector).evaluate((element) => {
    const pieces = document.createTreeWalker(element, NodeFilter.SHOW_TEXT);
    const shown = [];
    while (pieces.nextNode()) {
      const { data, parentElement } = pieces.currentNode;
      const text = data.replace(/\s+/g, " ").trim();
      if (text && parentElement.checkVisibility({ visibilityProperty: true })) shown.push(text);
    }
    return shown;
  });
}

export function requests_for(server, path) {
  return server.requests.filter((request) => request.path === path);
}

export function button(page, name) {
  return page.getByRole("button", { name, exact: true });
}

// Lists the waiting times of the page's timers in window.waits from here on, but for the limit that
// every call has.
export function record_waits(page) {
  return page.evaluate(() => {
    window.waits = [];
    const { setTimeout: wait } = window;
    window.setTimeout = (action, ms, ...rest) => {
      if (ms !== ANSWER_LIMIT_MS) window.waits.push(ms);
      return wait(action, ms, ...rest);
    };
  });
}
