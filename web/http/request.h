// One HTTP request, read from bytes: the request line, the query, and for POST the body that its
// content length announces. Works on whatever delivers bytes, a socket or a test.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/query_params.h"

namespace tvn {

struct Request {
  std::string method;  // as sent
  std::string path;    // the target up to its first "?", not percent-decoded
  QueryParams query;   // values decoded, keys as sent; the last of repeated keys wins
  std::string body;    // POST only: the bytes after the header block
};

// Delivers up to `size` bytes into `buffer`; returns how many, 0 at the end or on an error.
using ReceiveFunction = std::function<std::size_t(char* buffer, std::size_t size)>;

// Whether a request may be answered, by its head: the bytes up to and with the blank line, or all
// that came when there was none.
using HeadFilter = std::function<bool(std::string_view head)>;

// Reads one request, or nothing when not a byte came. A header block that never ends, or passes
// 1 MiB, is parsed as far as it came, with an empty body. Waits for as many body bytes as
// announced or until the sender ends, reserving nothing in advance; bytes beyond them that came
// with the last delivery are kept. Throws std::invalid_argument for a percent escape without a
// hexadecimal digit.
// A head that `admits` (when there is one) refuses gives an empty request, for nothing, without its
// body having been read.
std::optional<Request> read_request(const ReceiveFunction& receive, const HeadFilter& admits = {});

// The parameters of "a=1&b=2": pieces without "=" are ignored, values go through decode_value.
QueryParams parse_query(std::string_view text);

// A value with "+" as a blank and each "%" followed by two more characters as the byte that they
// give in base 16, read as integer parsers do: a blank or sign may come before the digits, and one
// digit is enough ("%4G" gives byte 4). A "%" nearer to the end stays. Throws
// std::invalid_argument when there is no digit at all.
std::string decode_value(std::string_view text);

// The number after "content-length:" (any case) in a header block, 0 when there is none; one that
// does not fit gives the largest size.
std::size_t content_length(std::string_view header_block);

}  // namespace tvn
