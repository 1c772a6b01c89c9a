// The other processes' changes reach a client's event handlers on the
// thread that connected them: a wait of the system's thread pool on the
// calendar's notification descriptor posts a message to a hidden window
// of that thread, whose procedure lets the calendar handle what arrived
// (and so raises Change and TasksChange to the connected sinks). A client
// sees the events whenever its thread handles messages, as a program with
// a window does anyway and the script host does while a script sleeps.
#include "api/com/notification_pump.h"

#include "api/dispatch.h"

namespace orncal::com {
namespace {

constexpr UINT kArrived = WM_APP + 1;
constexpr const char* kWindowClass = "OrnCalendarNotifications";

HWND window = nullptr;
HANDLE descriptor = nullptr;
HANDLE wait = nullptr;

void CALLBACK Signalled(void*, BOOLEAN) { PostMessageA(window, kArrived, 0, 0); }

// Waits (once) for the descriptor to be set; while it is set already,
// the message comes at once.
void Arm() {
  if (wait) UnregisterWaitEx(wait, nullptr);
  wait = nullptr;
  if (!RegisterWaitForSingleObject(&wait, descriptor, Signalled, nullptr, INFINITE,
                                   WT_EXECUTEONLYONCE | WT_EXECUTEINWAITTHREAD)) {
    wait = nullptr;
  }
}

LRESULT CALLBACK Procedure(HWND hwnd, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message != kArrived) return DefWindowProcA(hwnd, message, wparam, lparam);
  try {
    api::ProcessNotifications();
  } catch (...) {
    // The calendar reported its trouble itself; the next message tries again.
  }
  Arm();
  return 0;
}

}  // namespace

void StartNotificationPump() {
  if (window) return;  // one per process: the first thread that asked
  std::intptr_t handle = -1;
  try {
    handle = api::NotificationDescriptor();
  } catch (...) {
    return;
  }
  if (handle == -1 || handle == 0) return;  // the calendar works alone
  WNDCLASSA window_class{};
  window_class.lpfnWndProc = Procedure;
  window_class.hInstance = Module();
  window_class.lpszClassName = kWindowClass;
  RegisterClassA(&window_class);  // fails harmlessly when registered already
  window =
      CreateWindowExA(0, kWindowClass, "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, Module(), nullptr);
  if (!window) return;
  descriptor = reinterpret_cast<HANDLE>(handle);
  // The window's procedure and the wait's callback are in this DLL: it
  // stays loaded from now on.
  ++LiveObjects();
  Arm();
}

}  // namespace orncal::com
