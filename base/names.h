// File names made from what people typed.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tvn {

// `text` as a file name's base: ASCII letters, digits, "-", "." and "_" stay, every other byte
// (each byte of a multi-byte character) becomes "_"; then "_" at both ends go. What leaves nothing
// gives "recording".
std::string sanitise_name(std::string_view text);

// The longest name of a file or folder that file systems take, in bytes.
inline constexpr std::size_t k_longest_file_name = 255;

// `base` cut so that it and `others` bytes more make a file name that file systems take; it ends at
// the end of a UTF-8 character. Empty when there is no room.
std::string fit_base_name(std::string_view base, std::size_t others);

// `name` as a file name that file systems take: one that is too long is cut before its extension,
// with "~" and a number made from the whole of it, so that two that begin alike stay two.
std::string fit_file_name(std::string_view name);

// The part of `path` after its last "/", the whole path when it has none.
std::string_view file_name_of(std::string_view path);

}  // namespace tvn
