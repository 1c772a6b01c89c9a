// Reads any bytes as categor.ini through the calendar's own loader (the
// data folder lives in memory). What was read must write back and read
// again to the same categories, and a file that could not be read whole
// must survive as the backup of the next write.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "allocation_watch.h"
#include "orncalendar/orncalendar.h"
#include "support/memory_file_system.h"

namespace {

constexpr const char* kFolder = "/fuzz/data";
constexpr const char* kPath = "/fuzz/data/categor.ini";

std::string Listing(orncal::Categories& categories) {
  std::string listing;
  for (const std::string& name : categories.Names())
    listing += std::to_string(*categories.KnownColor(name)) + "=" + name + "\n";
  return listing;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  orncal::UseNotifier(false);
  orncal::SetMessageHandler([](const orncal::Message&) { std::abort(); });  // quiet files
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  orncal::testing::MemoryFileSystem fs;
  fs.AddFolder(kFolder);
  fs.Put(kPath, bytes);
  orncal::platform::FileSystem* before = orncal::platform::SetFileSystem(&fs);
  {
    orncal::CalendarPtr calendar = orncal::Calendar::New();
    calendar->InitCalendar(kFolder);
    orncal::fuzz::AllocationWatch watch;
    orncal::CategoriesPtr categories = calendar->Categories();
    // Each line becomes one entry of a list of lines: a line may be a
    // single line break, and its entry takes 32 bytes in a list that may
    // have grown to twice its length.
    watch.Expect(64 * size + 4096, "reading categor.ini");

    // A change makes it write; an unread rest of the file stays in the
    // backup, and a fresh calendar reads what this one holds.
    categories->SetColor("Fuzz-Neu", 5);
    categories->Save();
    const auto backup = fs.Files().find(kPath + std::string(".1"));
    if (backup != fs.Files().end() && backup->second != bytes) std::abort();
    orncal::CalendarPtr fresh = orncal::Calendar::New();
    fresh->InitCalendar(kFolder);
    if (Listing(*fresh->Categories()) != Listing(*categories)) std::abort();
  }
  orncal::platform::SetFileSystem(before);
  return 0;
}
