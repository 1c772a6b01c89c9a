// Periods. Every appointment carries its time as a DateTime: a single
// stretch of time (DateTimeNormal) or a recurring one (DateTimeSerial).
#pragma once

#include <cstdint>
#include <memory>

#include "orncalendar/collection.h"
#include "orncalendar/fwd.h"

namespace orncal {

struct OverlapOptions {
  // Receives, when ReturnPeriods is set, a new collection of the pieces of
  // this period that meet the query.
  PeriodsPtr* Out_Periods = nullptr;
  bool ReturnPeriods = false;
};

// The common interface of all periods. A bare DateTime answers every member
// with the zero value of its type.
class DateTime : public std::enable_shared_from_this<DateTime> {
 public:
  virtual ~DateTime() = default;
  DateTime(const DateTime&) = delete;
  DateTime& operator=(const DateTime&) = delete;

  static DateTimePtr New();

  virtual Date StartDateTime() const { return 0; }
  virtual void SetStartDateTime(Date) {}
  virtual Date EndDateTime() const { return 0; }
  virtual void SetEndDateTime(Date) {}
  // 1 = DateTimeNormal, 2 = DateTimeSerial.
  virtual int16_t DateTimeType() const { return 0; }
  // Whether this period meets the query period.
  virtual bool OverLapsWith(const DateTimeNormal& Period, const OverlapOptions& options = {});
  virtual Date GetFirstDate() { return 0; }
  virtual Date GetLastDate() { return 0; }
  // The recurring period itself, or nullptr.
  virtual DateTimeSerialPtr Series() { return nullptr; }
  virtual Date FirstOccurency() { return 0; }

 protected:
  DateTime() = default;
};

// A single stretch of time from StartDateTime to EndDateTime. Nothing is
// enforced: an end before the start is kept as given, and a start equal to
// the end is an instant.
class DateTimeNormal final : public DateTime {
  struct Key {
    explicit Key() = default;
  };

 public:
  DateTimeNormal(Key, Date start, Date end) : start_(start), end_(end) {}
  static DateTimeNormalPtr New(Date start = 0, Date end = 0);

  Date StartDateTime() const override { return start_; }
  void SetStartDateTime(Date value) override { start_ = value; }
  Date EndDateTime() const override { return end_; }
  void SetEndDateTime(Date value) override { end_ = value; }
  int16_t DateTimeType() const override { return 1; }

  // The period meets the query when it overlaps it strictly (touching ends
  // do not count), or when it is an instant lying exactly at the query's
  // start. With ReturnPeriods the one piece handed back is this very object.
  bool OverLapsWith(const DateTimeNormal& Period, const OverlapOptions& options = {}) override;

  Date GetFirstDate() override { return start_; }
  Date GetLastDate() override { return end_; }
  Date FirstOccurency() override { return start_; }

  // -- Library-internal

  // Copies end, then start, from another DateTimeNormal. Any other kind of
  // period raises error 5.
  void CopyFrom(const DateTime& source);

 private:
  Date start_;
  Date end_;
};

}  // namespace orncal
