// peer_actor for Windows: the same commands as on POSIX (peer_actor.h),
// one per line on standard input, answers on standard output. With
// "autopump on" it handles the other processes' messages as soon as they
// arrive: a thread reads standard input and sets an event, and the main
// thread waits on that event and the calendar's NotificationDescriptor.
//
//   peer_actor APPDATA [--clock YYYY-MM-DDTHH:MM:SS.mmm]
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdio>
#include <mutex>
#include <sstream>
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
  using namespace orncal;
  using peer::Actor;
  using peer::ParseWhen;
  if (argc != 2 && argc != 4) {
    std::fprintf(stderr, "usage: peer_actor APPDATA [--clock YYYY-MM-DDTHH:MM:SS.mmm]\n");
    return 2;
  }
  _setmode(_fileno(stdout), _O_BINARY);
  const std::string app_data = argv[1];
  platform::SetShellFolderHook([app_data](int32_t) { return app_data; });
  Date now = DateFromParts(2008, 5, 14) + 10 / 24.0;
  if (argc == 4) now = ParseWhen(argv[3]);
  SetClock(std::make_shared<ManualClock>(now));

  CalendarPtr calendar = CalendarMain().Calendar();
  Actor actor(calendar);
  // Never freed: the reader thread may still use it while the process ends.
  Input& input = *new Input;
  std::thread(ReadInput, &input).detach();
  std::string pending;
  while (true) {
    HANDLE handles[2] = {input.ready, nullptr};
    DWORD count = 1;
    if (actor.autopump) {
      handles[1] = reinterpret_cast<HANDLE>(calendar->NotificationDescriptor());
      if (handles[1] && handles[1] != INVALID_HANDLE_VALUE) count = 2;
    }
    const DWORD woke = WaitForMultipleObjects(count, handles, FALSE, INFINITE);
    if (woke == WAIT_OBJECT_0 + 1) calendar->ProcessNotifications();
    if (woke != WAIT_OBJECT_0) continue;
    bool ended;
    {
      std::lock_guard<std::mutex> hold(input.lock);
      pending += input.bytes;
      input.bytes.clear();
      ended = input.ended;
      ResetEvent(input.ready);
    }
    if (!peer::RunLines(actor, pending)) return 0;
    if (ended) return 0;
  }
}
