// Two doubles that are worked on at once: the vector extension of GCC and clang, which becomes one
// instruction on every 64-bit processor (SSE2, NEON) and needs no further compiler flags.
#pragma once

#include <cstring>

namespace tvn {

using Lanes = double __attribute__((vector_size(16)));
inline constexpr std::size_t k_lanes = 2;

inline Lanes load_lanes(const double* from) {
  Lanes value;
  std::memcpy(&value, from, sizeof value);
  return value;
}
inline void store_lanes(double* to, Lanes value) {
  std::memcpy(to, &value, sizeof value);
}
inline Lanes both_lanes(double value) {
  return Lanes{value, value};
}

}  // namespace tvn
