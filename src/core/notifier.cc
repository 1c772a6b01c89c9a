#include "core/notifier.h"

#include "core/notifier_link.h"
#include "orncalendar/platform.h"
#include "platform/channel.h"

namespace orncal {
namespace {

bool& NotifierChosen() {
  static bool use = true;
  return use;
}

}  // namespace

void UseNotifier(bool use) { NotifierChosen() = use; }

namespace core {
namespace {

NotifierFactory& Installed() {
  static NotifierFactory factory;
  return factory;
}

}  // namespace

NotifierFactory SetNotifierFactory(NotifierFactory factory) {
  NotifierFactory before = std::move(Installed());
  Installed() = std::move(factory);
  return before;
}

bool NotifierWanted() {
  if (!NotifierChosen()) return false;
  const std::optional<std::string> named = platform::GetEnv("ORNCAL_NOTIFIER");
  return !named || *named != "off";
}

std::shared_ptr<NotifierServer> MakeNotifierServer() {
  if (const NotifierFactory& factory = Installed()) {
    if (auto server = factory()) return server;
  }
  if (platform::NotifierTransportAvailable() && NotifierWanted()) {
    return std::make_shared<SocketNotifierServer>();
  }
  return std::make_shared<SilentNotifierServer>();
}

}  // namespace core
}  // namespace orncal
