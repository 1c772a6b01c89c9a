#include "orncalendar/date_time_serial.h"

#include "orncalendar/error.h"

namespace orncal {

DateTimeSerialPtr DateTimeSerial::New() { return std::make_shared<DateTimeSerial>(Key{}); }

DateTimeSerialPtr DateTimeSerial::Series() {
  return std::static_pointer_cast<DateTimeSerial>(shared_from_this());
}

void DateTimeSerial::CopyFrom(const DateTime& source) {
  const auto* serial = dynamic_cast<const DateTimeSerial*>(&source);
  if (!serial) throw Error(ErrorNumber::kInvalidProcedureCall);
  start_ = serial->start_;
  end_ = serial->end_;
  series_start_ = serial->series_start_;
  series_end_ = serial->series_end_;
  mode_ = serial->mode_;
  m_ = serial->m_;
  n_ = serial->n_;
  in_month_ = serial->in_month_;
  weekdays_ = serial->weekdays_;
  eternal_ = serial->eternal_;
}

// The recurrence walk and the first occurrence are not built yet: a series
// meets nothing and its first occurrence is its first date.
bool DateTimeSerial::OverLapsWith(const DateTimeNormal&, const OverlapOptions& options) {
  if (options.ReturnPeriods && options.Out_Periods) {
    *options.Out_Periods = std::make_shared<Periods>();
  }
  return false;
}

Date DateTimeSerial::FirstOccurency() { return series_start_ + start_; }

void DateTimeSerial::AdjustStartDate() {}

}  // namespace orncal
