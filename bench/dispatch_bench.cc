// Late-bound calls: a property read by its cached identifier, a name
// looked up, and the warm month view of the calendar benchmark read entry
// by entry (title and start) in C++ and through the dispatch interface.
// bench/python_month_view.py reads the same view from Python and compares
// it with BM_MonthViewRead.
#include <benchmark/benchmark.h>

#include "api/bindings.h"
#include "api/dispatch.h"
#include "calendar_folder.h"

namespace orncal {
namespace {

using namespace api;

DataFolder& Folder() {
  static DataFolder folder;
  return folder;
}

void BM_PropertyReadById(benchmark::State& state) {
  AppointmentPtr a = AppointmentReal::New();
  a->SetTitle("Quarterly review");  // longer than the short-string buffer
  DispatchPtr d = Wrap(a);
  const DispId title = d->GetIDOfName("Title");
  for (auto _ : state) {
    benchmark::DoNotOptimize(d->Invoke(title, kInvokePropertyGet));
  }
}
BENCHMARK(BM_PropertyReadById);

void BM_NameLookup(benchmark::State& state) {
  DispatchPtr d = Wrap(CalendarMain().Calendar());
  for (auto _ : state) {
    benchmark::DoNotOptimize(d->GetIDOfName("allAppointmentsInPeriod"));
  }
}
BENCHMARK(BM_NameLookup);

// What a client does with a month view: each entry's title and start.
void BM_MonthViewRead(benchmark::State& state) {
  Folder();
  CalendarPtr calendar = DataFolder::Start();
  calendar->AllAppointmentsInPeriod(*kJune2015);
  for (auto _ : state) {
    size_t characters = 0;
    Date last = 0;
    const AppointmentsPtr list = calendar->AllAppointmentsInPeriod(*kJune2015);
    for (const AppointmentPtr& a : *list) {
      std::string title = a->Title();
      characters += title.size();
      last = a->DateTime()->StartDateTime();
    }
    benchmark::DoNotOptimize(characters);
    benchmark::DoNotOptimize(last);
  }
}
BENCHMARK(BM_MonthViewRead)->Unit(benchmark::kMicrosecond);

// The same through the dispatch interface, identifiers looked up once.
void BM_MonthViewReadByDispatch(benchmark::State& state) {
  Folder();
  DataFolder::Start();
  ResetApplicationObjectForTesting();
  DispatchPtr calendar = ApplicationObject()->InvokeByName("Calendar", kInvokeMethod).Object();
  Variant june(Wrap(DateTimePtr(kJune2015)));
  const DispId query = calendar->GetIDOfName("AllAppointmentsInPeriod");
  std::span<Variant> args(&june, 1);
  calendar->Invoke(query, kInvokeMethod, args);
  DispId title = kDispIdUnknown, when = kDispIdUnknown, start = kDispIdUnknown;
  for (auto _ : state) {
    size_t characters = 0;
    Date last = 0;
    DispatchPtr list = calendar->Invoke(query, kInvokeMethod, args).Object();
    auto entries = std::dynamic_pointer_cast<Enumerator>(
        list->Invoke(kDispIdNewEnum, kInvokePropertyGet).Object());
    Variant entry;
    while (entries->Next(entry)) {
      const DispatchPtr& a = entry.Object();
      if (title == kDispIdUnknown) {
        title = a->GetIDOfName("Title");
        when = a->GetIDOfName("DateTime");
      }
      characters += a->Invoke(title, kInvokePropertyGet).String().size();
      DispatchPtr period = a->Invoke(when, kInvokePropertyGet).Object();
      if (start == kDispIdUnknown) start = period->GetIDOfName("StartDateTime");
      last = period->Invoke(start, kInvokePropertyGet).DateValue();
    }
    benchmark::DoNotOptimize(characters);
    benchmark::DoNotOptimize(last);
  }
  ResetApplicationObjectForTesting();
}
BENCHMARK(BM_MonthViewReadByDispatch)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace orncal
