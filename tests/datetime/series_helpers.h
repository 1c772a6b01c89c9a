// Building recurring periods and expanding them over a query, for the
// recurrence tests.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "orncalendar/date_time_serial.h"
#include "orncalendar/ole_date.h"

namespace orncal::testing {

constexpr double kHour = 1.0 / 24;

struct SeriesFields {
  calRepetitionModes mode = calDaily;
  Date anchor = 0;
  int32_t m = 1;
  int32_t n = 1;
  int32_t in_month = 0;
  int32_t weekdays = 0;
  Date start = 9 * kHour;
  Date end = 11 * kHour;
  bool eternal = true;
  Date series_end = 0;
};

inline DateTimeSerialPtr MakeSeries(const SeriesFields& fields) {
  auto series = DateTimeSerial::New();
  series->SetRepetitionMode(fields.mode);
  series->SetSeriesStartDateTime(fields.anchor);
  series->Setm(fields.m);
  series->Setn(fields.n);
  series->SetInMonth(fields.in_month);
  series->SetWeekdays(fields.weekdays);
  series->SetStartDateTime(fields.start);
  series->SetEndDateTime(fields.end);
  series->SetEternal(fields.eternal);
  series->SetSeriesEndDateTime(fields.series_end);
  return series;
}

using Occurrence = std::pair<Date, Date>;

// Every occurrence meeting the query, in walk order. Also checks that the
// answer without periods agrees.
inline std::vector<Occurrence> Expand(DateTimeSerial& series, Date qs, Date qe) {
  auto query = DateTimeNormal::New(qs, qe);
  PeriodsPtr periods;
  const bool met = series.OverLapsWith(*query, {.Out_Periods = &periods, .ReturnPeriods = true});
  std::vector<Occurrence> found;
  if (!periods) {
    ADD_FAILURE() << "no collection handed back";
    return found;
  }
  for (const auto& period : *periods)
    found.emplace_back(period->StartDateTime(), period->EndDateTime());
  EXPECT_EQ(met, !found.empty());
  EXPECT_EQ(series.OverLapsWith(*query), met);
  return found;
}

// "2008-01-05 09:00" for a date.
inline std::string Text(Date date) {
  const DateParts p = SplitDate(date);
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d", p.Year, p.Month, p.Day, p.Hour,
                p.Minute);
  return text;
}

// The starts of the occurrences meeting the query, as "2008-01-05 09:00, ...".
inline std::string Starts(DateTimeSerial& series, Date qs, Date qe) {
  std::string starts;
  for (const auto& [start, end] : Expand(series, qs, qe))
    starts += (starts.empty() ? "" : ", ") + Text(start);
  return starts;
}

}  // namespace orncal::testing
