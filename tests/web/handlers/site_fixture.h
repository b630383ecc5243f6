// A session with a data folder of its own, asked as the page asks it.
#pragma once

#include <filesystem>
#include <string>

#include "tests/analysis/synthetic_ecg.h"
#include "tests/session/session_fixture.h"
#include "web/handlers/router.h"

namespace tvn {

class SiteTest : public SessionTest {
 protected:
  SiteTest() { std::filesystem::create_directories(sample_data_dir(engine_)); }

  Reply ask(const std::string& target, const std::string& body = "") {
    Request request;
    const std::size_t question = target.find('?');
    request.path = target.substr(0, question);
    if (question != std::string::npos) request.query = parse_query(target.substr(question + 1));
    request.method = body.empty() ? "GET" : "POST";
    request.body = body;
    return route(request, site_);
  }
  // The body of a reply with status 200.
  std::string body(const std::string& target, const std::string& sent = "") {
    const std::string bytes = ask(target, sent).bytes;
    EXPECT_TRUE(bytes.starts_with("HTTP/1.1 200 OK\r\n")) << bytes;
    return bytes.substr(bytes.find("\r\n\r\n") + 4);
  }
  void write_saved(const std::string& name, const std::string& content) {
    ASSERT_TRUE(write_file(recordings_dir(engine_) + "/" + name, content));
  }
  // Waits for a job to end.
  bool done(const std::string& status_path) {
    return wait_until([&] {
      const std::string status = body(status_path);
      return !status.starts_with(R"({"status":"exporting")") &&
             !status.starts_with(R"({"status":"running")") && !engine_.batch_running;
    });
  }
  static std::string synthetic_ecg_text(double seconds) {
    std::string text;
    for (const double sample : synthetic::make_ecg(seconds)) text += std::to_string(sample) + "\n";
    return text;
  }
  static std::string flat_ecg(int lines) {
    std::string text;
    for (int i = 0; i < lines; ++i) text += std::to_string(i % 7) + "\n";
    return text;
  }

  Site site_{engine_, folder_ / "web"};
};

}  // namespace tvn
