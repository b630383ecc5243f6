// The page asks nothing of a browser that Safari 15.4, Firefox 115 or Chromium 109 does not have.

import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { test } from "node:test";
import { new_css, new_js } from "./old_browsers.mjs";

// Forced colours are Windows', where Safari is not. The wake lock is asked for inside a try: without
// it the screen may go dark.
const OPTIONAL = /forced-color|wakeLock/;
// Fields of the page's own data that are named like something newer.
const OWN = ["in", "available", "to", "draw"];

const page = readFileSync(process.env.TVN_PAGE, "utf8");
const [, style] = page.match(/<style>([^]*)<\/style>/);
const [, script] = page.match(/<script>([^]*)<\/script>/);

test("the style sheet is known to the oldest browsers", () =>
  assert.deepEqual(new_css(style).filter((name) => !OPTIONAL.test(name)), []));

test("the script is known to the oldest browsers", () =>
  assert.deepEqual(new_js(script).filter((name) => !OPTIONAL.test(name) && !OWN.includes(name)),
                   []));

// Of each the first version that has it, from MDN: Firefox 121, Firefox 128, Safari 16.2, Safari
// 16, Firefox 117, Safari 15.4 and Firefox 101 but Chromium 108, Chromium 104 but Safari 16.4.
for (const [css, named] of [
  ["a:has(b) { color: red }", [":has"]],
  ["a::after { content: 'x' / '' }", ["content: /"]],
  [":root { --grid: color-mix(in srgb, red, blue) }", ["--grid: color-mix"]],
  ["a { overflow: clip }", ["overflow: clip"]],
  ["a { & b { color: red } }", ["nesting"]],
  ["@media (width > 800px) { a { color: red } }", ["@media range"]],
  ["a { color: light-dark(red, blue) }", ["color: light-dark"]],
  ["a { text-wrap: balance }", ["text-wrap"]],
  ["a { overflow: hidden; overflow: clip }", []],
  ["a::after { content: 'x'; content: 'x' / '' }", []]]) {
  test(`told apart: ${css}`, () => assert.deepEqual(new_css(css).slice(0, 1), named));
}

for (const [js, named] of [
  ["e.ariaLabel = 'x'", ["ariaLabel"]],
  ["e.role = 'alert'", ["role"]],
  ["Array.fromAsync(x)", ["fromAsync"]],
  ["Object.groupBy(x, y)", ["groupBy"]],
  ["AbortSignal.any([x])", ["any"]],
  ["x.toSorted()", ["toSorted"]],
  ["/(?<=a)b/.test(x)", ["lookbehind"]],
  ["x.at(-1); e.replaceChildren(); fetch(x)", []]]) {
  test(`told apart: ${js}`, () => assert.deepEqual(new_js(js), named));
}

test("newer syntax is told apart", () =>
  assert.match(new_js("class A { static { f(); } }").join(), /Unexpected|token/));
