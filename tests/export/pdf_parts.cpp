#include "tests/export/pdf_parts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace tvn {
namespace {

std::size_t number_at(const std::string& text, std::size_t at) {
  return std::strtoul(text.c_str() + at, nullptr, 10);
}

// One token or string of a content stream; `at` moves behind it.
struct Piece {
  bool is_string;
  std::string text;
};

Piece take_string(std::string_view content, std::size_t& at) {
  Piece piece{true, ""};
  int depth = 1;
  for (++at; at < content.size(); ++at) {
    const char c = content[at];
    if (c == '\\') {
      piece.text += content[++at];
      continue;
    }
    depth += c == '(' ? 1 : c == ')' ? -1 : 0;
    if (depth == 0) break;
    piece.text += c;
  }
  ++at;
  return piece;
}

std::vector<Piece> pieces_of(std::string_view content) {
  std::vector<Piece> pieces;
  std::size_t at = 0;
  while ((at = content.find_first_not_of(" \n", at)) != content.npos) {
    if (content[at] == '(') {
      pieces.push_back(take_string(content, at));
    } else {
      const std::size_t end = std::min(content.find_first_of(" \n(", at), content.size());
      pieces.push_back({false, std::string(content.substr(at, end - at))});
      at = end;
    }
  }
  return pieces;
}

}  // namespace

std::vector<std::string> pdf_objects(const std::string& file) {
  std::vector<std::string> objects;
  const std::size_t startxref = file.rfind("startxref\n");
  EXPECT_NE(startxref, file.npos);
  const std::size_t xref = number_at(file, startxref + 10);
  EXPECT_EQ(file.substr(xref, 7), "xref\n0 ");
  const std::size_t count = number_at(file, xref + 7);
  std::size_t entry = file.find('\n', xref + 7) + 1;
  EXPECT_EQ(file.substr(entry, 20), "0000000000 65535 f \n");
  for (std::size_t k = 1; k < count; ++k) {
    entry += 20;
    EXPECT_EQ(file.substr(entry + 10, 10), " 00000 n \n");
    const std::size_t begin = number_at(file, entry);
    const std::string head = std::to_string(k) + " 0 obj\n";
    EXPECT_EQ(file.substr(begin, head.size()), head);
    const std::size_t next = k + 1 < count ? number_at(file, entry + 20) : xref;
    const std::size_t end = next - std::string("\nendobj\n").size();
    EXPECT_EQ(file.substr(end, next - end), "\nendobj\n");
    objects.push_back(file.substr(begin + head.size(), end - begin - head.size()));
  }
  return objects;
}

std::string pdf_stream(const std::string& object) {
  const std::size_t length = number_at(object, object.find("/Length ") + 8);
  const std::size_t begin = object.find(" >>\nstream\n") + 11;
  EXPECT_EQ(object.substr(std::min(begin + length, object.size())), "\nendstream");
  return object.substr(begin, length);
}

std::vector<std::string> pdf_pages(const std::string& file) {
  const std::vector<std::string> objects = pdf_objects(file);
  std::vector<std::string> pages;
  const std::string kids = objects[1].substr(objects[1].find('['));
  for (std::size_t kid = 1; kids.at(kid - 1) != ']'; kid = kids.find('R', kid) + 2) {
    const std::string& page = objects.at(number_at(kids, kid) - 1);
    const std::size_t contents = number_at(page, page.find("/Contents ") + 10);
    pages.push_back(pdf_stream(objects.at(contents - 1)));
  }
  return pages;
}

std::vector<std::string> pdf_tokens(std::string_view content) {
  std::vector<std::string> tokens;
  for (Piece& piece : pieces_of(content)) {
    if (!piece.is_string) tokens.push_back(std::move(piece.text));
  }
  return tokens;
}

std::vector<std::string> pdf_texts(std::string_view content) {
  std::vector<std::string> texts;
  for (Piece& piece : pieces_of(content)) {
    if (piece.is_string) texts.push_back(std::move(piece.text));
  }
  return texts;
}

}  // namespace tvn
