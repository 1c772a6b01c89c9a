// The event source through which a calendar tells its clients that its data
// changed. Events are raised synchronously on the caller's thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "orncalendar/fwd.h"

namespace orncal {

struct RaiseChangeOptions {
  // Also ask the other processes on the same data folder to raise Change.
  bool AllInstances = true;
};

class Notificator : public std::enable_shared_from_this<Notificator> {
  struct Key {
    explicit Key() = default;
  };

 public:
  enum class Event {
    kChange = 1,       // appointments, categories or settings changed
    kTasksChange = 2,  // the task list changed
  };
  using Handler = std::function<void()>;
  using Cookie = uint64_t;

  explicit Notificator(Key) {}
  static NotificatorPtr New();

  // Subscribes a handler; the cookie unsubscribes it. Handlers may subscribe
  // and unsubscribe (themselves or others) while an event is being raised:
  // an unsubscribed handler is not called any more, a new one is called from
  // the next event on.
  Cookie Subscribe(Event event, Handler handler);
  void Unsubscribe(Cookie cookie);

  // Raises Change here and, with AllInstances, in the other processes.
  void RaiseChange(const RaiseChangeOptions& options = {});

  // -- Library-internal

  // Raises TasksChange in this process only.
  void RaiseTasksChange();
  void SetCalendar(const CalendarPtr& calendar);
  CalendarPtr GetCalendar() const;

 private:
  struct Subscriber {
    Cookie cookie;
    Event event;
    Handler handler;
    bool active = true;  // false once unsubscribed, also while it runs
  };
  void Raise(Event event);

  // Shared, so that an event being raised keeps a handler that unsubscribes
  // itself alive until it returns.
  std::vector<std::shared_ptr<Subscriber>> subscribers_;
  Cookie next_cookie_ = 1;
  std::weak_ptr<Calendar> calendar_;
  bool calendar_held_ = false;
};

// Keeps a subscription for its own lifetime.
class ScopedSubscription {
 public:
  ScopedSubscription() = default;
  ScopedSubscription(const NotificatorPtr& source, Notificator::Event event,
                     Notificator::Handler handler);
  ~ScopedSubscription();
  ScopedSubscription(ScopedSubscription&& other) noexcept;
  ScopedSubscription& operator=(ScopedSubscription&& other) noexcept;

 private:
  std::weak_ptr<Notificator> source_;
  Notificator::Cookie cookie_ = 0;
};

}  // namespace orncal
