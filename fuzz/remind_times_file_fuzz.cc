// Reads any bytes as SpRmdTim.ini through the calendar's own loader (the
// data folder lives in memory, with a month file whose appointments 200805/1
// and 200805/2 the lines may name). The scan moment read must be one the
// calendar can walk from; what is read writes back and reads again to the
// same file; a file that could not be read whole survives as the backup of
// the next write.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "allocation_watch.h"
#include "core/shared_calendar.h"
#include "orncalendar/orncalendar.h"
#include "platform/system.h"
#include "support/memory_file_system.h"

namespace {

// The calendar's data folder below the application-data folder /fuzz.
constexpr const char* kFolder = "/fuzz/Ornavel/Calendar/files";
constexpr const char* kPath = "/fuzz/Ornavel/Calendar/files/SpRmdTim.ini";
constexpr const char* kMonth = "/fuzz/Ornavel/Calendar/files/200805.xmf";

std::string& MonthBytes() {
  static std::string bytes;
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  using namespace orncal;
  UseNotifier(false);
  SetClock(std::make_shared<ManualClock>(DateFromParts(2008, 5, 14) + TimeFromParts(10, 0, 0)));
  SetMessageHandler([](const Message&) { std::abort(); });  // the file fails quietly
  // The month file the lines may point into, as the calendar writes it.
  // (Appointments are made by the process-wide calendar.)
  testing::MemoryFileSystem fs;
  fs.AddFolder("/fuzz");
  platform::FileSystem* before = platform::SetFileSystem(&fs);
  platform::SetShellFolderHook([](int32_t) -> std::optional<std::string> { return "/fuzz"; });
  {
    CalendarPtr calendar = CalendarMain().Calendar();
    for (int day : {20, 21}) {
      const Date start = DateFromParts(2008, 5, day) + TimeFromParts(9, 0, 0);
      calendar->Appointment({.StartDateTime = start, .EndDateTime = start + 0.04})->NotifyChange();
    }
    calendar->Save();
  }
  core::ResetStartupForTesting();
  platform::SetFileSystem(before);
  MonthBytes() = fs.Files().at(kMonth);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orncal;
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  testing::MemoryFileSystem fs;
  fs.AddFolder(kFolder);
  fs.Put(kMonth, MonthBytes());
  fs.Put(kPath, bytes);
  platform::FileSystem* before = platform::SetFileSystem(&fs);
  // The process-wide calendar reads the file as it starts.
  auto start = [] {
    core::ResetStartupForTesting();
    return CalendarMain().Calendar();
  };
  {
    fuzz::AllocationWatch watch;
    CalendarPtr calendar = start();
    // The start reads the month file too; each line of the file becomes an
    // entry of 32 bytes in a list of lines that may have grown to twice its
    // length, and a line may be a single line break.
    watch.Expect(64 * size + 65536, "reading SpRmdTim.ini");
    const Date from = calendar->RemindScanFrom();
    if (!(from >= kMinDate && from < kMaxDate + 1)) std::abort();
    const int32_t count = calendar->SpecialRemindTimes()->Count();

    calendar->SaveSpecialRemindTimes();
    const auto backup = fs.Files().find(kPath + std::string(".1"));
    if (backup != fs.Files().end() && backup->second != bytes) std::abort();
    const std::string written = fs.Files().at(kPath);

    calendar = start();
    if (calendar->RemindScanFrom() != from || calendar->SpecialRemindTimes()->Count() > count)
      std::abort();
    calendar->SaveSpecialRemindTimes();
    if (fs.Files().at(kPath) != written) std::abort();
  }
  core::ResetStartupForTesting();
  platform::SetFileSystem(before);
  return 0;
}
