// Windows has no notifier transport yet: calendars work alone there. The
// calls fail, so that nothing relies on them by mistake.
#include <cstdlib>

#include "platform/channel.h"

namespace orncal::platform {
namespace {

Status Unsupported() { return Status::Failure("the notifier transport is not available here"); }

}  // namespace

bool NotifierTransportAvailable() { return false; }

Status FindNotifierEndpoint(NotifierEndpoint*) { return Unsupported(); }

Status ConnectChannel(const std::string&, std::unique_ptr<Channel>*) { return Unsupported(); }

Status Listen(const NotifierEndpoint&, int, std::unique_ptr<Listener>*, bool* otherRunning) {
  *otherRunning = false;
  return Unsupported();
}

bool PollItems(std::vector<PollItem>&, int) { return false; }

Status SpawnDetached(const std::string&, const std::vector<std::string>&, const std::string&) {
  return Unsupported();
}

bool IsExecutableFile(const std::string&) { return false; }

std::string FindProgramOnPath(std::string_view) { return {}; }

std::optional<std::string> GetEnv(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  if (!value) return std::nullopt;
  return std::string(value);
}

std::unique_ptr<WakeSource> NewWakeSource() { return nullptr; }

}  // namespace orncal::platform
