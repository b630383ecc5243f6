// Talking to the program: every reply is JSON, every refusal has a text.

// The program copies control bytes (a tab in a file name, say) into its JSON strings unescaped,
// which JSON does not allow; it writes none elsewhere.
function parse_reply(text) {
  return JSON.parse(text.replace(/[\0-\x1f]/g, (byte) =>
    "\\u" + byte.charCodeAt(0).toString(16).padStart(4, "0")));
}

const ANSWER_LIMIT_MS = 5000;

// The reply of a call, or an exception when there is none. A body makes it a POST.
async function call(path, body) {
  let overdue = 0;
  // A scan and a file take their time, and the page says so.
  const limit = path === "/scan" || body ? 0 : setTimeout(() => count_overdue(overdue = 1),
                                                  ANSWER_LIMIT_MS);
  try {
    const response = await fetch(path, body && { method: "POST", body });
    return parse_reply(await response.text());
  } finally {
    clearTimeout(limit);
    if (overdue) count_overdue(-1);
  }
}

// As call(), but a call that fails is a refusal without a text.
async function try_call(path, body) {
  try {
    return await call(path, body) || {};
  } catch {
    return {};
  }
}

function refusal_text(reply, otherwise = reply.ok === false ? "refused" : "no answer") {
  return reply.note || reply.reason || reply.error || otherwise;
}

// Calls the path every interval until on_reply returns true. A failed poll is tried again after
// retry_ms. Returns a function that ends the polling.
function poll(path, interval_ms, on_reply, retry_ms = interval_ms) {
  let ended = false;
  async function tick() {
    if (ended) return;
    let wait_ms = interval_ms;
    try {
      const reply = await call(path);
      if (ended || on_reply(reply)) return;
    } catch {
      wait_ms = retry_ms;
    }
    setTimeout(tick, wait_ms);
  }
  setTimeout(tick, interval_ms);
  return () => { ended = true; };
}

// The parameters of every start. In- and out-period go as typed: a decimal comma is accepted.
function start_parameters() {
  return ["name", "indur", "outdur", "sex", "age", "fs"].map((id) =>
    `&${id}=${encodeURIComponent($(id).value)}`).join("");
}
