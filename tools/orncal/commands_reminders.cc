// remind, watch and special-remind add, list and remove.
#include "commands_reminders.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <thread>

#include "command_table.h"
#include "commands_appointments.h"
#include "orncalendar/appointment.h"
#include "orncalendar/collection.h"
#include "orncalendar/date_time.h"
#include "orncalendar/notificator.h"
#include "orncalendar/ole_date.h"
#include "orncalendar/remind_times.h"
#include "session.h"
#include "text.h"
#include "wait.h"

namespace orncal::cli {
namespace {

volatile std::sig_atomic_t stop_signal = 0;

extern "C" void OnStopSignal(int signal) { stop_signal = signal; }

// Puts a clock standing at `at` in place for the life of the object.
class ClockAt {
 public:
  explicit ClockAt(Date at) : before_(SetClock(std::make_shared<ManualClock>(at))) {}
  ~ClockAt() { SetClock(std::move(before_)); }

 private:
  std::shared_ptr<Clock> before_;
};

// One poll: what fell due since the last, or nullptr.
CollectionPtr<AppointmentPtr> Poll(Calendar& calendar) {
  CollectionPtr<AppointmentPtr> due;
  return calendar.GetRemindAppointments(due) ? due : nullptr;
}

Json DueJson(Date at, const Collection<AppointmentPtr>* due) {
  Json list = Json::array();
  if (due) {
    for (const AppointmentPtr& a : *due)
      list.push_back(EntryJson(*a));
  }
  return Json{{"at", Number(at)}, {"reminders", std::move(list)}};
}

void WriteDue(Session& s, const Collection<AppointmentPtr>& due) {
  std::vector<Row> rows;
  for (const AppointmentPtr& a : due) {
    const DateTimePtr when = a->DateTime();
    rows.push_back({when ? FormatWhen(when->StartDateTime(), a->AllDay()) : "-",
                    OneLine(a->Title()), FormatAppointmentRef(a->File(), a->ID())});
  }
  WriteAligned(rows, s.out);
}

}  // namespace

void WatchSignals() {
  stop_signal = 0;
  std::signal(SIGINT, OnStopSignal);
  std::signal(SIGTERM, OnStopSignal);
}

bool WaitAndProcess(Calendar& calendar, double seconds) {
  const std::intptr_t descriptor = calendar.NotificationDescriptor();
  const auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (stop_signal == 0) {
    const std::chrono::duration<double> left = until - std::chrono::steady_clock::now();
    if (left.count() <= 0) break;
    // In short steps, so that a signal is seen soon.
    const double step = std::min(left.count(), 0.2);
    if (descriptor < 0) {
      std::this_thread::sleep_for(std::chrono::duration<double>(step));
    } else if (WaitReadable(descriptor, step)) {
      calendar.ProcessNotifications();
    }
  }
  return stop_signal == 0;
}

void RegisterReminderCommands(CLI::App& app, CommandTable& table) {
  {
    CLI::App* remind =
        app.add_subcommand("remind", "The reminders that fell due since the last poll, each once");
    struct Args {
      std::string at;
      int32_t watch = 0;
      bool json = false;
    };
    auto a = std::make_shared<Args>();
    remind->add_option("--at", a->at, "Poll as if the clock stood at WHEN; nothing is written then")
        ->type_name("WHEN");
    remind->add_option("--watch", a->watch, "Poll every SECONDS until interrupted")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 86400));
    remind->add_flag("--json", a->json,
                     "Print {\"at\": DATE, \"reminders\": [ENTRY, ...]} (ENTRY as in 'orncal help "
                     "list'); with --watch one such line per poll that found something");
    remind->footer(
        "A poll hands out the appointments whose reminder moment (start + its remind seconds) "
        "came since the last poll (or, at the first, since the calendar started), and the "
        "extra reminders due; the moment reached is kept in the data folder for the next "
        "poll. Prints the start, title and FILE/ID of each, or 'nothing due'.");
    table.Add(remind, [a, remind] {
      RemindCommand c;
      if (remind->count("--at") > 0) c.At = WhenOption(a->at, "--at").Value;
      c.WatchSeconds = a->watch;
      if (c.At && c.WatchSeconds > 0)
        throw CommandError("remind: --at and --watch do not go together");
      c.Json = a->json;
      return c;
    });
  }
  {
    CLI::App* watch = app.add_subcommand(
        "watch", "Print each change other processes make to the calendar, until interrupted");
    auto json = std::make_shared<bool>(false);
    watch->add_flag("--json", *json,
                    "One line {\"event\": \"Change\" or \"TasksChange\", \"at\": DATE} per "
                    "change");
    watch->footer(
        "Change: appointments, categories or settings changed; TasksChange: a task was added "
        "or removed. Without --json each comes as a line with the time and what changed. "
        "Needs the notifier (see the README); SIGINT or SIGTERM ends it with status 0.");
    table.Add(watch, [json] { return WatchCommand{*json}; });
  }
  CLI::App* group =
      app.add_subcommand("special-remind",
                         "Extra reminders of an appointment at moments of your own: add, list, "
                         "remove");
  group->require_subcommand(1);
  {
    CLI::App* add = group->add_subcommand("add", "Remind of an appointment once more at WHEN");
    struct Args {
      std::string ref, at;
    };
    auto a = std::make_shared<Args>();
    add->add_option("FILE/ID", a->ref, "The appointment")->required();
    add->add_option("WHEN", a->at, "The moment, still to come")->required();
    table.Add(add, [a] {
      SpecialRemindAddCommand c{ParseAppointmentRef(a->ref), WhenOption(a->at, "WHEN").Value};
      if (!(c.At > CurrentClock().Now())) throw CommandError("WHEN: the moment has passed");
      return c;
    });
  }
  {
    CLI::App* list = group->add_subcommand("list", "The extra reminders still to come");
    auto json = std::make_shared<bool>(false);
    list->add_flag("--json", *json,
                   "Print {\"reminders\": [{\"remind_at\", \"file\", \"id\", \"title\"}, ...]}");
    table.Add(list, [json] { return SpecialRemindListCommand{*json}; });
  }
  {
    CLI::App* remove = group->add_subcommand(
        "remove", "Take an appointment's extra reminders away (only the one at WHEN, if given)");
    struct Args {
      std::string ref, at;
    };
    auto a = std::make_shared<Args>();
    remove->add_option("FILE/ID", a->ref, "The appointment")->required();
    remove->add_option("WHEN", a->at, "Only the reminder at this moment");
    table.Add(remove, [a, remove] {
      SpecialRemindRemoveCommand c{ParseAppointmentRef(a->ref), std::nullopt};
      if (remove->count("WHEN") > 0) c.At = WhenOption(a->at, "WHEN").Value;
      return c;
    });
  }
}

