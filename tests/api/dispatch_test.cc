// Late binding: every class reached and every member called by name with
// its defaults, walking the type library; then the rules of a call (names,
// named and optional arguments, by-reference results, default members,
// enumeration, errors) and the objects' identity, creation and events.
#include "api/dispatch.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "api/bindings.h"
#include "support/recording_notifier.h"

namespace orncal::api {
namespace {

using orncal::testing::ErrorOf;
using Args = std::vector<Variant>;

constexpr uint16_t kRead = kInvokeMethod | kInvokePropertyGet;

Variant Call(const DispatchPtr& object, std::string_view name, Args args = {},
             uint16_t kind = kRead) {
  return object->InvokeByName(name, kind, args);
}
DispatchPtr Obj(const DispatchPtr& object, std::string_view name, Args args = {}) {
  return Call(object, name, std::move(args)).Object();
}
void Let(const DispatchPtr& object, std::string_view name, Variant value) {
  Args args{std::move(value)};
  object->InvokeByName(name, kInvokePropertyLet, args);
}
Variant Date(int32_t y, int32_t m, int32_t d, int32_t h = 0) {
  return Variant::FromDate(DateFromParts(y, m, d) + h / 24.0);
}
DispatchPtr Period(const Variant& start, const Variant& end) {
  DispatchPtr p = CreateObject("OrnCalendar.DateTimeNormal");
  Let(p, "StartDateTime", start);
  Let(p, "EndDateTime", end);
  return p;
}
std::string ClassOf(const DispatchPtr& object) {
  return std::string(object->Table()->Class().name);
}

class DispatchTest : public orncal::testing::RecordingCalendarTest {
 protected:
  DispatchTest() { ResetApplicationObjectForTesting(); }
  ~DispatchTest() override { ResetApplicationObjectForTesting(); }

  DispatchPtr StartMain() {
    main_ = CreateObject("OrnCalendar.CalendarMain");
    calendar_ = Obj(main_, "Calendar");
    return calendar_;
  }

  // One object of every class, each reached by name from CalendarMain or
  // created by its identifier (File and the bare Appointment are handed to
  // no client, so they are wrapped directly).
  std::map<std::string, DispatchPtr> EveryClass() {
    StartMain();
    std::map<std::string, DispatchPtr> all{{"CalendarMain", main_}, {"Calendar", calendar_}};
    for (std::string_view name : {"DateTime", "DateTimeNormal", "DateTimeSerial", "Task",
                                  "SpecialRemindTime", "Notificator", "AppointmentLink"}) {
      all[std::string(name)] = CreateObject("OrnCalendar." + std::string(name));
    }
    all["Categories"] = Obj(calendar_, "Categories");
    all["AppointmentReal"] =
        Obj(calendar_, "Appointment", {Date(2008, 5, 14, 9), Date(2008, 5, 14, 10)});
    all["Appointments"] =
        Obj(calendar_, "AllAppointmentsInPeriod", {Period(Date(2008, 5, 1), Date(2008, 6, 1))});
    all["Collection"] = Obj(calendar_, "AllFiles");
    all["File"] = Wrap(StartCalendar()->GetMonthFile(MonthRef{.Month = 5, .Year = 2008}));
    all["Appointment"] = Wrap(Appointment::New());
    for (const auto& [name, object] : all) {
      EXPECT_EQ(ClassOf(object), name);
    }
    return all;
  }

  // A value for an argument of a type, such as a client would pass.
  Variant Sample(const ArgInfo& arg) {
    if (arg.Out()) return Variant();  // handed back
    switch (arg.type.kind) {
      case TypeKind::kBool:
        return true;
      case TypeKind::kInt16:
      case TypeKind::kInt32:
      case TypeKind::kEnum:
      case TypeKind::kVariant:
        return 1;
      case TypeKind::kDate:
        return Date(2008, 5, 14);
      case TypeKind::kString:
        return "Arbeit";
      case TypeKind::kObject:
        if (arg.type.name == "Collection") return Variant(Obj(calendar_, "AllFiles"));
        return Period(Date(2008, 5, 1), Date(2008, 6, 1));
      default:
        return Variant();
    }
  }

