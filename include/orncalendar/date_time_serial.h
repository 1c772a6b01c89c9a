// Recurring periods: one occurrence's time of day and length, the span of
// days the series runs over, and the rule that picks the days.
#pragma once

#include <cstdint>
#include <functional>

#include "orncalendar/date_time.h"
#include "orncalendar/enums.h"

namespace orncal {

class DateTimeSerial final : public DateTime {
  struct Key {
    explicit Key() = default;
  };

 public:
  explicit DateTimeSerial(Key) {}
  static DateTimeSerialPtr New();

  // Start and end of an occurrence as offsets from its day (normally the
  // time of day; the end may pass midnight).
  Date StartDateTime() const override { return start_; }
  void SetStartDateTime(Date value) override { start_ = value; }
  Date EndDateTime() const override { return end_; }
  void SetEndDateTime(Date value) override { end_ = value; }
  // The day the series runs from (anchor of all counting) and its last day
  // (ignored when Eternal).
  Date SeriesStartDateTime() const { return series_start_; }
  void SetSeriesStartDateTime(Date value) { series_start_ = value; }
  Date SeriesEndDateTime() const { return series_end_; }
  void SetSeriesEndDateTime(Date value) { series_end_ = value; }
  calRepetitionModes RepetitionMode() const { return mode_; }
  void SetRepetitionMode(calRepetitionModes value) { mode_ = value; }
  // Ordinal inside a month or year (1 = first; 0 and below count from the end).
  int32_t m() const { return m_; }
  void Setm(int32_t value) { m_ = value; }
  // Interval: every n-th day, week, month or year.
  int32_t n() const { return n_; }
  void Setn(int32_t value) { n_ = value; }
  // Month 1 to 12 for the rules that name a month of the year.
  int32_t InMonth() const { return in_month_; }
  void SetInMonth(int32_t value) { in_month_ = value; }
  // calWeekdays bits.
  int32_t Weekdays() const { return weekdays_; }
  void SetWeekdays(int32_t value) { weekdays_ = value; }
  bool Eternal() const { return eternal_; }
  void SetEternal(bool value) { eternal_ = value; }

  int16_t DateTimeType() const override { return 2; }
  // Whether any occurrence meets the query; with ReturnPeriods every meeting
  // occurrence is handed back as a new DateTimeNormal, in walk order (an
  // empty collection when none meets). A calYearly series without InMonth
  // is set to 1 March (InMonth 3, m 1) here. Errors: 13 for calYearly with
  // m <= 0, 11 for n = 0, 6 when the 32-bit interval arithmetic overflows.
  bool OverLapsWith(const DateTimeNormal& Period, const OverlapOptions& options = {}) override;
  // SeriesStartDateTime + StartDateTime.
  Date GetFirstDate() override { return series_start_ + start_; }
  // SeriesEndDateTime + EndDateTime; the date value -1 for an eternal series.
  Date GetLastDate() override { return eternal_ ? -1.0 : series_end_ + end_; }
  DateTimeSerialPtr Series() override;
  // Start of the first occurrence, computed inside the month or year of
  // SeriesStartDateTime (it may lie before it). Error 13 for calYearly with
  // m <= 0, error 5 for a weekly series without any weekday.
  Date FirstOccurency() override;
  // Moves SeriesStartDateTime to the anchor of the first occurrence: its day
  // for calWeekly; for the monthly (yearly) modes the first of the month
  // (1 January of the year) that holds the first occurrence not before the
  // old anchor. calDaily and unknown modes are left alone.
  void AdjustStartDate();

  // -- Library-internal

  // The walk of OverLapsWith with ReturnPeriods, handing each meeting
  // occurrence (its start and end) to `sink` in walk order instead of
  // collecting new periods. Returns whether any occurrence met.
  using OccurrenceSink = std::function<void(Date start, Date end)>;
  bool ForEachOccurrence(const DateTimeNormal& Period, const OccurrenceSink& sink);

  // Copies all ten fields (Eternal last) from another DateTimeSerial; any
  // other kind of period raises error 5.
  void CopyFrom(const DateTime& source);

 private:
  bool Expand(const DateTimeNormal& Period, const OccurrenceSink* sink);

  Date start_ = 0;
  Date end_ = 0;
  Date series_start_ = 0;
  Date series_end_ = 0;
  calRepetitionModes mode_ = static_cast<calRepetitionModes>(0);
  int32_t m_ = 0;
  int32_t n_ = 0;
  int32_t in_month_ = 0;
  int32_t weekdays_ = 0;
  bool eternal_ = false;
};

}  // namespace orncal
