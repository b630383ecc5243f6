#include "picture/base64.h"

#include <cstdint>

namespace tvn {

std::string base64_encode(std::string_view bytes) {
  constexpr std::string_view k_alphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  std::uint32_t group = 0;
  int bits = 0;
  for (const char byte : bytes) {
    group = group << 8 | static_cast<unsigned char>(byte);
    for (bits += 8; bits >= 6; bits -= 6) text += k_alphabet[group >> (bits - 6) & 63];
  }
  if (bits > 0) text += k_alphabet[group << (6 - bits) & 63];
  while (text.size() % 4 != 0) text += '=';
  return text;
}

}  // namespace tvn
