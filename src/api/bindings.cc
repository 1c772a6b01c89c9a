// Each member of the type library bound to the C++ object model. Arguments
// arrive converted to their declared types (see ClassTable::Invoke), so a
// binding reads them directly; object arguments are checked for their
// class here.
#include "api/bindings.h"

#include <map>
#include <typeinfo>

namespace orncal::api {
namespace {

using A = Appointment;
using C = Calendar;
using Dt = DateTime;

constexpr InvokeKind kMethod = kInvokeMethod;
constexpr InvokeKind kGet = kInvokePropertyGet;
constexpr InvokeKind kLet = kInvokePropertyLet;
constexpr InvokeKind kSet = kInvokePropertySet;

NewAppointmentOptions NewAppointmentArgs(Arguments& args) {
  return {.StartDateTime = args.Given(0) ? args[0].DateValue() : 0,
          .EndDateTime = args.Given(1) ? args[1].DateValue() : 0,
          .AllDay = args.Given(2) && args[2].Bool(),
          .SaveNow = args[3].Bool()};
}

// --------------------------------------------------------- CalendarMain

constexpr Binding kCalendarMain[] = {
    {"Calendar", kMethod, Getter<CalendarMain, &CalendarMain::Calendar>},
    {"Calend", kMethod, Getter<CalendarMain, &CalendarMain::Calend>},
    {"CollectionItemExists", kMethod,
     [](Dispatch&, Arguments& args) -> Variant {
       // Any failure of the look-up is false.
       auto* keyed = dynamic_cast<KeyedItems*>(args[0].ToObject().get());
       return keyed && keyed->HasKey(args[1].String());
     }},
    {"Appointment", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       return ToVariant(Self<CalendarMain>(self).Appointment(NewAppointmentArgs(args)));
     }},
    {"Task", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       return ToVariant(Self<CalendarMain>(self).Task({.SaveNow = args[0].Bool()}));
     }},
};

// ------------------------------------------------------------- Calendar

Variant TaskList(const CollectionPtr<TaskPtr>& tasks) { return Variant(Wrap(tasks)); }

constexpr Binding kCalendar[] = {
    {"AllFiles", kMethod, Getter<C, &C::AllFiles>},
    {"GetRemindAppointments", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       CollectionPtr<AppointmentPtr> due = UnwrapCollection<AppointmentPtr>(args[0]);
       const bool any = Self<C>(self).GetRemindAppointments(due);
       args[0] = Variant(Wrap(due));
       return any;
     }},
    {"Categories", kMethod, Getter<C, &C::Categories>},
    {"Notificator", kMethod, Getter<C, &C::Notificator>},
    {"SpecialRemindTimes", kMethod, Getter<C, &C::SpecialRemindTimes>},
    {"Path", kGet, Getter<C, &C::Path>},
    {"AllAppointmentsInPeriod", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       const QueryOptions options{.SeperateSerials = args[1].Bool(),
                                  .AlsoAllDay = args[2].Bool(),
                                  .OnlyAllDay = args[3].Bool(),
                                  .UseRemindTime = args.Given(4) && args[4].Bool(),
                                  .Flags = args[5].Int32(),
                                  .NotFlags = args[6].Int32(),
                                  .OrFlags = args[7].Int32(),
                                  .NotAndFlags = args[8].Int32(),
                                  .RemoveDoubles = args.Given(9) && args[9].Bool()};
       return ToVariant(
           Self<C>(self).AllAppointmentsInPeriod(Required<DateTimeNormal>(args[0]), options));
     }},
    {"Appointment", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       return ToVariant(Self<C>(self).Appointment(NewAppointmentArgs(args)));
     }},
    {"Save", kMethod, Action<C, &C::Save>},
    {"SaveSpecialRemindTimes", kMethod, Action<C, &C::SaveSpecialRemindTimes>},
    {"GetAppointment", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       return ToVariant(Self<C>(self).GetAppointment(args[0].Int32(), args[1].Int32()));
     }},
    {"FindAppointment", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       const FindOptions options{.Direction = args[1].Int16(),
                                 .StartAt = args[2].DateValue(),
                                 .SeperateSerials = args[3].Bool(),
                                 .AlsoAllDay = args[4].Bool(),
                                 .OnlyAllDay = args[5].Bool(),
                                 .Flags = args[6].Int32(),
                                 .NotFlags = args[7].Int32(),
                                 .OrFlags = args[8].Int32(),
                                 .NotAndFlags = args[9].Int32()};
       return ToVariant(Self<C>(self).FindAppointment(args[0].String(), options));
     }},
    {"Release", kMethod, Action<C, &C::Release>},
    {"ShowAbout", kMethod, Action<C, &C::ShowAbout>},
    {"IncompleteTasks", kGet,
     [](Dispatch& self, Arguments&) { return TaskList(Self<C>(self).IncompleteTasks()); }},
    {"IncompleteTasksInPeriod", kMethod,
     [](Dispatch& self, Arguments& args) {
       return TaskList(Self<C>(self).IncompleteTasksInPeriod(Required<DateTimeNormal>(args[0])));
     }},
    {"IncompleteTasksBefore", kMethod,
     [](Dispatch& self, Arguments& args) {
       return TaskList(Self<C>(self).IncompleteTasksBefore(args[0].DateValue()));
     }},
    {"CompleteTasksInPeriod", kMethod,
     [](Dispatch& self, Arguments& args) {
       return TaskList(Self<C>(self).CompleteTasksInPeriod(Required<DateTimeNormal>(args[0])));
     }},
    {"Task", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       return ToVariant(Self<C>(self).Task({.SaveNow = args[0].Bool()}));
     }},
    {"SortTasks", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       CollectionPtr<TaskPtr> tasks = UnwrapCollection<TaskPtr>(args[0]);
       Self<C>(self).SortTasks(tasks);
       args[0] = TaskList(tasks);
       return {};
     }},
    {"IncompleteTaskFromID", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       return ToVariant(Self<C>(self).IncompleteTaskFromID(args[0].Int32()));
     }},
};

