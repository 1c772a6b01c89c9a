// OrnCalNtf: the notifier that relays the changes of a user's calendars
// between their processes. The library starts it on demand; it serves
// every data folder of the user and ends a few seconds after its last
// calendar left.
//
//   OrnCalNtf [--wait-ms N] [--linger-ms N] [--queue-bytes N]
//
// The same settings may come from ORNCAL_NOTIFIER_WAIT_MS,
// ORNCAL_NOTIFIER_LINGER_MS and ORNCAL_NOTIFIER_QUEUE_BYTES (the options
// win). It listens in the user's private runtime folder
// ($XDG_RUNTIME_DIR/orncalendar, else /tmp/orncalendar-<uid>; on Windows
// the pipe \\.\pipe\orncalendar-<SID>, its lock and log in the local
// application-data folder); a second notifier started there ends at once. Problems with single
// connections are written to standard error, one line each.
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <optional>
#include <string>

#include "platform/channel.h"
#include "relay.h"

namespace {

volatile bool stop_requested = false;

std::optional<int64_t> Number(std::string_view text) {
  int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < 0) return std::nullopt;
  return value;
}

// A setting from the environment; the default when it is not a number.
int64_t FromEnvironment(const char* name, int64_t fallback) {
  const char* text = std::getenv(name);
  if (!text) return fallback;
  return Number(text).value_or(fallback);
}

int Usage() {
  std::cerr << "usage: OrnCalNtf [--wait-ms N] [--linger-ms N] [--queue-bytes N]\n";
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace orncal;
  notifier::RelayOptions options;
  options.wait_ms = static_cast<int>(FromEnvironment("ORNCAL_NOTIFIER_WAIT_MS", options.wait_ms));
  options.linger_ms =
      static_cast<int>(FromEnvironment("ORNCAL_NOTIFIER_LINGER_MS", options.linger_ms));
  options.queue_bytes = static_cast<size_t>(
      FromEnvironment("ORNCAL_NOTIFIER_QUEUE_BYTES", static_cast<int64_t>(options.queue_bytes)));
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (i + 1 >= argc) return Usage();
    const std::optional<int64_t> value = Number(argv[++i]);
    if (!value || *value > 1'000'000'000) return Usage();
    if (option == "--wait-ms") {
      options.wait_ms = static_cast<int>(*value);
    } else if (option == "--linger-ms") {
      options.linger_ms = static_cast<int>(*value);
    } else if (option == "--queue-bytes") {
      options.queue_bytes = static_cast<size_t>(*value);
    } else {
      return Usage();
    }
  }
  options.wait_ms = std::min(options.wait_ms, 600000);
  options.linger_ms = std::min(options.linger_ms, 3600000);

  platform::HandleStopRequests(&stop_requested);

  platform::NotifierEndpoint endpoint;
  if (platform::Status found = platform::FindNotifierEndpoint(&endpoint); !found.ok()) {
    std::cerr << "OrnCalNtf: " << found.message() << std::endl;
    return 1;
  }
  std::unique_ptr<platform::Listener> listener;
  bool other_running = false;
  // A notifier on its way out is waited for; one that keeps running
  // serves alone.
  if (platform::Status listening = platform::Listen(endpoint, 2000, &listener, &other_running);
      !listening.ok()) {
    if (other_running) return 0;
    std::cerr << "OrnCalNtf: " << listening.message() << std::endl;
    return 1;
  }
  // The log a started notifier writes to is kept small: it begins anew
  // with each notifier once it grew large.
  platform::TrimErrorLog(1 << 20);
  notifier::Relay relay(options, std::cerr);
  relay.Run(*listener, stop_requested);
  return 0;
}
