"use strict";
// What comes out of a session: the export into files and the two TFR figures.

const JOB_POLL_MS = 1500;
const TFR_FIGURES = [
  ["High frequency resolution (n = 10)", "tfr10"],
  ["High time resolution (n = 3)", "tfr3"],
];
const TFR_TICKS = ["0.18", "0.10", "0.02"];

let end_export_poll = () => {};
let end_tfr_poll = () => {};
let tfr_computed = false;
let session_number = 0;

// A reply that arrives after this belongs to an earlier session and is not shown.
function clear_results() {
  ++session_number;
  end_export_poll();
  end_tfr_poll();
  tfr_computed = false;
  by_id("save").disabled = false;
  by_id("tfr").disabled = false;
  by_id("export-area").replaceChildren();
  by_id("tfr-area").replaceChildren();
  set_text("tfr-hint", "");
}

function element(tag, text, class_name = "") {
  const made = document.createElement(tag);
  made.textContent = text;
  made.className = class_name;
  return made;
}

function show_export(...children) {
  by_id("export-area").replaceChildren(...children);
}

async function save_session() {
  const session = session_number;
  by_id("save").disabled = true;
  show_export(element("p", "Exporting — saving raw data, computing the TFR and writing the " +
    "PDF + CSV (up to ~1 minute)…"));
  const reply = await try_call("/export");
  if (session !== session_number) return;
  if (!reply.ok) {
    await save_recording_only(reply, session);
    return;
  }
  end_export_poll = poll("/export_status", JOB_POLL_MS, (status) => {
    if (status.status === "exporting") return false;
    by_id("save").disabled = false;
    show_export(...export_outcome(status));
    return true;
  });
}

// For a program that cannot export yet: the recording and its markers are saved all the same.
async function save_recording_only(refused_export, session) {
  const reply = await try_call("/save");
  if (session !== session_number) return;
  by_id("save").disabled = false;
  show_export(
    element("p", reply.ok ? "Saved as recordings/" + reply.file
                          : refusal_text(reply, "Could not save.")),
    element("p", refusal_text(refused_export, ""), "note"));
}

function export_outcome(status) {
  if (status.status !== "done" || !status.result) {
    return [element("p", "Export failed: " + (status.error || "no result"))];
  }
  const { folder, files = [], errors = [] } = status.result;
  const list = element("ul", "");
  list.append(...files.map((file) => element("li", file)));
  const wrong = [errors].flat().filter(Boolean).map((text) => element("p", String(text), "note"));
  return [element("p", "Exported to exports/" + folder), list, ...wrong];
}

async function compute_tfr() {
  const session = session_number;
  by_id("tfr").disabled = true;
  by_id("tfr-area").replaceChildren(element("p", "Computing the TFR…"));
  const reply = await try_call("/tfr");
  if (session !== session_number) return;
  if (!reply.ok) {
    end_tfr(element("p", refusal_text(reply, "Could not compute TFR.")));
    return;
  }
  end_tfr_poll = poll("/tfr_status", JOB_POLL_MS, (status) => {
    if (status.status === "computing") return false;
    if (status.status === "done") {
      show_tfr_images(session);
    } else {
      end_tfr(element("p", "Could not compute TFR: " + (status.error || "no result")));
    }
    return true;
  });
}

function end_tfr(...children) {
  by_id("tfr").disabled = false;
  by_id("tfr-area").replaceChildren(...children);
}

async function show_tfr_images(session) {
  const reply = await try_call("/tfr_images");
  if (session !== session_number) return;
  if (!reply.images) {
    end_tfr(element("p", "Could not compute TFR: no images"));
    return;
  }
  tfr_computed = true;
  set_text("tfr-hint", "");
  end_tfr(...TFR_FIGURES.map(([title, key]) => tfr_figure(title, reply.images[key])));
}

function tfr_figure(title, data_url) {
  const figure = element("figure", "");
  const axis = element("div", "", "axis");
  axis.append(element("span", "Frequency (Hz)", "axis-title"));
  const ticks = element("span", "", "ticks");
  ticks.append(...TFR_TICKS.map((tick) => element("span", tick)));
  const image = element("img", "");
  image.src = data_url;
  image.alt = title;
  axis.append(ticks, image);
  figure.append(element("figcaption", title), axis);
  return figure;
}

// Once the run is over, the pictures of the whole session are worth having.
function update_tfr_hint(snapshot) {
  const invite = !snapshot.running && !tfr_computed && snapshot.cycles_done >= 1;
  set_text("tfr-hint", invite
    ? "Compute the TFR to see the rhythm of the whole session, or press Save to keep it." : "");
}