// ----------------------------------------------------------------- File

using F = orncal::File;
constexpr Binding kFile[] = {
    {"LinksResolved", kGet, Getter<F, &F::LinksResolved>},
    {"LinksResolved", kLet, Setter<F, &F::SetLinksResolved>},
    {"Changed", kGet, Getter<F, &F::Changed>},
    {"Changed", kLet, Setter<F, &F::SetChanged>},
    {"Appointments", kGet, Getter<F, &F::Appointments>},
    {"Appointments", kSet, Setter<F, &F::SetAppointments>},
    {"Month", kGet, Getter<F, &F::Month>},
    {"Month", kLet, Setter<F, &F::SetMonth>},
    {"Year", kGet, Getter<F, &F::Year>},
    {"Year", kLet, Setter<F, &F::SetYear>},
    {"FileName", kGet, Getter<F, &F::FileName>},
    {"FileName", kLet, Setter<F, &F::SetFileName>},
    {"FilePath", kGet, Getter<F, &F::FilePath>},
    {"FilePath", kLet, Setter<F, &F::SetFilePath>},
    {"FileLong", kGet, Getter<F, &F::FileLong>},
    {"FileLong", kLet, Setter<F, &F::SetFileLong>},
    {"Calendar", kGet, Getter<F, &F::Calendar>},
    {"ResolveLinks", kMethod, Action<F, &F::ResolveLinks>},
    {"GetEmptyID", kMethod, Getter<F, &F::GetEmptyID>},
    {"ItemExists", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       return Self<F>(self).ItemExists(args[0].Int32());
     }},
    {"Load", kMethod, Getter<F, &F::Load>},
    {"ResetChanged", kMethod, Action<F, &F::ResetChanged>},
    {"NewLoaded", kMethod, Action<F, &F::NewLoaded>},
};

// ---------------------------------------------------------- Appointment

template <const std::string& (A::*Read)(int32_t) const>
Variant TagGet(Dispatch& self, Arguments& args) {
  return ToVariant((Self<A>(self).*Read)(args[0].Int32()));
}
template <void (A::*Write)(int32_t, std::string)>
Variant TagLet(Dispatch& self, Arguments& args) {
  (Self<A>(self).*Write)(args[0].Int32(), FromVariant<std::string>(args.Value()));
  return {};
}

