// Talvern Live: chooses its folders, listens on a loopback port, shows the page in the browser and
// serves it until the process is ended.
#include <csignal>
#include <cstdio>
#include <memory>
#include <string>

#include "base/free_memory.h"
#include "base/standard_streams.h"
#include "base/version.h"
#include "host/end_signals.h"
#include "host/platform.h"
#include "host/server.h"
#include "host/setup/executable_path.h"
#include "host/setup/startup.h"
#include "session/recovery.h"
#include "session/runs.h"
#include "session/saved_recordings.h"
#include "web/http/peer.h"

namespace {

constexpr int k_default_port = 8000;
// A person who closes the window waits this long and no longer, in seconds: for a save or an export
// under way, and in all, for a Bluetooth service that does not answer, say.
constexpr double k_wait_for_files = 2.0;
constexpr double k_longest_end = 2.5;

tvn::Engine g_session;

void print_banner(int port) {
  const std::string rule(60, '=');
  std::printf("%s\n", rule.c_str());
  std::printf("  Talvern Live %s is running\n", tvn::APP_VERSION);
  std::printf("  Open your browser at:  http://127.0.0.1:%d/\n", port);
  std::printf("  Close this window to stop.\n");
  std::printf("%s\n", rule.c_str());
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  tvn::hold_standard_streams();
  // Writing to a browser that has gone must return an error instead of ending the process.
  std::signal(SIGPIPE, SIG_IGN);
  // So must writing a file that is larger than a limit allows.
  std::signal(SIGXFSZ, SIG_IGN);

  tvn::give_back_large_memory();

  const tvn::Environment environment = tvn::read_environment();
  const tvn::Folders folders = tvn::choose_folders(environment, tvn::executable_path());
  g_session.data_dir = folders.data_dir;
  tvn::create_data_folders(folders.data_dir);
  tvn::remove_leftovers(folders.data_dir);
  tvn::refresh_samples(folders);
  std::fputs(tvn::load_report_logo(folders.web_dir).c_str(), stdout);

  const std::unique_ptr<tvn::BleDriver> sensor = tvn::make_sensor_driver();
  g_session.sensor = sensor.get();

  const bool guards_users = environment.guarded && tvn::system_tells_peers();
  const int first_port = argc > 1 ? tvn::port_from_argument(argv[1]) : k_default_port;
  const auto listener = tvn::listen_on_free_port(first_port);
  if (!listener) {
    std::fputs("Could not bind a port.\n", stderr);
    return 1;
  }
  // A strap whose program vanished keeps its link, and nobody can find it for a minute.
  tvn::before_end_by_signal(
      [&sensor] {
        tvn::stop(g_session);
        if (sensor != nullptr) sensor->leave();
        tvn::write_left_runs(g_session);
        tvn::wait_for_files(g_session, k_wait_for_files);
      },
      k_longest_end);
  for (const std::string& name : tvn::recover_journals(folders.data_dir)) {
    std::printf("  Recovered recording: %s\n", name.c_str());
  }
  print_banner(listener->port);
  tvn::launch_browser(listener->port);

  static tvn::Site site{g_session, folders.web_dir, environment.guarded, guards_users};
  tvn::serve(listener->fd, site);
}
