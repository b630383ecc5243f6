// What a page of somebody else's can do to the guarded program from within the same browser: nothing,
// from another port and from another name, by rebinding too. The program's own page works as ever.
//
// TVN_PROGRAM names the executable.

import assert from "node:assert/strict";
import { createServer } from "node:http";
import { after, before, test } from "node:test";
import { close_page, eventually, launch_browser, open_page } from "./browser.mjs";
import { start_program } from "./real_program.mjs";

const FIRST_PORT = 18760;

let browser, program, elsewhere, port;

before(async () => {
  program = await start_program(process.env.TVN_PROGRAM, FIRST_PORT, { TVN_GUARD: "1" });
  port = new URL(program.address).port;
  // Whatever the name, it is this computer: what a rebinding name server would answer.
  browser = await launch_browser("MAP evil.test 127.0.0.1");
  elsewhere = createServer((request, reply) => {
    reply.setHeader("Content-Type", "text/html");
    reply.end("<!DOCTYPE html><title>elsewhere</title>");
  });
  await new Promise((done) => elsewhere.listen(0, "127.0.0.1", done));
}, { timeout: 60_000 });

after(async () => {
  await browser?.close();
  elsewhere?.close();
  await program?.end();
});

const mode = async () => (await (await fetch(program.address + "status")).json()).mode;

// What an attacking page would try; gives what it got to see. Runs in the page.
async function attack(target) {
  const start = target + "start_replay?file=Sample%201.txt";
  const seen = [];
  const note = (what) => (result) => seen.push(`${what}: ${result}`);
  await fetch(target + "status").then((reply) => reply.text()).then(note("fetch"), () => {});
  await fetch(start, { mode: "no-cors" }).then((reply) => note("opaque")(reply.type), () => {});
  await fetch(start, { method: "POST", mode: "no-cors", body: "1\n" }).catch(() => {});
  navigator.sendBeacon(start, "1\n");
  const loaded = (element, url, what) => new Promise((done) => {
    element.onload = () => done(note(what)("loaded"));
    element.onerror = () => done();
    element.src = url;
    document.body.append(element);
    setTimeout(done, 1500);
  });
  await loaded(new Image(), target + "ball.png", "image");
  await loaded(new Image(), start, "image as a command");
  await loaded(document.createElement("script"), start, "script");
  const frame = document.createElement("iframe");
  frame.name = "frame";
  await loaded(frame, target, "frame document");
  try {
    if (frame.contentDocument?.title.includes("Talvern")) note("frame")("read");
  } catch { /* of another origin, as it should be */ }
  const form = document.createElement("form");
  form.method = "POST";
  form.action = start;
  form.target = "frame";
  document.body.append(form);
  form.submit();
  const stream = new EventSource(target + "stream");
  await new Promise((done) => {
    stream.onmessage = ({ data }) => done(note("stream")(data.slice(0, 20)));
    setTimeout(done, 1000);
  });
  stream.close();
  return seen;
}

// A no-cors reply is opaque whatever it was, and a frame tells that it has loaded a 404 as well.
const harmless = (seen) => seen.filter((line) =>
  !/^opaque: opaque$|^frame document: loaded$/.test(line));

test("a page of another port gets nothing and starts nothing", async () => {
  const page = await (await browser.newContext()).newPage();
  await page.goto(`http://127.0.0.1:${elsewhere.address().port}/`);
  assert.deepEqual(harmless(await page.evaluate(attack, program.address)), []);
  assert.equal(await mode(), "idle");
  await page.context().close();
});

test("a page of another name gets nothing and starts nothing", async () => {
  const page = await (await browser.newContext()).newPage();
  await page.goto(`http://evil.test:${elsewhere.address().port}/`);
  assert.deepEqual(harmless(await page.evaluate(attack, program.address)), []);
  assert.equal(await mode(), "idle");
  await page.context().close();
});

test("a name that is rebound to the program is not answered", async () => {
  const page = await (await browser.newContext()).newPage();
  const reply = await page.goto(`http://evil.test:${port}/`).catch(() => null);
  assert.ok(reply === null || reply.status() === 404);
  assert.equal((await page.goto(`http://evil.test:${port}/status`).catch(() => null))?.status() ?? 404,
               404);
  await page.context().close();
});

test("the program's own page works by each of its names, reloads and comes back", async () => {
  for (const name of ["127.0.0.1", "localhost"]) {
    const address = `http://${name}:${port}/`;
    const page = await open_page(browser, address);
    await page.getByLabel("Open a recording").check();
    await eventually(() => page.getByLabel("Recording", { exact: true })
      .selectOption("Sample 1.txt", { timeout: 100 }));
    await page.getByRole("button", { name: "Start recording", exact: true }).click();
    await eventually(async () => assert.equal(await mode(), "replay"));
    await eventually(async () =>
      assert.match(await page.locator("#elapsed").textContent(), /[1-9]/));  // over the stream
    await page.reload();
    await page.getByLabel("Open a recording").waitFor();
    await fetch(address + "stop");
    await close_page(page);
  }
});