constexpr Binding kAppointment[] = {
    {"ID", kGet, Getter<A, &A::ID>},
    {"ID", kLet, Setter<A, &A::SetID>},
    {"File", kGet, Getter<A, &A::File>},
    {"File", kLet, Setter<A, &A::SetFile>},
    {"OutsideID", kGet, Getter<A, &A::OutsideID>},
    {"OutsideID", kLet, Setter<A, &A::SetOutsideID>},
    {"OutsideFile", kGet, Getter<A, &A::OutsideFile>},
    {"OutsideFile", kLet, Setter<A, &A::SetOutsideFile>},
    {"Title", kGet, Getter<A, &A::Title>},
    {"Title", kLet, Setter<A, &A::SetTitle>},
    {"Notes", kGet, Getter<A, &A::Notes>},
    {"Notes", kLet, Setter<A, &A::SetNotes>},
    {"AllDay", kGet, Getter<A, &A::AllDay>},
    {"AllDay", kLet, Setter<A, &A::SetAllDay>},
    {"Remind", kGet, Getter<A, &A::Remind>},
    {"Remind", kLet, Setter<A, &A::SetRemind>},
    {"RemindAt", kGet, Getter<A, &A::RemindAt>},
    {"RemindAt", kLet, Setter<A, &A::SetRemindAt>},
    {"Changed", kGet, Getter<A, &A::Changed>},
    {"Changed", kLet, Setter<A, &A::SetChanged>},
    {"Category", kGet, Getter<A, &A::Category>},
    {"Category", kLet, Setter<A, &A::SetCategory>},
    {"Project", kGet, Getter<A, &A::Project>},
    {"Project", kLet, Setter<A, &A::SetProject>},
    {"Flags", kGet, Getter<A, &A::Flags>},
    {"Flags", kLet, Setter<A, &A::SetFlags>},
    {"DateTime", kGet, Getter<A, &A::DateTime>},
    {"DateTime", kSet, Setter<A, &A::SetDateTime>},
    {"PartDateTime", kGet, Getter<A, &A::PartDateTime>},
    {"PartDateTime", kSet, Setter<A, &A::SetPartDateTime>},
    {"AppointmentType", kGet, Getter<A, &A::AppointmentType>},
    {"Color", kGet, Getter<A, &A::Color>},
    {"Appointment", kGet, Getter<A, &A::Target>},
    {"BeforeDateTimeChange", kMethod, Action<A, &A::BeforeDateTimeChange>},
    {"AfterDateTimeChange", kMethod, Action<A, &A::AfterDateTimeChange>},
    {"Remove", kMethod, Action<A, &A::Remove>},
    {"NotifyChange", kMethod, Action<A, &A::NotifyChange>},
    {"Exists", kMethod, Getter<A, &A::Exists>},
    {"TagsCount", kMethod, Getter<A, &A::TagsCount>},
    {"TagName", kGet, TagGet<&A::TagName>},
    {"TagName", kLet, TagLet<&A::SetTagName>},
    {"TagType", kGet, TagGet<&A::TagType>},
    {"TagType", kLet, TagLet<&A::SetTagType>},
    {"TagData", kGet, TagGet<&A::TagData>},
    {"TagData", kLet, TagLet<&A::SetTagData>},
    {"AddTag", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       Self<A>(self).AddTag(args[0].String(), args[1].String(), args[2].String());
       return {};
     }},
    {"RemoveTag", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       Self<A>(self).RemoveTag(args[0].Int32());
       return {};
     }},
    {"Series", kGet, Getter<A, &A::Series>},
};

constexpr Binding kAppointmentReal[] = {
    {"GetTags", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       std::vector<std::string> names, types, data;
       const int32_t count = SelfAs<AppointmentReal, A>(self).GetTags(names, types, data);
       args[0] = Variant(std::move(names));
       args[1] = Variant(std::move(types));
       args[2] = Variant(std::move(data));
       return count;
     }},
};

constexpr Binding kAppointmentLink[] = {
    {"DestinationAppointment", kGet,
     [](Dispatch& self, Arguments&) {
       return ToVariant(SelfAs<AppointmentLink, A>(self).DestinationAppointment());
     }},
};

// --------------------------------------------------------- Appointments

using As = Appointments;
constexpr Binding kAppointments[] = {
    {"ConvertToCollection", kMethod, Getter<As, &As::ConvertToCollection>},
    {"Item", kGet,
     [](Dispatch& self, Arguments& args) -> Variant {
       if (args[0].Type() == VarType::kString) {
         return ToVariant(Self<As>(self).Item(std::string_view(args[0].String())));
       }
       return ToVariant(Self<As>(self).Item(args[0].ToInt32()));
     }},
    {"Count", kGet, Getter<As, &As::Count>},
    {"RemoveDoubles", kMethod, Action<As, &As::RemoveDoubles>},
    {"NewEnum", kGet,
     [](Dispatch& self, Arguments&) -> Variant {
       auto& adapter = static_cast<Adapter<As>&>(self);
       return DispatchPtr(
           std::make_shared<PositionEnumerator<As, ElementOf<AppointmentPtr>>>(adapter.Pointer()));
     }},
    {"Sort", kMethod, Action<As, &As::Sort>},
};

