// Reading takes memory in proportion to what is read: a data folder of ten
// thousand month files, and one month file of a million records.
#include <gtest/gtest.h>

#include <atomic>

#include "orncalendar/orncalendar.h"
#include "support/month_bytes.h"
#include "support/test_env.h"

// Kept by the global allocation functions this program replaces
// (allocation_watch.cc).
extern std::atomic<size_t> g_held_bytes;
extern std::atomic<size_t> g_peak_held_bytes;

namespace orncal {
namespace {

using testing::MonthBytes;

// The most held at once while `read` runs, beyond what was held before.
template <typename F>
size_t PeakWhile(F&& read) {
  const size_t before = g_held_bytes;
  g_peak_held_bytes = before;
  read();
  return g_peak_held_bytes - before;
}

class MemoryBoundsTest : public testing::CalendarTest {};

TEST_F(MemoryBoundsTest, TenThousandMonthFiles) {
  constexpr int kFiles = 10000;
  size_t file_bytes = 0;
  std::vector<int32_t> months;
  for (int i = 0; i < kFiles; ++i) {
    const int year = 1200 + i / 12, month = 1 + i % 12;
    const double day = DateFromParts(year, month, 1);
    MonthBytes b;
    b.Long(10003)
        .Real(1, "Termin am Ersten", day + 0.4, day + 0.5)
        .Real(2, "und noch einer", day + 3, day + 3.1);
    const std::string bytes = b.Byte(0).str();
    PutDataFile(std::to_string(year * 100 + month) + ".xmf", bytes);
    file_bytes += bytes.size();
    months.push_back(year * 100 + month);
  }
  int32_t records = 0;
  const size_t peak = PeakWhile([&] {
    CalendarPtr calendar = StartCalendar();
    for (int32_t file : months)
      records += calendar->GetMonthFile(MonthRef{.Month = file % 100, .Year = file / 100})
                     ->Appointments()
                     ->Count();
  });
  EXPECT_EQ(records, 2 * kFiles);
  EXPECT_TRUE(messages_.messages.empty());
  // Each file of some 150 bytes becomes a month object, its path and two
  // appointments with their periods.
  EXPECT_LE(peak, 24 * file_bytes) << "for " << file_bytes << " bytes in " << kFiles << " files";
  std::printf("%d month files, %zu bytes: %zu bytes held at most\n", kFiles, file_bytes, peak);
}

TEST_F(MemoryBoundsTest, AMillionRecordsInOneMonth) {
  constexpr int kRecords = 1000000;
  const double day = DateFromParts(2008, 5, 14);
  MonthBytes b;
  b.Long(10003);
  // Mostly links (the smallest records), every tenth a real appointment.
  for (int i = 1; i <= kRecords; ++i) {
    if (i % 10 == 0) {
      b.Real(i, "Termin", day + 0.4, day + 0.5);
    } else {
      b.Link(i, 200804, i);
    }
  }
  b.Byte(0);
  PutDataFile("200805.xmf", b.str());
  const size_t file_bytes = b.str().size();
  b = MonthBytes();

  int32_t records = 0;
  const size_t peak = PeakWhile([&] {
    records =
        StartCalendar()->GetMonthFile(MonthRef{.Month = 5, .Year = 2008})->Appointments()->Count();
  });
  EXPECT_EQ(records, kRecords);
  EXPECT_TRUE(messages_.messages.empty());
  EXPECT_LE(peak, 24 * file_bytes) << "for " << file_bytes << " bytes";
  std::printf("%d records, %zu bytes: %zu bytes held at most\n", kRecords, file_bytes, peak);
}

}  // namespace
}  // namespace orncal
