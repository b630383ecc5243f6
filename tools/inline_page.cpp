// inline_page <page dir> <output> <exact size>
//
// Assembles the one document the program embeds. index.html in the page folder names its parts
// by marker comments; the parts of one marker are of one kind and become one element:
//
//     <!-- inline: style.css -->              becomes <style> ... </style>
//     <!-- inline: calls.js charts.js -->     becomes <script> ... </script>
//
// In its content security policy 'sha256 of style' and 'sha256 of script' become the hashes by
// which the browser knows these elements (Content Security Policy Level 3, 'sha256-...').
//
// The embedded page has a fixed size, so that a build is reproducible to the byte; the rest is
// filled with line feeds, which a browser ignores after </html>. To make room, lines that are
// empty or hold nothing but a comment are left out, and so are the blanks that a line starts with;
// everything else stays as it is in the page folder. Text whose meaning that could change (a
// template literal over several lines, <pre>) is refused, not understood.
//
// Exit status: 0 when the output was written, 1 when the page cannot be assembled (a part is
// missing, unused, unsafe to strip or to inline, or the page does not fit), 2 for a wrong command
// line. On failure the output is left as it was.

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "picture/base64.h"
#include "tools/sha256.h"

namespace tvn {
namespace {

constexpr std::string_view k_marker_begin = "<!-- inline: ";
constexpr std::string_view k_marker_end = " -->";

std::string read_text(const std::filesystem::path& path) {
  if (!std::filesystem::is_regular_file(path)) {
    throw std::runtime_error(path.string() + " is missing");
  }
  std::ifstream file(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (!file.good() && !file.eof()) throw std::runtime_error(path.string() + " cannot be read");
  return text;
}

// Whether a line without its indentation is one whole comment of the file's language.
bool is_comment(const std::string& name, const std::string& line) {
  const auto spans = [&line](std::string_view begin, std::string_view end) {
    return line.starts_with(begin) && line.find(end) == line.size() - end.size();
  };
  if (name.ends_with(".js")) return line.starts_with("//");
  if (name.ends_with(".css")) return spans("/*", "*/");
  return spans("<!--", "-->") && !line.starts_with(k_marker_begin);
}

// Text that goes over the line's end keeps the blanks that the next line starts with.
void check_ends_with_line(const std::string& name, const std::string& line) {
  std::string open;
  if (name.ends_with(".js") && std::count(line.begin(), line.end(), '`') % 2 != 0) {
    open = "a template literal";
  }
  if (!name.ends_with(".html") && line.ends_with('\\')) open = "a string";
  for (const char* tag : {"<pre", "<textarea"}) {
    if (name.ends_with(".html") && line.find(tag) != std::string::npos) open = tag;
  }
  if (!open.empty()) {
    throw std::runtime_error(name + ": " + open + " may not go over the end of a line: " + line);
  }
}

// The file without indentation, empty lines and lines of comment.
std::string read_stripped(const std::filesystem::path& path) {
  const std::string name = path.filename().string();
  std::istringstream lines(read_text(path));
  std::string text;
  for (std::string line; std::getline(lines, line);) {
    line.erase(0, line.find_first_not_of(" \t"));
    if (line.empty() || is_comment(name, line)) continue;
    check_ends_with_line(name, line);
    text += line + '\n';
  }
  return text;
}

// The element that holds a part, by the part's file name ending.
std::string element_for(const std::string& part) {
  if (part.ends_with(".css")) return "style";
  if (part.ends_with(".js")) return "script";
  throw std::runtime_error(part + ": only .css and .js files can be inlined");
}

struct Element {
  std::string tag;   // "style" or "script"
  std::string text;  // what stands between its tags
};

// The HTML parser ends a style or script at its end tag, whatever the language inside says.
void check_stays_open(const std::string& part, const std::string& tag, const std::string& text) {
  if (text.find("</" + tag) != std::string::npos) {
    throw std::runtime_error(part + " contains </" + tag + ", which would end it too early");
  }
}

// The element of the parts that a marker names, separated by white space.
Element inlined(const std::filesystem::path& page_dir, const std::string& names,
                std::set<std::string>& used) {
  Element element;
  std::istringstream parts(names);
  for (std::string part; parts >> part;) {
    const std::string tag = element_for(part);
    if (!element.tag.empty() && tag != element.tag) {
      throw std::runtime_error(part + ": a marker names parts of one kind");
    }
    element.tag = tag;
    if (!used.insert(part).second) throw std::runtime_error(part + " is inlined twice");
    const std::string text = read_stripped(page_dir / part);
    check_stays_open(part, tag, text);
    element.text += text;
  }
  if (element.tag.empty()) throw std::runtime_error("index.html: a marker names no part");
  element.text.insert(0, 1, '\n');
  return element;
}

void replace_all(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
}

std::string element_text(const std::string& tag, const std::string& text) {
  return "<" + tag + ">" + text + "</" + tag + ">";
}

// How a policy names a style or script of this text.
std::string hash_source(const std::string& text) {
  return "'sha256-" + base64_encode(sha256(text)) + "'";
}

// Puts the hashes of the styles or scripts into the policy. To allow what is not there is a
// mistake: a part was forgotten.
void allow(std::string& page, const std::string& tag, const std::string& hashes) {
  const std::string place = "'sha256 of " + tag + "'";
  if (hashes.empty() && page.find(place) != std::string::npos) {
    throw std::runtime_error("index.html allows a " + tag + " but inlines none");
  }
  replace_all(page, place, hashes);
}

// A style or script beside index.html that no marker names is a mistake: it would do nothing.
void check_all_used(const std::filesystem::path& page_dir, const std::set<std::string>& used) {
  for (const auto& entry : std::filesystem::directory_iterator(page_dir)) {
    const std::string name = entry.path().filename().string();
    if ((name.ends_with(".css") || name.ends_with(".js")) && !used.contains(name)) {
      throw std::runtime_error(name + " is in the page folder but index.html does not inline it");
    }
  }
}

std::string assemble(const std::filesystem::path& page_dir) {
  const std::string shell = read_stripped(page_dir / "index.html");
  std::set<std::string> used;
  std::map<std::string, std::string> hashes;
  std::string page;
  std::size_t from = 0;
  for (;;) {
    const std::size_t begin = shell.find(k_marker_begin, from);
    if (begin == std::string::npos) break;
    const std::size_t name_begin = begin + k_marker_begin.size();
    const std::size_t name_end = shell.find(k_marker_end, name_begin);
    if (name_end == std::string::npos) throw std::runtime_error("index.html: open inline marker");
    const auto [tag, text] =
        inlined(page_dir, shell.substr(name_begin, name_end - name_begin), used);
    page += shell.substr(from, begin - from);
    page += element_text(tag, text);
    std::string& sources = hashes[tag];
    if (!sources.empty()) sources += ' ';
    sources += hash_source(text);
    from = name_end + k_marker_end.size();
  }
  check_all_used(page_dir, used);
  page += shell.substr(from);
  for (const char* tag : {"style", "script"}) allow(page, tag, hashes[tag]);
  return page;
}

void pad_to(std::string& page, std::size_t exact_size) {
  if (page.size() > exact_size) {
    throw std::runtime_error("the page is " + std::to_string(page.size() - exact_size) +
                             " bytes too large: " + std::to_string(page.size()) + " of " +
                             std::to_string(exact_size));
  }
  page.append(exact_size - page.size(), '\n');
}

void write_text(const std::filesystem::path& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(text.data(), static_cast<std::streamsize>(text.size()));
  file.close();
  if (!file) throw std::runtime_error(path.string() + " cannot be written");
}

bool parse_size(std::string_view text, std::size_t& size) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), size);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

}  // namespace
}  // namespace tvn

int main(int argc, char** argv) {
  std::size_t exact_size = 0;
  if (argc != 4 || !tvn::parse_size(argv[3], exact_size)) {
    std::cerr << "usage: inline_page <page dir> <output> <exact size>\n";
    return 2;
  }
  try {
    std::string page = tvn::assemble(argv[1]);
    tvn::pad_to(page, exact_size);
    tvn::write_text(argv[2], page);
  } catch (const std::exception& error) {
    std::cerr << "inline_page: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
