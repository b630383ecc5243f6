#include "session/run_params.h"

#include <algorithm>

#include "base/rounding.h"

namespace tvn {
namespace {

constexpr double k_shortest_breath = 0.05;  // seconds; keeps the cycle length above zero

double breath_seconds(const QueryParams& query, const std::string& key, double fallback) {
  return round_to(std::max(number_param(query, key, fallback), k_shortest_breath), 100.0);
}

bool begins_with_f(const std::string& text) {
  return !text.empty() && (text[0] == 'F' || text[0] == 'f');
}

}  // namespace

void apply_params(Engine& engine, const QueryParams& query) {
  engine.name_id = text_param(query, "name");
  engine.indur = breath_seconds(query, "indur", 5.0);
  engine.outdur = breath_seconds(query, "outdur", 11.0);
  engine.cycle_seconds = round_to(engine.indur + engine.outdur, 100.0);
  engine.sex.assign(1, begins_with_f(text_param(query, "sex")) ? 'F' : 'M');
  engine.age = truncate_to<std::int32_t>(number_param(query, "age", 40.0));
  if (!has_param(query, "fs")) return;
  const double rate = number_param(query, "fs", k_ecg_rate);
  if (rate >= 20.0 && rate <= 20000.0) engine.sample_rate = rate;
}

}  // namespace tvn
