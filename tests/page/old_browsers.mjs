// What a style sheet or a script asks of a browser beyond the oldest versions that the page is made
// for, after MDN's tables of browser support. Parsed, not searched: CSS by css-tree, JavaScript by
// acorn, which knows the syntax of 2021 here, the newest that all of them have.

import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { parse as parse_js } from "acorn";
import { generate, parse as parse_css, walk } from "css-tree";

export const OLDEST = { safari: "15.4", firefox: "115", chrome: "109" };
const SYNTAX_YEAR = 2021;

const mdn = JSON.parse(readFileSync(
  createRequire(import.meta.url).resolve("@mdn/browser-compat-data")));

const at_most = (one, other) => {
  const [a, b] = [one, other].map((version) => version.replace("≤", "").split(".").map(Number));
  return a[0] !== b[0] ? a[0] < b[0] : (a[1] || 0) <= (b[1] || 0);
};

// Whether every one of the oldest browsers has the feature of a table's entry.
function is_known(entry) {
  return Object.entries(OLDEST).every(([browser, oldest]) =>
    [entry.__compat.support[browser]].flat().some((support) =>
      typeof support.version_added === "string" && support.version_added !== "preview" &&
      at_most(support.version_added, oldest) && !support.flags && !support.prefix &&
      !support.alternative_name &&
      !(support.version_removed && at_most(support.version_removed, oldest))));
}

const is_new = (entry) => Boolean(entry?.__compat) && !is_known(entry);
const is_prefixed = (name) => name.startsWith("-");

// A declaration's new parts, as texts.
function new_in_declaration({ property, value }) {
  const found = [];
  const table = mdn.css.properties[property] || {};
  if (is_new(table)) found.push(property);
  if (property.startsWith("--")) value = parse_css(generate(value), { context: "value" });
  walk(value, (node) => {
    const text = `${property}: ${node.name || node.unit || node.value}`;
    const { types } = mdn.css;
    if (node.type === "Identifier" && is_new(table[node.name])) found.push(text);
    if (node.type === "Function" &&
        [table, types, types.color, types.image].some((of) => is_new(of?.[node.name]))) {
      found.push(text);
    }
    if (node.type === "Dimension" && /^[dls]v/.test(node.unit)) {
      if (is_new(types.length.viewport_percentage_units_dynamic)) found.push(text);
    } else if (node.type === "Dimension" && is_new(types.length[node.unit])) {
      found.push(text);
    }
    if (node.type === "Operator" && node.value === "/" && is_new(table.alt_text)) found.push(text);
  });
  return found;
}

// A new declaration may follow a plain one of the same property, which then holds instead.
export function new_css(text) {
  const found = [];
  let depth = 0;
  walk(parse_css(text, { onParseError: (error) => found.push(error.message) }), {
    enter(node) {
      if (node.type === "Rule" && ++depth > 1) found.push("nesting");
      if (node.type === "PseudoClassSelector" || node.type === "PseudoElementSelector") {
        if (!is_prefixed(node.name) && is_new(mdn.css.selectors[node.name])) {
          found.push(":" + node.name);
        }
      }
      if (node.type === "Atrule" && is_new(mdn.css["at-rules"][node.name])) {
        found.push("@" + node.name);
      }
      if (node.type === "Feature" && is_new(mdn.css["at-rules"].media[node.name])) {
        found.push(`@media (${node.name})`);
      }
      if (node.type === "FeatureRange") found.push("@media range");
      if (node.type === "Block") {
        const plain = new Set();
        for (const child of node.children) {
          if (child.type !== "Declaration") continue;
          const parts = new_in_declaration(child);
          if (!parts.length) plain.add(child.property);
          else if (!plain.has(child.property)) found.push(...parts);
        }
      }
    },
    leave(node) {
      if (node.type === "Rule") --depth;
    },
  });
  return found;
}

// Every entry of a member's name, whatever it is a member of, unless the script tells.
function member_entries({ object, property: { name } }) {
  const { api, javascript: { builtins } } = mdn;
  const told = builtins[object.name] || api[object.name];
  const owners = told ? [told] : [...Object.values(api), ...Object.values(builtins)];
  return owners.flatMap((owner) => [owner[name], owner[name + "_static"]])
    .filter((entry) => entry?.__compat);
}

const global_entries = (name) =>
  [mdn.api[name], mdn.api.Window[name], mdn.javascript.builtins[name]]
    .filter((entry) => entry?.__compat);

function visit(node, seen) {
  if (!node || typeof node !== "object") return;
  if (node.type) seen(node);
  for (const child of Object.values(node)) visit(child, seen);
}

export function new_js(text) {
  const found = [];
  const check = (name, entries) => {
    if (entries.length && !entries.some(is_known)) found.push(name);
  };
  let program;
  try {
    program = parse_js(text, { ecmaVersion: SYNTAX_YEAR });
  } catch (error) {
    return [error.message];
  }
  visit(program, (node) => {
    if (node.type === "MemberExpression" && !node.computed) {
      check(node.property.name, member_entries(node));
    }
    if (node.type === "CallExpression" || node.type === "NewExpression") {
      const { type, name } = node.callee;
      if (type === "Identifier") check(name, global_entries(name));
    }
    if (node.regex && /\(\?<[=!]/.test(node.regex.pattern)) found.push("lookbehind");
  });
  return [...new Set(found)];
}
