// File names made from what people typed.
#pragma once

#include <string>
#include <string_view>

namespace tvn {

// `text` as a file name's base: ASCII letters, digits, "-", "." and "_" stay, every other byte
// (each byte of a multi-byte character) becomes "_"; then "_" at both ends go. What leaves nothing
// gives "recording".
std::string sanitise_name(std::string_view text);

// The part of `path` after its last "/", the whole path when it has none.
std::string_view file_name_of(std::string_view path);

}  // namespace tvn