  DispatchPtr main_, calendar_;
};

TEST_F(DispatchTest, EveryClassIsReachedAndAnswersEveryMemberOfItsInterfacesByName) {
  std::map<std::string, DispatchPtr> all = EveryClass();
  std::set<std::string> classes;
  for (const ClassInfo& c : TypeLibrary().classes)
    classes.insert(std::string(c.name));
  classes.insert("Collection");
  for (const auto& [name, object] : all)
    classes.erase(name);
  EXPECT_TRUE(classes.empty()) << *classes.begin() << " not reached";

  // Which members may fail on the objects at hand, and how: the call
  // arrived, and the object model answered.
  const std::map<std::string, int32_t> expected_errors = {
      {"AppointmentLink.*", 91},     // a link without destination
      {"Appointment.RemoveTag", 9},  // no tags
      {"AppointmentReal.RemoveTag", 9},
      {"AppointmentReal.TagName", 9},
      {"AppointmentReal.TagType", 9},
      {"AppointmentReal.TagData", 9},
      {"Calendar.SortTasks", 91},  // the list handed in is none
      {"Task.Complete", 5},        // a task without period
      {"Appointments.Item", 9},    // position 1 of an empty month
      {"Collection.Item", 9},
      {"Collection.Remove", 9},
      {"Collection.Add", 0},
      {"Categories.Remove", 5},             // not in the store
      {"Categories.Add", 457},              // Color's read put it there first
      {"DateTimeSerial.OverLapsWith", 11},  // n = 0
      {"DateTimeSerial.FirstOccurency", 0},
  };
  for (const auto& [name, object] : all) {
    for (const BoundMember& m : object->Table()->Members()) {
      const std::string member = name + "." + std::string(m.info->name);
      for (uint16_t kind :
           {kInvokeMethod, kInvokePropertyGet, kInvokePropertyLet, kInvokePropertySet}) {
        if (!(m.Flags() & kind)) continue;
        Args args;
        for (const ArgInfo& a : m.info->args) {
          if (!a.Optional()) args.push_back(Sample(a));
        }
        if (kind == kInvokePropertyLet)
          args.push_back(Sample({.name = "value", .type = m.info->type}));
        int32_t error = ErrorOf([&] {
          if (kind == kInvokePropertySet) args.push_back(Call(object, m.info->name));
          object->Invoke(m.dispid, kind, args);
        });
        if (error == 0) continue;
        auto expected = expected_errors.find(member);
        if (expected == expected_errors.end()) expected = expected_errors.find(name + ".*");
        EXPECT_TRUE(expected != expected_errors.end() &&
                    (expected->second == error || expected->second == 0))
            << member << " (kind " << kind << ") raised " << error;
      }
    }
  }
}

TEST_F(DispatchTest, TheDescriptionIsWholeAndItsNumbersHoldTogether) {
  std::map<std::string, DispatchPtr> all = EveryClass();
  for (const auto& [name, object] : all) {
    EXPECT_EQ(object->Table()->Mismatches(), std::vector<std::string>{}) << name;
  }
  for (const ClassInfo& c : TypeLibrary().classes) {
    ASSERT_TRUE(FindInterface(c.default_interface)) << c.name;
    EXPECT_TRUE(c.also_implements.empty() || FindInterface(c.also_implements)) << c.name;
    EXPECT_EQ(Guid::Parse(c.clsid.ToString()), c.clsid);
    // A name means one number across the interfaces of a class, and a
    // number one name.
    std::map<std::string, DispId> numbers;
    std::map<DispId, std::string> names;
    for (std::string_view i : {c.also_implements, c.default_interface}) {
      if (i.empty()) continue;
      for (const MemberInfo& m : FindInterface(i)->members) {
        auto [n, new_name] = numbers.emplace(std::string(m.name), m.dispid);
        EXPECT_EQ(n->second, m.dispid) << c.name << "." << m.name;
        auto [d, new_number] = names.emplace(m.dispid, std::string(m.name));
        EXPECT_EQ(d->second, m.name) << c.name << " " << m.dispid;
      }
    }
  }
  for (const InterfaceInfo& i : TypeLibrary().interfaces) {
    for (const MemberInfo& m : i.members) {
      std::vector<TypeRef> types{m.type};
      for (const ArgInfo& a : m.args)
        types.push_back(a.type);
      for (const TypeRef& t : types) {
        EXPECT_TRUE(t.kind != TypeKind::kObject || FindInterface(t.name)) << t.name;
        EXPECT_TRUE(t.kind != TypeKind::kEnum || FindEnum(t.name)) << t.name;
      }
    }
  }
}

TEST_F(DispatchTest, NamesAreBlindToCaseAndUnknownNamesAndArgumentsAreNumberedErrors) {
  DispatchPtr calendar = StartMain();
  EXPECT_EQ(calendar->GetIDOfName("allappointmentsinperiod"), 7);
  EXPECT_EQ(calendar->GetIDOfName("ALLAPPOINTMENTSINPERIOD"), 7);
  EXPECT_EQ(calendar->GetIDOfName("Nowhere"), kDispIdUnknown);
  std::vector<DispId> ids(3);
  const std::string_view names[] = {"findappointment", "STARTAT", "apmname"};
  calendar->GetIDsOfNames(names, ids);
  EXPECT_EQ(ids, (std::vector<DispId>{12, 2, 0}));
  const std::string_view wrong[] = {"FindAppointment", "Start"};
  EXPECT_EQ(ErrorOf([&] { calendar->GetIDsOfNames(wrong, ids); }), 448);
  EXPECT_EQ(ErrorOf([&] { Call(calendar, "Nowhere"); }), 438);
  // A member asked for in a way it is not: a read-only property written, a
  // method read as a property with a value.
  EXPECT_EQ(ErrorOf([&] { Let(calendar, "Path", "x"); }), 438);
  EXPECT_EQ(ErrorOf([&] { calendar->Invoke(9, kInvokePropertyGet); }), 438);
  EXPECT_EQ(ErrorOf([&] { calendar->Invoke(999, kRead); }), 438);
}

TEST_F(DispatchTest, ArgumentsArePositionalOrNamedInAnyOrderAndLeftOutOnesTakeTheirDefaults) {
  DispatchPtr calendar = StartMain();
  DispatchPtr hidden = Obj(calendar, "Appointment", {Date(2008, 5, 14, 9), Date(2008, 5, 14, 10)});
  Let(hidden, "Flags", 1);  // calInvisible
  DispatchPtr may = Period(Date(2008, 5, 1), Date(2008, 6, 1));
  auto query = [&](Args args, std::vector<NamedArgument> named) {
    Variant list = calendar->Invoke(7, kInvokeMethod, args, named);
    return Call(list.Object(), "Count").Int32();
  };
  // NotFlags defaults to 1: the invisible appointment stays out.
  EXPECT_EQ(query({may}, {}), 0);
  EXPECT_EQ(query({may}, {{.position = 6, .value = 0}}), 1);
  // Named only, the period last.
  EXPECT_EQ(query({}, {{.position = 6, .value = 0}, {.position = 0, .value = may}}), 1);
  // Names are looked up blind to case.
  EXPECT_EQ(calendar->GetArgPosition(7, "notflags"), 6);

  EXPECT_EQ(ErrorOf([&] { query({}, {{.position = 6, .value = 0}}); }), 449);
  EXPECT_EQ(ErrorOf([&] { query({Variant::Missing()}, {}); }), 449);
  EXPECT_EQ(ErrorOf([&] { query({may}, {{.position = 0, .value = may}}); }), 450);
  EXPECT_EQ(ErrorOf([&] { query({may}, {{.position = 10, .value = 0}}); }), 448);
  EXPECT_EQ(ErrorOf([&] { query(Args(11, Variant(0)), {}); }), 450);
  // Values are converted to the declared types; what cannot be is error 13.
  EXPECT_EQ(query({may, "True", "-1", 0, Variant(), "0", 0.4}, {}), 1);
  EXPECT_EQ(ErrorOf([&] { query({may, "vielleicht"}, {}); }), 13);
  EXPECT_EQ(ErrorOf([&] { query({may, true, true, false, false, 3e9}, {}); }), 6);
  EXPECT_EQ(ErrorOf([&] { query({"May"}, {}); }), 13);
  EXPECT_EQ(ErrorOf([&] { query({hidden}, {}); }), 13);     // an object of another class
  EXPECT_EQ(ErrorOf([&] { query({Variant()}, {}); }), 91);  // no object at all
}

TEST_F(DispatchTest, TheEdgeCasesOfTheDefaults) {
  DispatchPtr calendar = StartMain();
  // Every argument of Appointment is optional: without dates it is not filed.
  for (const DispatchPtr& source : {main_, calendar}) {
    DispatchPtr bare = Obj(source, "Appointment");
    EXPECT_EQ(Call(bare, "ID").Int32(), 0);
    EXPECT_EQ(ClassOf(bare), "AppointmentReal");
  }
  // Categories.Add without a colour gives -1; the default member is Color.
  DispatchPtr categories = Obj(calendar, "Categories");
  Call(categories, "Add", {"Arbeit"});
  Args key{"ARBEIT"};
  EXPECT_EQ(categories->Invoke(kDispIdValue, kRead, key), Variant(-1));
  Args color{"Arbeit", 255};
  categories->Invoke(kDispIdValue, kInvokePropertyLet, color);
  EXPECT_EQ(Call(categories, "Color", {"arbeit"}), Variant(255));
  EXPECT_EQ(Call(categories, "Names").Strings(), std::vector<std::string>{"Arbeit"});

  // FindAppointment with the name alone searches both ways from now.
  DispatchPtr later = Obj(calendar, "Appointment", {Date(2008, 5, 20, 9), Date(2008, 5, 20, 10)});
  Let(later, "Title", "Zahnarzt");
  Call(later, "NotifyChange");
  Call(calendar, "Save");
  Variant found = Call(calendar, "FindAppointment", {" zahnarzt "});
  EXPECT_EQ(found, Variant(later));
  Variant backwards = Call(calendar, "FindAppointment", {"Zahnarzt", int16_t{-1}});
  EXPECT_EQ(backwards.Object(), nullptr);
}

TEST_F(DispatchTest, DefaultMembersEnumerationAndByReferenceResults) {
  DispatchPtr calendar = StartMain();
  for (int h : {11, 9, 10}) {
    Obj(calendar, "Appointment", {Date(2008, 5, 14, h), Date(2008, 5, 14, h + 1)});
  }
  DispatchPtr list =
      Obj(calendar, "AllAppointmentsInPeriod", {Period(Date(2008, 5, 1), Date(2008, 6, 1))});
  Call(list, "Sort");
  Args second{2};
  DispatchPtr nine = list->Invoke(kDispIdValue, kRead, second).Object();
  EXPECT_EQ(Call(Obj(nine, "DateTime"), "StartDateTime"), Date(2008, 5, 14, 10));

  // The enumerator walks by position: removing during the walk is safe.
  auto walk = [](const DispatchPtr& collection, auto&& each) {
    auto e =
        std::dynamic_pointer_cast<Enumerator>(collection->Invoke(kDispIdNewEnum, kRead).Object());
    Variant entry;
    int n = 0;
    while (e->Next(entry)) {
      each(entry);
      ++n;
    }
    return n;
  };
  EXPECT_EQ(walk(list, [](const Variant&) {}), 3);
  DispatchPtr entries = Obj(list, "ConvertToCollection");
  EXPECT_EQ(walk(entries, [&](const Variant&) { Call(entries, "Remove", {1}); }), 2);
  EXPECT_EQ(Call(list, "Count"), Variant(1));

  // By reference: the reminders come back in the argument.
  clock_->Set(DateFromParts(2008, 5, 14) + 8.5 / 24);
  DispatchPtr soon = Obj(calendar, "Appointment", {Date(2008, 5, 14, 9), Date(2008, 5, 14, 10)});
  Let(soon, "Remind", true);
  Let(soon, "RemindAt", -900);
  Call(soon, "NotifyChange");
  clock_->Set(DateFromParts(2008, 5, 14) + 8.8 / 24);
  Args due{Variant()};
  calendar->InvokeByName("GetRemindAppointments", kInvokeMethod, due);
  ASSERT_EQ(due[0].Type(), VarType::kObject);
  EXPECT_EQ(Call(due[0].Object(), "Item", {1}), Variant(soon));

  // SortTasks hands back a new list; GetTags three arrays.
  for (int day : {20, 16}) {
    DispatchPtr task = Obj(calendar, "Task");
    Args period{Period(Date(2008, 5, 10), Date(2008, 5, day))};
    task->InvokeByName("DateTime", kInvokePropertySet, period);
  }
  Args tasks{Call(calendar, "IncompleteTasks")};
  calendar->InvokeByName("SortTasks", kInvokeMethod, tasks);
  EXPECT_NE(tasks[0], Call(calendar, "IncompleteTasks"));
  EXPECT_EQ(Call(Obj(Obj(tasks[0].Object(), "Item", {1}), "DateTime"), "EndDateTime"),
            Date(2008, 5, 16));
  Call(soon, "AddTag", {"Raum", "Text", "4.12"});
  Args tags(3);
  EXPECT_EQ(soon->InvokeByName("GetTags", kInvokeMethod, tags), Variant(1));
  EXPECT_EQ(tags[2].Strings(), (std::vector<std::string>{"", "4.12"}));
}

TEST_F(DispatchTest, AnObjectHasOneIdentityWhateverAdaptsIt) {
  DispatchPtr calendar = StartMain();
  EXPECT_EQ(Variant(calendar), Variant(Obj(CreateObject("ornCALENDAR.calendarmain"), "Calend")));
  EXPECT_EQ(Variant(calendar), Variant(Obj(ApplicationObject(), "Calendar")));
  EXPECT_EQ(ApplicationObject(), ApplicationObject());
  EXPECT_NE(Variant(calendar), Variant(Obj(calendar, "Categories")));
  // A series' parts answer as links; their Series is the series itself.
  DispatchPtr series = Obj(calendar, "Appointment");
  DispatchPtr weekly = CreateObject("{5CF7C3B8-61BF-4C89-8E2A-C3D20CA8C7C4}");
  Let(weekly, "SeriesStartDateTime", Date(2008, 5, 5));
  Let(weekly, "SeriesEndDateTime", Date(2008, 5, 31));
  Let(weekly, "StartDateTime", Variant::FromDate(9 / 24.0));
  Let(weekly, "EndDateTime", Variant::FromDate(10 / 24.0));
  Let(weekly, "RepetitionMode", 2);
  Let(weekly, "n", 1);
  Let(weekly, "Weekdays", 1);
  Args value{weekly};
  series->InvokeByName("DateTime", kInvokePropertySet, value);
  EXPECT_EQ(ErrorOf([&] {
              Args number{1};
              series->InvokeByName("DateTime", kInvokePropertySet, number);
            }),
            424);
  Call(series, "AfterDateTimeChange");
  DispatchPtr parts =
      Obj(calendar, "AllAppointmentsInPeriod", {Period(Date(2008, 5, 1), Date(2008, 6, 1))});
  EXPECT_EQ(Call(parts, "Count"), Variant(4));
  DispatchPtr part = Obj(parts, "Item", {1});
  EXPECT_EQ(ClassOf(part), "AppointmentLink");
  EXPECT_EQ(Call(part, "Series"), Variant(series));
  EXPECT_EQ(Call(Obj(part, "DateTime"), "DateTimeType"), Variant(int16_t{1}));
  EXPECT_EQ(Call(Obj(series, "DateTime"), "Series"), Variant(weekly));
}

TEST_F(DispatchTest, OnlyCreatableClassesAreCreatedByTheirIdentifiers) {
  for (const ClassInfo& c : TypeLibrary().classes) {
    for (const std::string& id : {ProgID(c), c.clsid.ToString()}) {
      if (c.creatable) {
        EXPECT_EQ(ClassOf(CreateObject(id)), c.name) << id;
      } else {
        EXPECT_EQ(ErrorOf([&] { CreateObject(id); }), 429) << id;
      }
    }
  }
  for (std::string_view id : {"OrnCalendar.Nothing", "Calendar", "", "{0}", "Other.CalendarMain"}) {
    EXPECT_EQ(ErrorOf([&] { CreateObject(id); }), 429) << id;
  }
}

// A sink that records the events it gets, and can be told to fail.
class RecordingSink : public Dispatch {
 public:
  DispId GetIDOfName(std::string_view) const override { return kDispIdUnknown; }
  int32_t GetArgPosition(DispId, std::string_view) const override { return -1; }
  Variant Invoke(DispId member, uint16_t, std::span<Variant>, std::span<NamedArgument>) override {
    events.push_back(member);
    if (fail) throw Error(ErrorNumber::kInternalError);
    return {};
  }
  std::vector<DispId> events;
  bool fail = false;
};

TEST_F(DispatchTest, SinksGetTheEventsOfANotificatorByTheirNumbersUntilTheyLetGo) {
  DispatchPtr calendar = StartMain();
  DispatchPtr notificator = Obj(calendar, "Notificator");
  EventSource* source = notificator->Events();
  ASSERT_NE(source, nullptr);
  EXPECT_EQ(source->EventInterface().name, "__Notificator");
  DispatchPtr appointment =
      Obj(calendar, "Appointment", {Date(2008, 5, 14, 9), Date(2008, 5, 14, 10)});
  auto sink = std::make_shared<RecordingSink>();
  const uint64_t cookie = source->Advise(sink);

  Call(notificator, "RaiseChange", {false});
  Obj(calendar, "Task");  // a task added
  sink->fail = true;      // a failing sink does not fail the change
  Call(appointment, "NotifyChange");
  EXPECT_EQ(sink->events, (std::vector<DispId>{1, 2, 1}));
  // Any adapter of the notificator ends the connection, once.
  Obj(calendar, "Notificator")->Events()->Unadvise(cookie);
  EXPECT_EQ(ErrorOf([&] { source->Unadvise(cookie); }), 5);
  Call(notificator, "RaiseChange", {false});
  EXPECT_EQ(sink->events.size(), 3u);
}

}  // namespace
}  // namespace orncal::api
