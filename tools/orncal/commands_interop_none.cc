// export, import and sync in a build without the iCalendar library (the
// Windows build: Debian has no libical for mingw-w64).
#include "arguments.h"
#include "commands_interop.h"

namespace orncal::cli {
namespace {

[[noreturn]] void Unavailable(const char* name) {
  throw CommandError(std::string(name) +
                     ": not part of this build (it was made without libical and libcurl)");
}

}  // namespace

void Execute(Session&, const ExportCommand&) { Unavailable("export"); }
void Execute(Session&, const ImportCommand&) { Unavailable("import"); }
void Execute(Session&, const SyncCommand&) { Unavailable("sync"); }

}  // namespace orncal::cli
