// The period queries: every appointment that meets a period, month by
// month through the month-file cache, after the switches and flag masks.
#include <string>

#include "core/calendar_state.h"
#include "datetime/helpers.h"
#include "orncalendar/appointment.h"
#include "orncalendar/appointments.h"
#include "orncalendar/calendar.h"
#include "orncalendar/date_time.h"
#include "orncalendar/date_time_serial.h"
#include "orncalendar/file.h"
#include "orncalendar/ole_date.h"

namespace orncal {
namespace {

// A query end on midnight of the first of a month does not pull in that
// month.
constexpr double kEndNudge = 0.00001;

// The flag masks. "Above zero" is a signed test, so a result holding only
// bit 31 counts as zero.
bool PassesFlags(int32_t flags, const QueryOptions& o) {
  if ((flags & o.NotFlags) > 0) return false;
  if ((flags & o.Flags) != o.Flags) return false;
  if (o.OrFlags != 0 && !((flags & o.OrFlags) > 0)) return false;
  if (o.NotAndFlags != 0 && (flags & o.NotAndFlags) == o.NotAndFlags) return false;
  return true;
}

bool PassesSwitches(const Appointment& a, const QueryOptions& o) {
  if (a.AllDay() && !o.AlsoAllDay) return false;
  if (!a.AllDay() && o.OnlyAllDay) return false;
  if (o.UseRemindTime && !a.Remind()) return false;
  return true;
}

// The moment an appointment (or an occurrence starting at `start`) reminds.
Date RemindMoment(Date start, const Appointment& a) { return start + a.RemindAt() / 86400.0; }

bool TitleIs(const Appointment& a, std::string_view name) {
  return LowerCase(TrimSpaces(a.Title())) == name;
}

// Adds what one month's appointment contributes to the result.
void Collect(const AppointmentPtr& a, const DateTimeNormal& slice, const DateTimeNormal& period,
             const QueryOptions& o, std::string_view name, Appointments& result) {
  if (!name.empty() && !TitleIs(*a, name)) return;
  if (!PassesFlags(a->Flags(), o) || !PassesSwitches(*a, o)) return;
  DateTimePtr when = a->DateTime();
  if (!when) return;
  if (when->DateTimeType() != 1 && o.SeperateSerials) {
    // One part per occurrence, carrying the occurrence as its own period.
    const auto add_part = [&](DateTimeNormalPtr occurrence) {
      if (o.UseRemindTime &&
          !IsDateInPeriods(RemindMoment(occurrence->StartDateTime(), *a), slice, period)) {
        return;
      }
      AppointmentLinkPtr part = AppointmentLink::New();
      part->SetDestination(a);
      part->SetPartPeriod(std::move(occurrence));
      result.Add(std::move(part));
    };
    // The library's own series hands its occurrences over one by one;
    // another kind of recurring period through the collection of pieces.
    if (auto* series = dynamic_cast<DateTimeSerial*>(when.get())) {
      series->ForEachOccurrence(
          slice, [&](Date start, Date end) { add_part(DateTimeNormal::New(start, end)); });
      return;
    }
    PeriodsPtr occurrences;
    if (!when->OverLapsWith(slice, {.Out_Periods = &occurrences, .ReturnPeriods = true})) return;
    for (const DateTimeNormalPtr& occurrence : *occurrences)
      add_part(occurrence);
    return;
  }
  // A simple period would hand back just itself, so it is not asked to.
  if (!when->OverLapsWith(slice)) return;
  if (o.UseRemindTime && !IsDateInPeriods(RemindMoment(when->StartDateTime(), *a), slice, period)) {
    return;
  }
  if (a->AppointmentType() != 1 && !o.RemoveDoubles) {
    if (AppointmentPtr destination = a->Target()) result.Add(std::move(destination));
  } else {
    result.Add(a);
  }
}

}  // namespace

AppointmentsPtr Calendar::AllAppointmentsInPeriod(const DateTimeNormal& Period,
                                                  const QueryOptions& options) {
  return QueryPeriod(Period, options, "");
}

AppointmentsPtr Calendar::QueryPeriod(const DateTimeNormal& Period, const QueryOptions& options,
                                      std::string_view ApmName) {
  AppointmentsPtr result = Appointments::New();
  // A failing month or appointment is left out; the rest of the result
  // stands.
  try {
    DateTimeNormalPtr search = DateTimeNormal::New(Period.StartDateTime(), Period.EndDateTime());
    if (options.UseRemindTime) {
      // Reminders within a day of their appointment can be found.
      search->SetStartDateTime(Period.StartDateTime() - 1);
      search->SetEndDateTime(Period.EndDateTime() + 1);
    }
    const Date start = search->StartDateTime();
    const Date last = search->EndDateTime() - kEndNudge;
    const int32_t first_year = YearOf(start), first_month = MonthOf(start);
    const int32_t last_year = YearOf(last), last_month = MonthOf(last);
    for (int32_t year = first_year; year <= last_year; ++year) {
      const int32_t from = year == first_year ? first_month : 1;
      const int32_t to = year == last_year ? last_month : 12;
      for (int32_t month = from; month <= to; ++month) {
        try {
          const bool first = year == first_year && month == first_month;
          const bool final = year == last_year && month == last_month;
          DateTimeNormalPtr slice =
              first && final ? search
                             : DateTimeNormal::New(first ? start : DateFromParts(year, month, 1),
                                                   final ? search->EndDateTime()
                                                         : DateFromParts(year, month + 1, 1));
          FilePtr file =
              GetMonthFile(MonthRef{.Month = month, .Year = year}, {.ResolveLinks = true});
          AppointmentsPtr list = file ? file->Appointments() : nullptr;
          if (!list) continue;
          // Without a name to look for, about one entry per appointment of
          // the month is likely.
          if (ApmName.empty()) {
            result->ConvertToCollection()->Reserve(static_cast<size_t>(result->Count()) +
                                                   static_cast<size_t>(list->Count()));
          }
          for (const AppointmentPtr& a : *list) {
            try {
              Collect(a, *slice, Period, options, ApmName, *result);
            } catch (const std::exception&) {
              // this appointment is left out
            }
          }
        } catch (const std::exception&) {
          // this month is left out
        }
      }
    }
    if (options.RemoveDoubles) result->RemoveDoubles();
  } catch (const std::exception&) {
    // what was collected stands
  }
  return result;
}

}  // namespace orncal
