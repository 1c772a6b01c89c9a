// The message sink: every message box of the library goes through it.
#include <cstdio>
#include <string>

#include "orncalendar/platform.h"
#include "platform/system.h"

namespace orncal {
namespace {

MessageHandler& Installed() {
  static MessageHandler handler;
  return handler;
}

}  // namespace

MessageHandler SetMessageHandler(MessageHandler handler) {
  MessageHandler before = std::move(Installed());
  Installed() = std::move(handler);
  return before;
}

void ShowMessage(std::string_view text, MessageStyle style) {
  Message message{std::string(text), style};
  if (const MessageHandler& handler = Installed()) {
    handler(message);
  } else {
    platform::ShowDefaultMessage(message);
  }
}

}  // namespace orncal