void Execute(Session& s, const RemindCommand& c) {
  Calendar& calendar = s.Calendar();
  if (c.At) {
    CollectionPtr<AppointmentPtr> due;
    {
      const ClockAt clock(*c.At);
      due = Poll(calendar);
    }
    if (c.Json) {
      s.out << ToJsonText(DueJson(*c.At, due.get()));
    } else if (due) {
      WriteDue(s, *due);
    } else {
      s.out << "nothing due\n";
    }
    return;
  }
  if (c.WatchSeconds == 0) {
    const Date now = CurrentClock().Now();
    const CollectionPtr<AppointmentPtr> due = Poll(calendar);
    if (c.Json) {
      s.out << ToJsonText(DueJson(now, due.get()));
    } else if (due) {
      WriteDue(s, *due);
    } else {
      s.out << "nothing due\n";
    }
    // The next poll goes on from here.
    s.SaveSpecialRemindTimes();
    return;
  }
  WatchSignals();
  do {
    const Date now = CurrentClock().Now();
    if (const CollectionPtr<AppointmentPtr> due = Poll(calendar)) {
      if (c.Json) {
        s.out << DueJson(now, due.get()).dump(-1, ' ', false, Json::error_handler_t::replace)
              << '\n';
      } else {
        WriteDue(s, *due);
      }
      s.out.flush();
      s.SaveSpecialRemindTimes();
    }
  } while (WaitAndProcess(calendar, c.WatchSeconds));
  s.SaveSpecialRemindTimes();
}

