#include "core/notifier.h"

namespace orncal::core {
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

std::shared_ptr<NotifierServer> MakeNotifierServer() {
  if (const NotifierFactory& factory = Installed()) {
    if (auto server = factory()) return server;
  }
  return std::make_shared<SilentNotifierServer>();
}

}  // namespace orncal::core
