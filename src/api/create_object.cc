// Creating objects by identifier, and the application object.
#include <functional>

#include "api/bindings.h"

namespace orncal::api {
namespace {

bool SameName(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char x = a[i], y = b[i];
    if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
    if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
    if (x != y) return false;
  }
  return true;
}

// The class an identifier names: "Library.Class" (blind to case, as the
// registry is) or the class identifier.
const ClassInfo* ClassNamed(std::string_view id) {
  while (!id.empty() && id.front() == ' ')
    id.remove_prefix(1);
  while (!id.empty() && id.back() == ' ')
    id.remove_suffix(1);
  const LibraryInfo& library = TypeLibrary();
  if (auto clsid = Guid::Parse(id)) {
    for (const ClassInfo& c : library.classes) {
      if (c.clsid == *clsid) return &c;
    }
    return nullptr;
  }
  const size_t point = id.find('.');
  if (point == std::string_view::npos || !SameName(id.substr(0, point), library.name)) {
    return nullptr;
  }
  for (const ClassInfo& c : library.classes) {
    if (SameName(id.substr(point + 1), c.name)) return &c;
  }
  return nullptr;
}

DispatchPtr NewObject(std::string_view name) {
  static const std::pair<std::string_view, std::function<DispatchPtr()>> kFactories[] = {
      {"CalendarMain", [] { return Wrap(std::make_shared<CalendarMain>()); }},
      {"AppointmentReal", [] { return Wrap(AppointmentPtr(AppointmentReal::New())); }},
      {"AppointmentLink", [] { return Wrap(AppointmentPtr(AppointmentLink::New())); }},
      {"Appointments", [] { return Wrap(Appointments::New()); }},
      {"DateTime", [] { return Wrap(DateTime::New()); }},
      {"DateTimeNormal", [] { return Wrap(DateTimePtr(DateTimeNormal::New())); }},
      {"DateTimeSerial", [] { return Wrap(DateTimePtr(DateTimeSerial::New())); }},
      {"Task", [] { return Wrap(Task::New()); }},
      {"SpecialRemindTime", [] { return Wrap(SpecialRemindTime::New()); }},
      {"Notificator", [] { return Wrap(Notificator::New()); }},
  };
  for (const auto& [class_name, make] : kFactories) {
    if (class_name == name) return make();
  }
  throw Error(ErrorNumber::kCannotCreateObject);
}

DispatchPtr& Application() {
  static DispatchPtr application;
  return application;
}

}  // namespace

DispatchPtr CreateObject(std::string_view id) {
  const ClassInfo* c = ClassNamed(id);
  if (!c || !c->creatable) throw Error(ErrorNumber::kCannotCreateObject);
  return NewObject(c->name);
}

DispatchPtr ApplicationObject() {
  DispatchPtr& application = Application();
  if (!application) application = Wrap(std::make_shared<CalendarMain>());
  return application;
}

int ProcessNotifications() {
  CalendarPtr calendar = Self<CalendarMain>(*ApplicationObject()).Calendar();
  return calendar ? calendar->ProcessNotifications() : 0;
}

std::intptr_t NotificationDescriptor() {
  CalendarPtr calendar = Self<CalendarMain>(*ApplicationObject()).Calendar();
  return calendar ? calendar->NotificationDescriptor() : -1;
}

void ResetApplicationObjectForTesting() { Application() = nullptr; }

}  // namespace orncal::api
