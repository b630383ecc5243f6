#include "session/status.h"

#include <algorithm>
#include <span>
#include <string_view>

#include "base/clock.h"
#include "base/json.h"
#include "base/rounding.h"
#include "base/version.h"

namespace tvn {
namespace {

constexpr std::size_t k_excerpt_samples = 780;   // 6 s
constexpr std::int64_t k_live_lag_samples = 52;  // 0.4 s
// More than the members around the trace and the charts usually take, and the trace, so that they
// are built without growing.
constexpr std::size_t k_usual_bytes = 2048;
constexpr std::size_t k_usual_trace_bytes = 8192;

// Appends the members of one JSON object, in the order of the calls.
class ObjectWriter {
 public:
  explicit ObjectWriter(std::string& out) : out_(out) { out_ += '{'; }
  void text(std::string_view key, std::string_view value) {
    begin(key);
    append_json_quoted(out_, value);
  }
  void number(std::string_view key, double value) {
    begin(key);
    append_json_number(out_, value);
  }
  void raw(std::string_view key, std::string_view json) {
    begin(key);
    out_ += json;
  }
  void integer(std::string_view key, int value) { raw(key, std::to_string(value)); }
  void flag(std::string_view key, bool value) { raw(key, value ? "true" : "false"); }
  void end() { out_ += '}'; }
  std::string& begin(std::string_view key) {
    if (out_.back() != '{') out_ += ',';
    out_ += '"';
    out_ += key;
    out_ += "\":";
    return out_;
  }