void Execute(Session& s, const WatchCommand& c) {
  Calendar& calendar = s.Calendar();
  if (calendar.NotificationDescriptor() < 0) {
    throw CommandError(
        "watch: no notifier serves this calendar, so the changes of other processes cannot be "
        "seen");
  }
  const auto print = [&](std::string_view event, std::string_view what) {
    const Date now = CurrentClock().Now();
    if (c.Json) {
      s.out << Json{{"event", event}, {"at", Number(now)}}.dump() << '\n';
    } else {
      const DateParts p = SplitDate(now);
      char second[8];
      std::snprintf(second, sizeof second, ":%02d", static_cast<int>(p.Second));
      s.out << FormatWhen(now, false) << second << "  " << what << '\n';
    }
    s.out.flush();
  };
  const NotificatorPtr events = calendar.Notificator();
  const ScopedSubscription changes(events, Notificator::Event::kChange, [&] {
    print("Change", "appointments, categories or settings changed");
  });
  const ScopedSubscription tasks(events, Notificator::Event::kTasksChange,
                                 [&] { print("TasksChange", "tasks changed"); });
  if (!c.Json) {
    s.out << "watching " << calendar.Path() << "; Ctrl-C ends\n";
    s.out.flush();
  }
  WatchSignals();
  calendar.ProcessNotifications();
  // What the calendar reports meanwhile is shown as it comes; the watch
  // goes on.
  while (WaitAndProcess(calendar, 1))
    s.PrintReported();
  s.PrintReported();
}

void Execute(Session& s, const SpecialRemindAddCommand& c) {
  const AppointmentPtr a = FindAppointmentByRef(s, c.Ref);
  s.Calendar().SpecialRemindTimes()->Add(SpecialRemindTime::New(c.At, a));
  s.SaveSpecialRemindTimes();
}

void Execute(Session& s, const SpecialRemindListCommand& c) {
  const CollectionPtr<SpecialRemindTimePtr> extras = s.Calendar().SpecialRemindTimes();
  if (c.Json) {
    Json list = Json::array();
    for (const SpecialRemindTimePtr& extra : *extras) {
      const AppointmentPtr a = extra->Appointment();
      if (!a) continue;
      list.push_back(Json{{"remind_at", Number(extra->RemindAt())},
                          {"file", a->File()},
                          {"id", a->ID()},
                          {"title", a->Title()}});
    }
    s.out << ToJsonText(Json{{"reminders", std::move(list)}});
    return;
  }
  std::vector<Row> rows;
  for (const SpecialRemindTimePtr& extra : *extras) {
    if (const AppointmentPtr a = extra->Appointment()) {
      rows.push_back({FormatWhen(extra->RemindAt(), false),
                      FormatAppointmentRef(a->File(), a->ID()), OneLine(a->Title())});
    }
  }
  if (rows.empty()) {
    s.out << "no extra reminders\n";
  } else {
    WriteAligned(rows, s.out);
  }
}

void Execute(Session& s, const SpecialRemindRemoveCommand& c) {
  const AppointmentPtr a = FindAppointmentByRef(s, c.Ref);
  const CollectionPtr<SpecialRemindTimePtr> extras = s.Calendar().SpecialRemindTimes();
  int32_t removed = 0;
  for (int32_t i = extras->Count(); i >= 1; --i) {
    const SpecialRemindTimePtr& extra = extras->Item(i);
    if (extra->Appointment() && extra->Appointment()->Target() == a &&
        (!c.At || extra->RemindAt() == *c.At)) {
      extras->Remove(i);
      ++removed;
    }
  }
  if (removed == 0) {
    throw CommandError("no extra reminder of " + FormatAppointmentRef(c.Ref.File, c.Ref.ID) +
                       (c.At ? " at " + FormatWhen(*c.At, false) : ""));
  }
  s.SaveSpecialRemindTimes();
}

}  // namespace orncal::cli
