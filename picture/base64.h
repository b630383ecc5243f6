// Bytes as text (RFC 4648, section 4).
#pragma once

#include <string>
#include <string_view>

namespace tvn {

// The standard alphabet with padding: 4 characters for every 3 bytes begun. Linear.
std::string base64_encode(std::string_view bytes);

}  // namespace tvn