 private:
  std::string& out_;
};

// How much of the run is over. The planned length counts cycles, a replay's its own samples.
struct Progress {
  double total_seconds;
  double fraction;
};

Progress progress_of(const Engine& engine) TVN_REQUIRES(engine.lock) {
  const auto elapsed = static_cast<double>(elapsed_samples(engine));
  const double planned = engine.cycle_seconds * k_cycles_target * k_ecg_rate;
  const double planned_fraction = planned == 0.0 ? 0.0 : std::min(elapsed / planned, 1.0);
  if (engine.mode != "replay") return {planned / k_ecg_rate, planned_fraction};
  const auto length = static_cast<double>(engine.replay_len);
  return {length / k_ecg_rate, length == 0.0 ? planned_fraction : elapsed / length};
}

// The index after the last sample that the trace shows.
std::int64_t excerpt_end(const Engine& engine) TVN_REQUIRES(engine.lock) {
  const std::int64_t arrived = elapsed_samples(engine);
  if (engine.mode != "live" || engine.live_clock_start <= 0.0) return arrived;
  const double due = (monotonic_seconds() - engine.live_clock_start) * k_ecg_rate;
  return std::clamp<std::int64_t>(truncate_to<std::int64_t>(due) - k_live_lag_samples, 0, arrived);
}

// The samples up to the last one of the trace.
EcgView ecg_to_show(const Engine& engine) TVN_REQUIRES(engine.lock) {
  if (engine.mode == "idle") return {};
  const auto end = static_cast<std::size_t>(std::max<std::int64_t>(excerpt_end(engine), 0));
  return engine.mode == "replay" ? engine.replay_ecg.view(end) : engine.live_ecg.view(end);
}

void append_ecg(std::string& out, const EcgView& ecg) {
  const auto excerpt = ecg.samples().last(std::min(ecg.size(), k_excerpt_samples));
  out += '[';
  for (std::size_t i = 0; i < excerpt.size(); ++i) {
    if (i > 0) out += ',';
    append_json_number(out, round_to(excerpt[i], 10.0));
  }
  out += ']';
}

void append_markers(std::string& out, std::span<const Marker> markers) {
  out += '[';
  for (std::size_t i = 0; i < markers.size(); ++i) {
    if (i > 0) out += ',';
    ObjectWriter marker(out);
    marker.number("t", round_to(marker_seconds(markers[i]), 10.0));
    marker.integer("k", markers[i].key);
    marker.end();
  }
  out += ']';
}

void append_run(ObjectWriter& object, const Engine& engine) TVN_REQUIRES(engine.lock) {
  const auto elapsed = static_cast<double>(elapsed_samples(engine));
  const Progress progress = progress_of(engine);
  object.text("mode", engine.mode);
  object.flag("running", engine.running);
  object.text("name_id", engine.name_id);
  object.text("source_label", engine.source_label);
  object.text("bt_status", engine.bt_status);
  object.number("elapsed", round_to(elapsed / k_ecg_rate, 10.0));
  object.number("total", round_to(progress.total_seconds, 10.0));
  object.number("frac", round_to(progress.fraction, 10000.0));
  object.number("cycles_done", round_to(elapsed / (engine.cycle_seconds * k_ecg_rate), 100.0));
  object.integer("cycles_target", k_cycles_target);
}

void append_results(ObjectWriter& object, const Engine& engine) TVN_REQUIRES(engine.lock) {
  object.number("hr", round_to(engine.hr, 10.0));
  object.number("tvn", round_to(engine.tvn, 1000.0));
  object.integer("rr_count", engine.rr_count);
}

void append_settings(ObjectWriter& object, const Engine& engine) TVN_REQUIRES(engine.lock) {
  const double cycle = engine.cycle_seconds;
  object.number("indur", engine.indur);
  object.number("outdur", engine.outdur);
  object.number("cycle_seconds", cycle);
  object.number("expected_freq", cycle == 0.0 ? 0.0 : round_to(1.0 / cycle, 10000.0));
  object.text("sex", engine.sex);
  object.integer("age", engine.age);
}

void append_jobs(ObjectWriter& object, const Engine& engine) TVN_REQUIRES(engine.lock) {
  object.text("tfr_status", engine.tfr_status);
  if (engine.saved_as.empty()) {
    object.raw("saved_as", "null");
  } else {
    object.text("saved_as", engine.saved_as);
  }
  object.text("export_status", engine.export_status);
  append_markers(object.begin("markers"), engine.markers);
  object.text("app_version", APP_VERSION);
}

// A snapshot as it is taken: what is short as text, what is long by reference. While its text is
// made, which takes a hundred times as long, nobody has to wait for the lock.
struct Snapshot {
  std::string before, after;  // the members before and behind the trace and the charts
  EcgView ecg;
  SharedText hr_series, tvn_series;
};

// Before the first pass there is no text.
std::string_view series_text(const SharedText& series) {
  return series.get().empty() ? std::string_view("[]") : std::string_view(series.get());
}

void take_snapshot(Engine& engine, Snapshot& snapshot) {
  const SessionLock hold(engine.lock);
  ObjectWriter before(snapshot.before);
  append_run(before, engine);
  append_results(before, engine);
  snapshot.ecg = ecg_to_show(engine);
  snapshot.hr_series = engine.hr_series_json;
  snapshot.tvn_series = engine.tvn_series_json;
  ObjectWriter after(snapshot.after);
  append_settings(after, engine);
  append_jobs(after, engine);
  after.end();
  snapshot.after.front() = ',';  // it goes on with the members of `before`
}

}  // namespace

std::string status_json(Engine& engine) {
  Snapshot snapshot;
  snapshot.before.reserve(k_usual_bytes);
  snapshot.after.reserve(k_usual_bytes);
  take_snapshot(engine, snapshot);
  const std::string_view hr = series_text(snapshot.hr_series);
  const std::string_view tvn = series_text(snapshot.tvn_series);
  std::string out;
  out.reserve(snapshot.before.size() + k_usual_trace_bytes + hr.size() + tvn.size() +
              snapshot.after.size());
  out += snapshot.before;
  out += R"(,"ecg":)";
  append_ecg(out, snapshot.ecg);
  out += R"(,"hr_series":)";
  out += hr;
  out += R"(,"tvn_series":)";
  out += tvn;
  out += snapshot.after;
  return out;
}

}  // namespace tvn
