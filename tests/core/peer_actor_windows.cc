// peer_actor for Windows (the commands are in peer_actor.h). With "autopump
// on" it handles the other processes' messages as soon as they arrive: a
// thread reads standard input and sets an event, and the main thread waits
// on that event and the calendar's NotificationDescriptor.
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <mutex>
#include <string>
#include <thread>

#include "peer_actor.h"

namespace {

// Standard input as it arrives, and whether it ended.
struct Input {
  std::mutex lock;
  std::string bytes;
  bool ended = false;
  HANDLE ready = CreateEventA(nullptr, TRUE, FALSE, nullptr);
};

void ReadInput(Input* input) {
  HANDLE in = GetStdHandle(STD_INPUT_HANDLE);
  char buffer[4096];
  while (true) {
    DWORD n = 0;
    const bool read = ReadFile(in, buffer, sizeof buffer, &n, nullptr) && n > 0;
    std::lock_guard<std::mutex> hold(input->lock);
    if (read) {
      input->bytes.append(buffer, n);
    } else {
      input->ended = true;
    }
    SetEvent(input->ready);
    if (!read) return;
  }
}

}  // namespace

int main(int argc, char** argv) {
  _setmode(_fileno(stdout), _O_BINARY);
  std::unique_ptr<orncal::peer::Actor> actor = orncal::peer::Start(argc, argv);
  if (!actor) return 2;
  // Never freed: the reader thread may still use it while the process ends.
  Input& input = *new Input;
  std::thread(ReadInput, &input).detach();
  std::string pending;
  while (true) {
    HANDLE handles[2] = {input.ready, nullptr};
    DWORD count = 1;
    if (actor->autopump) {
      handles[1] = reinterpret_cast<HANDLE>(actor->calendar().NotificationDescriptor());
      if (handles[1] && handles[1] != INVALID_HANDLE_VALUE) count = 2;
    }
    const DWORD woke = WaitForMultipleObjects(count, handles, FALSE, INFINITE);
    if (woke == WAIT_OBJECT_0 + 1) actor->calendar().ProcessNotifications();
    if (woke != WAIT_OBJECT_0) continue;
    bool ended;
    {
      std::lock_guard<std::mutex> hold(input.lock);
      pending += input.bytes;
      input.bytes.clear();
      ended = input.ended;
      ResetEvent(input.ready);
    }
    if (!orncal::peer::RunLines(*actor, pending)) return 0;
    if (ended) return 0;
  }
}