// ------------------------------------------------------------- DateTime

constexpr Binding kDateTime[] = {
    {"StartDateTime", kGet, Getter<Dt, &Dt::StartDateTime>},
    {"StartDateTime", kLet, Setter<Dt, &Dt::SetStartDateTime>},
    {"EndDateTime", kGet, Getter<Dt, &Dt::EndDateTime>},
    {"EndDateTime", kLet, Setter<Dt, &Dt::SetEndDateTime>},
    {"DateTimeType", kGet, Getter<Dt, &Dt::DateTimeType>},
    {"OverLapsWith", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       const DateTimeNormal& period = Required<DateTimeNormal>(args[0]);
       PeriodsPtr periods;
       OverlapOptions options{.ReturnPeriods = args[2].Bool()};
       if (args.Given(1)) {
         periods = UnwrapCollection<DateTimeNormalPtr>(args[1]);
         options.Out_Periods = &periods;
       }
       const bool overlaps = Self<Dt>(self).OverLapsWith(period, options);
       if (args.Given(1)) args[1] = Variant(Wrap(periods));
       return overlaps;
     }},
    {"GetFirstDate", kMethod, Getter<Dt, &Dt::GetFirstDate>},
    {"GetLastDate", kMethod, Getter<Dt, &Dt::GetLastDate>},
    {"Series", kGet, Getter<Dt, &Dt::Series>},
    {"FirstOccurency", kMethod, Getter<Dt, &Dt::FirstOccurency>},
};

// The members a recurring period adds.
template <auto Read>
Variant SerialGet(Dispatch& self, Arguments&) {
  return ToVariant((SelfAs<DateTimeSerial, Dt>(self).*Read)());
}
template <auto Write>
Variant SerialLet(Dispatch& self, Arguments& args) {
  using P = decltype(ParameterOf(Write));
  (SelfAs<DateTimeSerial, Dt>(self).*Write)(FromVariant<P>(args.Value()));
  return {};
}
using S = DateTimeSerial;
constexpr Binding kDateTimeSerial[] = {
    {"SeriesStartDateTime", kGet, SerialGet<&S::SeriesStartDateTime>},
    {"SeriesStartDateTime", kLet, SerialLet<&S::SetSeriesStartDateTime>},
    {"SeriesEndDateTime", kGet, SerialGet<&S::SeriesEndDateTime>},
    {"SeriesEndDateTime", kLet, SerialLet<&S::SetSeriesEndDateTime>},
    {"RepetitionMode", kGet, SerialGet<&S::RepetitionMode>},
    {"RepetitionMode", kLet, SerialLet<&S::SetRepetitionMode>},
    {"m", kGet, SerialGet<&S::m>},
    {"m", kLet, SerialLet<&S::Setm>},
    {"n", kGet, SerialGet<&S::n>},
    {"n", kLet, SerialLet<&S::Setn>},
    {"InMonth", kGet, SerialGet<&S::InMonth>},
    {"InMonth", kLet, SerialLet<&S::SetInMonth>},
    {"Weekdays", kGet, SerialGet<&S::Weekdays>},
    {"Weekdays", kLet, SerialLet<&S::SetWeekdays>},
    {"Eternal", kGet, SerialGet<&S::Eternal>},
    {"Eternal", kLet, SerialLet<&S::SetEternal>},
    {"AdjustStartDate", kMethod,
     [](Dispatch& self, Arguments&) -> Variant {
       SelfAs<S, Dt>(self).AdjustStartDate();
       return {};
     }},
};

// ----------------------------------------------------------------- Task

