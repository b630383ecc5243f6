#include "web/handlers/upload_handlers.h"

#include <algorithm>
#include <filesystem>

#include "base/files.h"
#include "base/names.h"

namespace tvn {
namespace {

std::string clean_component(std::string_view component) {
  std::string clean(component);
  std::erase_if(clean, [](char c) { return static_cast<unsigned char>(c) < 32 || c == ':'; });
  // Cleaning can make ".." out of "..:", so the test comes after it.
  return clean == "." || clean == ".." ? "" : fit_file_name(clean);
}

}  // namespace

std::string upload_dir(const Engine& engine) {
  return engine.data_dir + "/_upload_tmp";
}

void renew_upload_dir(const Engine& engine) {
  std::error_code ignored;
  std::filesystem::remove_all(upload_dir(engine), ignored);
  std::error_code error;
  std::filesystem::create_directories(upload_dir(engine), error);
  if (error) tell_write_failure(upload_dir(engine), error);
}

std::string sanitise_relative_path(std::string_view text) {
  std::string slashed(text);
  std::replace(slashed.begin(), slashed.end(), '\\', '/');
  std::string path;
  std::string_view rest = slashed;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('/'), rest.size());
    const std::string component = clean_component(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (component.empty()) continue;
    if (!path.empty()) path += '/';
    path += component;
  }
  return path;
}

Reply handle_batch_new(const Request&, Site& site) {
  renew_upload_dir(site.engine);
  return json_reply(R"({"ok":true})");
}

Reply handle_batch_upload(const Request& request, Site& site) {
  const std::string relative = sanitise_relative_path(text_param(request.query, "rel"));
  if (relative.empty()) return json_reply(R"({"ok":false})");
  const std::filesystem::path target = std::filesystem::path(upload_dir(site.engine)) / relative;
  std::error_code ignored;
  std::filesystem::create_directories(target.parent_path(), ignored);
  write_file(target.string(), request.body);  // tells itself what went wrong
  return json_reply(R"({"ok":true})");
}

}  // namespace tvn
