// Reads any bytes as a month file. Whatever is read must write back and
// read again to the same bytes.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "orncalendar/orncalendar.h"
#include "store/month_file_format.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  orncal::MonthFileContents m = orncal::DecodeMonthFile(bytes, 200805);
  if (!m.Records || m.Complete != m.Problem.empty()) std::abort();
  const std::string written = orncal::store::EncodeMonthFile(*m.Records);
  orncal::MonthFileContents again = orncal::DecodeMonthFile(written, 200805);
  if (!again.Complete || orncal::store::EncodeMonthFile(*again.Records) != written) std::abort();
  return 0;
}
