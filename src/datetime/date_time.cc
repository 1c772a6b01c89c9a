#include "orncalendar/date_time.h"

#include "orncalendar/error.h"

namespace orncal {
namespace {

// The bare DateTime: all of its members answer zero values.
class BareDateTime final : public DateTime {};

}  // namespace

DateTimePtr DateTime::New() { return std::make_shared<BareDateTime>(); }

bool DateTime::OverLapsWith(const DateTimeNormal&, const OverlapOptions&) { return false; }

DateTimeNormalPtr DateTimeNormal::New(Date start, Date end) {
  return std::make_shared<DateTimeNormal>(Key{}, start, end);
}

bool DateTimeNormal::OverLapsWith(const DateTimeNormal& Period, const OverlapOptions& options) {
  const Date qs = Period.StartDateTime();
  const Date qe = Period.EndDateTime();
  const bool meets = (qs < end_ && qe > start_) || (qs == end_ && end_ == start_);
  if (meets && options.ReturnPeriods && options.Out_Periods) {
    auto pieces = std::make_shared<Periods>();
    pieces->Add(std::static_pointer_cast<DateTimeNormal>(shared_from_this()));
    *options.Out_Periods = std::move(pieces);
  }
  return meets;
}

void DateTimeNormal::CopyFrom(const DateTime& source) {
  const auto* normal = dynamic_cast<const DateTimeNormal*>(&source);
  if (!normal) throw Error(ErrorNumber::kInvalidProcedureCall);
  end_ = normal->end_;
  start_ = normal->start_;
}

}  // namespace orncal
