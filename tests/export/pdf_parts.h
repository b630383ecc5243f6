// A PDF file taken apart again, by its cross-reference table alone.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tvn {

// The bodies of all objects, object 1 first. Reports a test failure, and returns what it has, where
// the table or an object does not stand where it should.
std::vector<std::string> pdf_objects(const std::string& file);

// The bytes between "stream" and "endstream", which must be as many as /Length says.
std::string pdf_stream(const std::string& object);

// The content streams of the file's pages, in page order.
std::vector<std::string> pdf_pages(const std::string& file);

// The tokens of a content stream that are no strings: numbers, operators, names.
std::vector<std::string> pdf_tokens(std::string_view content);

// The texts that a content stream shows, unescaped, in drawing order.
std::vector<std::string> pdf_texts(std::string_view content);

}  // namespace tvn
