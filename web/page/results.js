// What comes out of a session: the export into files and the two TFR figures.

const JOB_POLL_MS = 1500;
const TFR_FIGURES = [
  ["High frequency resolution (n = 10)", "tfr10"],
  ["High time resolution (n = 3)", "tfr3"],
];

let end_poll = {};
let tfr_computed = false;
let session_number = 0;

// A reply that arrives after this belongs to an earlier session and is not shown.
function clear_results() {
  ++session_number;
  for (const end of Object.values(end_poll)) end();
  tfr_computed = false;
  for (const id of ["save", "tfr"]) set_busy(id, false);
  for (const id of ["export-line", "export-note", "tfr-line"]) tell(id, "");
  for (const id of ["export-list", "tfr-area"]) $(id).replaceChildren();
  $("results").hidden = true;
}

// The results lie below the traces; whoever asked for them should see them, but nobody who breathes
// by the traces.
function show_result(line, text, failed) {
  $("results").hidden = false;
  tell(line, text, failed);
  if (!run?.running) $("results").scrollIntoView({ block: "nearest" });
}

// Starts a job and gives its last status; nothing once the session is over.
async function run_job(path, busy_word) {
  const session = session_number;
  const reply = await try_call(path);
  return new Promise((give) => {
    if (session !== session_number) return;
    if (!reply.ok) give({ error: refusal_text(reply) });
    else end_poll[path] = poll(path + "_status", JOB_POLL_MS, (job) => {
      if (job.status === busy_word) return false;
      give({ ...job, error: job.error || "no result" });
      return true;
    });
  });
}

async function save_session() {
  set_busy("save", true);
  $("export-list").replaceChildren();
  tell("export-note", "");
  show_result("export-line", "Exporting — saving raw data, computing the TFR and writing the " +
    "PDF + CSV (up to ~1 minute)…");
  const { status, result, error } = await run_job("/export", "exporting");
  set_busy("save", false);
  if (status !== "done" || !result) {
    show_result("export-line", "Export failed: " + error, true);
    return;
  }
  const { folder, files = [], errors = [] } = result;
  tell("export-note", "In the data folder, usually Documents/TVN-Live. " +
    "A taken name gets a number.");
  show_result("export-line", "Exported to exports/" + folder, errors.length);
  $("export-list").append(...[files, errors].flat().map((text) => make("li", text)));
}

async function compute_tfr() {
  const session = session_number;
  set_busy("tfr", true);
  $("tfr-area").replaceChildren();
  show_result("tfr-line", "Computing the TFR…");
  let { status, error } = await run_job("/tfr", "computing");
  let images = null;
  if (status === "done") ({ images, error = "no answer" } = await try_call("/tfr_images"));
  if (session !== session_number) return;
  set_busy("tfr", false);
  if (!images) {
    if (!error.startsWith("Could not compute TFR")) error = "Could not compute TFR: " + error;
    show_result("tfr-line", error, true);
    return;
  }
  tfr_computed = true;
  $("tfr-area").append(...TFR_FIGURES.map(([title, key]) => tfr_figure(title, images[key])));
  show_result("tfr-line", "");
}

function tfr_figure(title, data_url) {
  const figure = make("figure");
  const axis = make("div", "", "axis");
  const ticks = make("span", "", "ticks");
  const image = make("img");
  ticks.append(...["0.18", "0.10", "0.02"].map((tick) => make("span", tick)));
  image.src = data_url;
  image.alt = "Time-frequency picture";
  axis.append(make("span", "Frequency (Hz)", "axis-title"), ticks, image);
  figure.append(make("figcaption", title), axis);
  return figure;
}
