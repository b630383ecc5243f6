// SHA-256, for the hashes by which the page's content security policy knows its own parts.
#pragma once

#include <string>
#include <string_view>

namespace tvn {

// The 32 bytes of the SHA-256 digest (FIPS 180-4) of the bytes. Any input is valid; the cost is
// linear in its size.
std::string sha256(std::string_view bytes);

}  // namespace tvn
