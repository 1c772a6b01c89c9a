// The injectable clock. The system clock reads local time; like the
// automation runtime's Now it has whole seconds, while Timer has
// milliseconds.
#include <chrono>
#include <cmath>
#include <ctime>

#include "orncalendar/platform.h"

namespace orncal {
namespace {

// Days from 1899-12-30 to a civil date (proleptic Gregorian).
int64_t OleDayOf(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468 + 25569;  // 25569: 1970-01-01
}

class SystemClock final : public Clock {
 public:
  Date Now() const override {
    std::tm tm = LocalTime(std::chrono::system_clock::now());
    return static_cast<double>(OleDayOf(tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday)) +
           (tm.tm_hour * 3600 + tm.tm_min * 60 + tm.tm_sec) / 86400.0;
  }

  double Timer() const override {
    auto now = std::chrono::system_clock::now();
    std::tm tm = LocalTime(now);
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()) %
              std::chrono::seconds(1);
    return tm.tm_hour * 3600 + tm.tm_min * 60 + tm.tm_sec + ms.count() / 1000.0;
  }

 private:
  static std::tm LocalTime(std::chrono::system_clock::time_point when) {
    std::time_t t = std::chrono::system_clock::to_time_t(when);
    std::tm tm{};
#ifdef _WIN32
    localtime_s(&tm, &t);
#else
    localtime_r(&t, &tm);
#endif
    return tm;
  }
};

std::shared_ptr<Clock>& Installed() {
  static std::shared_ptr<Clock> clock;
  return clock;
}

}  // namespace

double ManualClock::Timer() const {
  double time = std::fabs(now_ - std::trunc(now_));
  return time * 86400.0;
}

std::shared_ptr<Clock> SetClock(std::shared_ptr<Clock> clock) {
  std::shared_ptr<Clock> before = std::move(Installed());
  Installed() = std::move(clock);
  return before;
}

const Clock& CurrentClock() {
  static const SystemClock system;
  const auto& installed = Installed();
  if (installed) return *installed;
  return system;
}

}  // namespace orncal
