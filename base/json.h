// Writing JSON by appending to text. There is no JSON reader: the page sends query parameters.
#pragma once

#include <string>
#include <string_view>

namespace tvn {

// `text` in double quotes, with a newline written as \n and a backslash before every double quote
// and backslash. Every other byte is copied unchanged, other control bytes and UTF-8 included (the
// page replaces control bytes before it parses). Linear.
std::string json_quote(std::string_view text);
void append_json_quoted(std::string& out, std::string_view text);

// A number in the shortest general notation with 6 significant digits, as printf's %.6g writes it
// in the C locale: 130.0 gives 130, 1e-5 gives 1e-05, negative zero gives -0. Infinite and NaN
// give null. About 10 ns for values with at most one decimal, 100 ns for others.
std::string json_number(double value);
void append_json_number(std::string& out, double value);

}  // namespace tvn