using T = orncal::Task;
constexpr Binding kTask[] = {
    {"Completed", kGet, Getter<T, &T::Completed>},
    {"ConnectedAppointment", kGet, Getter<T, &T::ConnectedAppointment>},
    {"RemindAppointment", kSet, Setter<T, &T::SetRemindAppointment>},
    {"RemindAppointment", kGet, Getter<T, &T::RemindAppointment>},
    {"PlannedEnd", kGet, Getter<T, &T::PlannedEnd>},
    {"PlannedEnd", kLet, Setter<T, &T::SetPlannedEnd>},
    {"DateTime", kGet, Getter<T, &T::DateTime>},
    {"DateTime", kSet, Setter<T, &T::SetDateTime>},
    {"AfterDateTimeChange", kMethod, Action<T, &T::AfterDateTimeChange>},
    {"BeforeDateTimeChange", kMethod, Action<T, &T::BeforeDateTimeChange>},
    {"NotifyChange", kMethod, Action<T, &T::NotifyChange>},
    {"Changed", kGet, Getter<T, &T::Changed>},
    {"Title", kGet, Getter<T, &T::Title>},
    {"Title", kLet, Setter<T, &T::SetTitle>},
    {"Notes", kGet, Getter<T, &T::Notes>},
    {"Notes", kLet, Setter<T, &T::SetNotes>},
    {"Project", kGet, Getter<T, &T::Project>},
    {"Project", kLet, Setter<T, &T::SetProject>},
    {"Remove", kMethod, Action<T, &T::Remove>},
    {"Complete", kMethod, Action<T, &T::Complete>},
    {"InComplete", kMethod, Action<T, &T::InComplete>},
    {"ID", kGet, Getter<T, &T::ID>},
    {"RemindAt", kGet, Getter<T, &T::RemindAt>},
    {"RemindAt", kLet, Setter<T, &T::SetRemindAt>},
};

// ----------------------------------------------------------- Categories

using Cs = Categories;
constexpr Binding kCategories[] = {
    {"Changed", kGet, Getter<Cs, &Cs::Changed>},
    {"Changed", kLet, Setter<Cs, &Cs::SetChanged>},
    {"Calendar", kGet, Getter<Cs, &Cs::Calendar>},
    {"CategoryExists", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       return Self<Cs>(self).CategoryExists(args[0].String());
     }},
    {"Color", kGet,
     [](Dispatch& self, Arguments& args) -> Variant {
       return Self<Cs>(self).Color(args[0].String());
     }},
    {"Color", kLet,
     [](Dispatch& self, Arguments& args) -> Variant {
       Self<Cs>(self).SetColor(args[0].String(), args.Value().Int32());
       return {};
     }},
    {"Add", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       Self<Cs>(self).Add(args[0].String(), {.Color = args[1].Int32()});
       return {};
     }},
    {"Remove", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       Self<Cs>(self).Remove(args[0].String());
       return {};
     }},
    {"Count", kMethod, Getter<Cs, &Cs::Count>},
    {"Save", kMethod, Action<Cs, &Cs::Save>},
    {"Names", kMethod, Getter<Cs, &Cs::Names>},
};

// ---------------------------------------------------- SpecialRemindTime

using R = SpecialRemindTime;
constexpr Binding kSpecialRemindTime[] = {
    {"RemindAt", kGet, Getter<R, &R::RemindAt>},
    {"RemindAt", kLet, Setter<R, &R::SetRemindAt>},
    {"Appointment", kGet, Getter<R, &R::Appointment>},
    {"Appointment", kSet, Setter<R, &R::SetAppointment>},
};

// ---------------------------------------------------------- Notificator

constexpr Binding kNotificator[] = {
    {"RaiseChange", kMethod,
     [](Dispatch& self, Arguments& args) -> Variant {
       Self<Notificator>(self).RaiseChange({.AllInstances = args[0].Bool()});
       return {};
     }},
};

// The connections of every notificator, by cookie, so that any adapter of
// the notificator can end them.
struct Connection {
  std::weak_ptr<Notificator> source;
  Notificator::Cookie change = 0;
  Notificator::Cookie tasks_change = 0;
};
std::map<uint64_t, Connection>& Connections() {
  static std::map<uint64_t, Connection> connections;
  return connections;
}

