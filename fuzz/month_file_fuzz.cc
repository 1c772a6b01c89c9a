// Reads any bytes as a month file. Whatever is read must write back and
// read again to the same bytes, and no allocation may outgrow what the
// bytes can hold.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "allocation_watch.h"
#include "orncalendar/orncalendar.h"
#include "store/month_file_format.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  orncal::fuzz::AllocationWatch watch;
  orncal::MonthFileContents m = orncal::DecodeMonthFile(bytes, 200805);
  // A text may triple in UTF-8, and each record takes a list slot of some 50
  // bytes for its 13 or more bytes of file.
  watch.Expect(8 * size + 4096, "reading a month file");
  if (!m.Records || m.Complete != m.Problem.empty()) std::abort();
  const std::string written = orncal::store::EncodeMonthFile(*m.Records);
  orncal::MonthFileContents again = orncal::DecodeMonthFile(written, 200805);
  if (!again.Complete || orncal::store::EncodeMonthFile(*again.Records) != written) std::abort();
  return 0;
}
