#include "orncalendar/notificator.h"

#include <algorithm>

#include "core/calendar_state.h"
#include "core/shared_calendar.h"

namespace orncal {

NotificatorPtr Notificator::New() { return std::make_shared<Notificator>(Key{}); }

Notificator::Cookie Notificator::Subscribe(Event event, Handler handler) {
  Cookie cookie = next_cookie_++;
  subscribers_.push_back(
      std::make_shared<Subscriber>(Subscriber{cookie, event, std::move(handler)}));
  return cookie;
}

void Notificator::Unsubscribe(Cookie cookie) {
  auto it = std::find_if(subscribers_.begin(), subscribers_.end(),
                         [&](const auto& s) { return s->cookie == cookie; });
  if (it == subscribers_.end()) return;
  (*it)->active = false;  // a raise in progress skips it from now on
  subscribers_.erase(it);
}

void Notificator::Raise(Event event) {
  // Work on a snapshot: handlers may change the list while they run.
  std::vector<std::shared_ptr<Subscriber>> due;
  for (const auto& s : subscribers_) {
    if (s->event == event) due.push_back(s);
  }
  auto self = shared_from_this();  // a handler may drop the last outside reference
  for (const auto& s : due) {
    if (s->active) s->handler();
  }
}

void Notificator::RaiseChange(const RaiseChangeOptions& options) {
  Raise(Event::kChange);
  if (!options.AllInstances) return;
  if (CalendarPtr calendar = GetCalendar()) {
    Calendar::State& state = calendar->Internal();
    if (state.notifier) state.notifier->NotifyAnythingChanged(core::InstanceID(), state.path);
  }
}

void Notificator::RaiseTasksChange() { Raise(Event::kTasksChange); }

void Notificator::SetCalendar(const CalendarPtr& calendar) {
  calendar_held_ = calendar && !core::IsShared(calendar.get());
  calendar_ = calendar_held_ ? calendar : nullptr;
}

CalendarPtr Notificator::GetCalendar() const {
  return calendar_held_ ? calendar_.lock() : core::SharedCalendar();
}

ScopedSubscription::ScopedSubscription(const NotificatorPtr& source, Notificator::Event event,
                                       Notificator::Handler handler)
    : source_(source), cookie_(source->Subscribe(event, std::move(handler))) {}

ScopedSubscription::~ScopedSubscription() {
  if (auto source = source_.lock()) source->Unsubscribe(cookie_);
}

ScopedSubscription::ScopedSubscription(ScopedSubscription&& other) noexcept
    : source_(std::move(other.source_)), cookie_(other.cookie_) {
  other.source_.reset();
}

ScopedSubscription& ScopedSubscription::operator=(ScopedSubscription&& other) noexcept {
  if (this != &other) {
    if (auto source = source_.lock()) source->Unsubscribe(cookie_);
    source_ = std::move(other.source_);
    cookie_ = other.cookie_;
    other.source_.reset();
  }
  return *this;
}

}  // namespace orncal
