// The parameters of a request: name to decoded value.
#pragma once

#include <map>
#include <string>

#include "base/decimal.h"

namespace tvn {

using QueryParams = std::map<std::string, std::string>;

// A parameter is present when its key exists, even with an empty value.
inline bool has_param(const QueryParams& query, const std::string& key) {
  return query.find(key) != query.end();
}

// The value of `key`, or `fallback` when the parameter is absent.
inline std::string text_param(const QueryParams& query, const std::string& key,
                              const std::string& fallback = "") {
  const auto found = query.find(key);
  return found == query.end() ? fallback : found->second;
}

// The value of `key` as parse_number reads it, `fallback` when absent or not a number.
inline double number_param(const QueryParams& query, const std::string& key, double fallback) {
  const auto found = query.find(key);
  return found == query.end() ? fallback : parse_number(found->second, fallback);
}

}  // namespace tvn
