// Any bytes read as a month file end in records or a load error: no crash,
// no hang, and memory in proportion to the bytes. Written records read back
// as they were written.
#include <gtest/gtest.h>

#include "orncalendar/orncalendar.h"
#include "store/month_file_format.h"
#include "support/month_bytes.h"

// The largest single allocation since the last reset, kept by the global
// allocation functions this test program replaces (allocation_watch.cc).
extern size_t g_largest_allocation;

namespace orncal {
namespace {

using testing::MonthBytes;

// Decodes and reports the largest allocation made while doing so.
size_t LargestAllocationDecoding(std::string_view bytes, MonthFileContents* out) {
  g_largest_allocation = 0;
  *out = DecodeMonthFile(bytes, 200805);
  return g_largest_allocation;
}

// What decoding must hold for any bytes: allocations bounded by the size of
// the data, and whatever was read writes back and reads again unchanged.
void CheckAnyBytes(std::string_view bytes) {
  MonthFileContents m;
  const size_t largest = LargestAllocationDecoding(bytes, &m);
  // A text may triple in UTF-8, and each record takes a list slot of some
  // 50 bytes for its 13 or more bytes of file.
  ASSERT_LE(largest, 8 * bytes.size() + 4096) << "for " << bytes.size() << " bytes";
  ASSERT_TRUE(m.Records);
  ASSERT_EQ(m.Complete, m.Problem.empty());
  const std::string written = store::EncodeMonthFile(*m.Records);
  MonthFileContents again = DecodeMonthFile(written, 200805);
  ASSERT_TRUE(again.Complete) << again.Problem;
  ASSERT_EQ(store::EncodeMonthFile(*again.Records), written);
}

// A month holding every kind of record and field, non-ASCII texts included.
std::string SampleMonth() {
  MonthBytes b;
  b.Long(10003);
  b.Real(1, "Besprechung", 39582.375, 39582.5);
  b.Byte(1).Long(2).Text("K\xFChlschrank \x80").Text("Notiz").Text("Arbeit").Byte(0xFF).Byte(0);
  b.Long(15).Long(3).Long(2).Text("a").Text("b").Text("c").Text("").Text("\xE9").Text("x");
  b.Text("Projekt").Byte(2).Date(0.25).Date(0.5).Date(39569).Date(39813).Byte(0);
  b.Long(6).Long(1).Long(-1).Long(16).Long(5);
  b.Link(3, 200804, 7);
  b.Byte(0);
  return b.str();
}

// Seeded mutations and random bytes go through the same checks in the
// month file fuzzer's replay; here every cut of a full sample.
TEST(MonthFileRobustness, EveryTruncationReadsOrFails) {
  const std::string sample = SampleMonth();
  for (size_t n = 0; n <= sample.size(); ++n) {
    SCOPED_TRACE(n);
    CheckAnyBytes(std::string_view(sample).substr(0, n));
  }
}

TEST(MonthFileRobustness, AHugeLengthIsRefusedBeforeAnythingIsAllocatedForIt) {
  MonthBytes b;
  b.Long(10003).Byte(1).Long(1).Long(0x7FFFFFFF).Raw("a few bytes");
  MonthFileContents m;
  ASSERT_GT(LargestAllocationDecoding(SampleMonth(), &m), 0u);  // the watch works
  EXPECT_LT(LargestAllocationDecoding(b.str(), &m), 4096u);
  EXPECT_FALSE(m.Complete);
}

}  // namespace
}  // namespace orncal
