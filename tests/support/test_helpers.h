// Small helpers shared by the appointment and calendar tests.
#pragma once

#include <set>
#include <utility>

#include "orncalendar/orncalendar.h"
#include "support/test_env.h"

namespace orncal::testing {

// A recurring period that reaches exactly the months (FileLongs) it names,
// starts at `first` and, when `eternal`, never ends. It stands in for the
// recurrence walk wherever a test needs a series to reach given months.
class FakeSeries : public DateTime {
 public:
  FakeSeries(std::set<int32_t> months, Date first = 0, bool eternal = false)
      : months_(std::move(months)), first_(first), series_(DateTimeSerial::New()) {
    series_->SetEternal(eternal);
  }
  int16_t DateTimeType() const override { return 2; }
  bool OverLapsWith(const DateTimeNormal& Period, const OverlapOptions&) override {
    const Date start = Period.StartDateTime();
    return months_.count(YearOf(start) * 100 + MonthOf(start)) > 0;
  }
  Date GetFirstDate() override { return first_; }
  DateTimeSerialPtr Series() override { return series_; }

 private:
  std::set<int32_t> months_;
  Date first_;
  DateTimeSerialPtr series_;
};

}  // namespace orncal::testing
