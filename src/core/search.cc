// FindAppointment: the appointment with a given title nearest to a moment,
// searched outward month by month.
#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>

#include "core/calendar_state.h"
#include "datetime/helpers.h"
#include "orncalendar/appointment.h"
#include "orncalendar/appointments.h"
#include "orncalendar/calendar.h"
#include "orncalendar/date_time.h"
#include "orncalendar/ole_date.h"
#include "orncalendar/platform.h"

namespace orncal {
namespace {

// The search gives up after this many seconds of the clock's timer.
constexpr double kBudgetSeconds = 5.0;

// The first day of a listed month, or nullopt for a number that names no
// date the calendar can hold.
std::optional<Date> FirstDayOf(int32_t fileLong, int32_t extraMonths) {
  try {
    return DateFromParts(fileLong / 100, fileLong % 100 + extraMonths, 1);
  } catch (const Error&) {
    return std::nullopt;
  }
}

Date FirstOfMonth(Date date) { return DateFromParts(YearOf(date), MonthOf(date), 1); }
Date FirstOfNextMonth(Date date) { return DateFromParts(YearOf(date), MonthOf(date) + 1, 1); }

}  // namespace

AppointmentPtr Calendar::FindAppointment(std::string_view ApmName, const FindOptions& options) {
  const bool forwards = options.Direction >= 0;
  const bool backwards = options.Direction <= 0;

  // The search stays within the months on disk: forwards up to the end of
  // the latest, backwards down to the start of the earliest. Without any
  // month file only the first spans are searched.
  Date forward_limit = -std::numeric_limits<double>::infinity();
  Date backward_limit = std::numeric_limits<double>::infinity();
  const CollectionPtr<int32_t>& months = state_->all_files;
  if (!months->Empty()) {
    const auto [lowest, highest] = std::minmax_element(months->begin(), months->end());
    forward_limit = FirstDayOf(*highest, 1).value_or(kMaxDate + 1);
    backward_limit = FirstDayOf(*lowest, 0).value_or(kMinDate);
  }

  const Date start_at = options.StartAt == 0 ? CurrentClock().Now() : options.StartAt;
  const std::string name = LowerCase(TrimSpaces(ApmName));
  const QueryOptions query{.SeperateSerials = options.SeperateSerials,
                           .AlsoAllDay = options.AlsoAllDay,
                           .OnlyAllDay = options.OnlyAllDay,
                           .UseRemindTime = false,
                           .Flags = options.Flags,
                           .NotFlags = options.NotFlags,
                           .OrFlags = options.OrFlags,
                           .NotAndFlags = options.NotAndFlags,
                           .RemoveDoubles = false};

  try {
    DateTimeNormalPtr ahead = DateTimeNormal::New(start_at, FirstOfNextMonth(start_at));
    DateTimeNormalPtr behind = DateTimeNormal::New(FirstOfMonth(start_at), start_at);
    const double started = CurrentClock().Timer();
    for (;;) {
      // The nearest hit of this pass: forward hits by their start, backward
      // hits by their end; on a tie the one found first stays.
      AppointmentPtr best;
      double best_distance = 0;
      auto weigh = [&](const AppointmentsPtr& hits, bool by_start) {
        for (const AppointmentPtr& hit : *hits) {
          DateTimePtr when = hit->DateTime();
          if (!when) continue;
          const double distance =
              std::fabs((by_start ? when->StartDateTime() : when->EndDateTime()) - start_at);
          if (!best || distance < best_distance) {
            best = hit;
            best_distance = distance;
          }
        }
      };
      if (forwards) weigh(QueryPeriod(*ahead, query, name), true);
      if (backwards) weigh(QueryPeriod(*behind, query, name), false);
      if (best) return best;

      // Each span moves on by a month; a span that passes its limit ends
      // the whole search, even when the other direction has months left.
      if (forwards) {
        ahead = DateTimeNormal::New(ahead->EndDateTime(), FirstOfNextMonth(ahead->EndDateTime()));
        if (ahead->StartDateTime() >= forward_limit) return nullptr;
      }
      if (backwards) {
        behind =
            DateTimeNormal::New(FirstOfMonth(behind->StartDateTime() - 1), behind->StartDateTime());
        if (behind->EndDateTime() <= backward_limit) return nullptr;
      }
      if (CurrentClock().Timer() - started >= kBudgetSeconds) return nullptr;
    }
  } catch (const Error&) {
    // The search ran off the dates the calendar can hold.
    return nullptr;
  }
}

}  // namespace orncal