class NotificatorAdapter final : public Adapter<Notificator>, public EventSource {
 public:
  using Adapter::Adapter;
  EventSource* Events() override { return this; }
  const InterfaceInfo& EventInterface() const override {
    return *FindInterface(Table()->Class().source_interface);
  }
  uint64_t Advise(DispatchPtr sink) override {
    if (!sink) throw Error(ErrorNumber::kObjectNotSet);
    static uint64_t next_cookie = 1;
    Connection c{.source = Pointer()};
    for (const MemberInfo& event : EventInterface().members) {
      const auto kind =
          event.dispid == 1 ? Notificator::Event::kChange : Notificator::Event::kTasksChange;
      const Notificator::Cookie cookie =
          Object().Subscribe(kind, [sink, id = event.dispid] { Deliver(*sink, id); });
      (kind == Notificator::Event::kChange ? c.change : c.tasks_change) = cookie;
    }
    Connections().emplace(next_cookie, c);
    return next_cookie++;
  }
  void Unadvise(uint64_t cookie) override {
    auto it = Connections().find(cookie);
    if (it == Connections().end() || it->second.source.lock() != Pointer()) {
      throw Error(ErrorNumber::kInvalidProcedureCall);
    }
    const Connection c = it->second;
    Connections().erase(it);
    Object().Unsubscribe(c.change);
    Object().Unsubscribe(c.tasks_change);
  }

 private:
  static void Deliver(Dispatch& sink, DispId event) {
    try {
      sink.Invoke(event, kInvokeMethod);
    } catch (...) {
      // A sink's failure is its own: the change has happened all the same.
    }
  }
};

// --------------------------------------------------------------- tables

std::vector<Binding> Joined(std::span<const Binding> a, std::span<const Binding> b) {
  std::vector<Binding> all(a.begin(), a.end());
  all.insert(all.end(), b.begin(), b.end());
  return all;
}

template <class O, class Model>
DispatchPtr Make(const std::shared_ptr<Model>& object, const ClassTable& table) {
  if (!object) return nullptr;
  return std::make_shared<O>(object, table);
}

}  // namespace

DispatchPtr Wrap(const std::shared_ptr<CalendarMain>& object) {
  static const ClassTable table(*FindClass("CalendarMain"), kCalendarMain);
  return Make<Adapter<CalendarMain>>(object, table);
}
DispatchPtr Wrap(const CalendarPtr& object) {
  static const ClassTable table(*FindClass("Calendar"), kCalendar);
  return Make<Adapter<C>>(object, table);
}
DispatchPtr Wrap(const FilePtr& object) {
  static const ClassTable table(*FindClass("File"), kFile);
  return Make<Adapter<F>>(object, table);
}
DispatchPtr Wrap(const AppointmentPtr& object) {
  static const ClassTable real(*FindClass("AppointmentReal"),
                               Joined(kAppointment, kAppointmentReal));
  static const ClassTable link(*FindClass("AppointmentLink"),
                               Joined(kAppointment, kAppointmentLink));
  static const ClassTable bare(*FindClass("Appointment"), kAppointment);
  if (!object) return nullptr;
  // By the object's own type (the bare implementation would answer
  // AppointmentType with a message).
  const Appointment& held = *object;
  const std::type_info& type = typeid(held);
  return Make<Adapter<A>>(object, type == typeid(AppointmentReal)   ? real
                                  : type == typeid(AppointmentLink) ? link
                                                                    : bare);
}
DispatchPtr Wrap(const AppointmentsPtr& object) {
  static const ClassTable table(*FindClass("Appointments"), kAppointments);
  return Make<Adapter<As>>(object, table);
}
DispatchPtr Wrap(const DateTimePtr& object) {
  static const ClassTable normal(*FindClass("DateTimeNormal"), kDateTime);
  static const ClassTable serial(*FindClass("DateTimeSerial"), Joined(kDateTime, kDateTimeSerial));
  static const ClassTable bare(*FindClass("DateTime"), kDateTime);
  if (!object) return nullptr;
  const DateTime& held = *object;
  const std::type_info& type = typeid(held);
  return Make<Adapter<Dt>>(object, type == typeid(DateTimeNormal)   ? normal
                                   : type == typeid(DateTimeSerial) ? serial
                                                                    : bare);
}
DispatchPtr Wrap(const TaskPtr& object) {
  static const ClassTable table(*FindClass("Task"), kTask);
  return Make<Adapter<T>>(object, table);
}
DispatchPtr Wrap(const CategoriesPtr& object) {
  static const ClassTable table(*FindClass("Categories"), kCategories);
  return Make<Adapter<Cs>>(object, table);
}
DispatchPtr Wrap(const SpecialRemindTimePtr& object) {
  static const ClassTable table(*FindClass("SpecialRemindTime"), kSpecialRemindTime);
  return Make<Adapter<R>>(object, table);
}
DispatchPtr Wrap(const NotificatorPtr& object) {
  static const ClassTable table(*FindClass("Notificator"), kNotificator);
  return Make<NotificatorAdapter>(object, table);
}

}  // namespace orncal::api
