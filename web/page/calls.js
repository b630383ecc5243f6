"use strict";
// Talking to the program: every reply is one JSON text, every refusal a JSON object with a text.

// The program copies control bytes (a tab in a file name, say) into its JSON strings unescaped,
// which JSON does not allow. It writes none between values, so escaping each of them keeps the
// text as it was meant. Throws when the text is not JSON all the same.
function parse_reply(text) {
  const escaped = text.replace(/[\u0000-\u001f]/g, (byte) =>
    "\\u" + byte.charCodeAt(0).toString(16).padStart(4, "0"));
  return JSON.parse(escaped);
}

// The reply of a call, or an exception when the program cannot be reached or answers no JSON.
// A body makes it a POST.
async function call(path, body) {
  const options = body === undefined ? {} : { method: "POST", body };
  const response = await fetch(path, { cache: "no-store", ...options });
  const text = await response.text();
  // A bare 404 has no body; treat it like a refusal without a text.
  return text === "" ? { ok: false } : parse_reply(text);
}

// As call(), but a call that fails is a refusal too, so that a button can be given back.
async function try_call(path, body) {
  try {
    return await call(path, body);
  } catch {
    return { ok: false };
  }
}

// For calls whose outcome shows in the next snapshot anyway: a mark, a seek.
function send_and_forget(path) {
  return call(path).catch(() => {});
}

function refusal_text(reply, otherwise) {
  return reply.note || reply.reason || reply.error || otherwise;
}

// Calls the path every interval until on_reply returns true. A failed poll is tried again after
// the next interval. Returns a function that ends the polling.
function poll(path, interval_ms, on_reply, retry_ms = interval_ms) {
  let ended = false;
  let timer = 0;
  async function tick() {
    let wait_ms = interval_ms;
    try {
      const reply = await call(path);
      if (ended || on_reply(reply)) return;
    } catch {
      wait_ms = retry_ms;
    }
    if (!ended) timer = setTimeout(tick, wait_ms);
  }
  timer = setTimeout(tick, interval_ms);
  return () => {
    ended = true;
    clearTimeout(timer);
  };
}

// Opens the event stream; on_snapshot gets each status snapshot. An event that was cut short or
// spoilt on the way is left out: the next one is only 50 ms away. on_lost is told when the
// stream breaks; the browser then tries again by itself.
function open_stream(on_snapshot, on_lost) {
  const stream = new EventSource("/stream");
  stream.onmessage = (event) => {
    let snapshot;
    try {
      snapshot = parse_reply(event.data);
    } catch {
      return;
    }
    on_snapshot(snapshot);
  };
  stream.onerror = on_lost;
  return stream;
}

// The parameters that go with every start. In- and out-period go as typed: the program accepts
// a decimal comma.
function start_parameters() {
  const field = (id) => encodeURIComponent(by_id(id).value);
  return "&name=" + field("name") + "&indur=" + field("indur") + "&outdur=" + field("outdur") +
    "&sex=" + field("sex") + "&age=" + field("age") + "&fs=" + field("fs");
}

function by_id(id) {
  return document.getElementById(id);
}

// All texts that come from the program or from files are set as text, never as markup.
function set_text(id, text) {
  const element = by_id(id);
  if (element.textContent !== text) element.textContent = text;
}
