// Reads any bytes as a task file and as one task record. Whatever is read
// must write back and read again to the same bytes, and no allocation may
// outgrow what the bytes can hold.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "allocation_watch.h"
#include "orncalendar/task_file.h"
#include "tasks/task_file_format.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  orncal::fuzz::AllocationWatch watch;
  const orncal::TaskFileContents file = orncal::DecodeTaskFile(bytes);
  watch.Expect(8 * size + 4096, "reading a task file");
  if (file.Complete != file.Problem.empty()) std::abort();
  const std::string written = orncal::tasks::EncodeTaskFile(file.Tasks);
  const orncal::TaskFileContents again = orncal::DecodeTaskFile(written);
  if (!again.Complete || !again.EndMark || again.TrailingBytes != 0 ||
      orncal::tasks::EncodeTaskFile(again.Tasks) != written) {
    std::abort();
  }
  orncal::TaskFileRecord record;
  if (orncal::tasks::DecodeTaskRecord(bytes, &record)) {
    orncal::TaskFileRecord back;
    if (!orncal::tasks::DecodeTaskRecord(orncal::tasks::EncodeTaskRecord(record), &back)) {
      std::abort();
    }
  }
  return 0;
}
