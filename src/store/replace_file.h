// Writing a data file whole without ever leaving it half written: the old
// file is moved to a backup name first and put back byte for byte when
// anything fails.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "platform/file_system.h"

namespace orncal::store {

// The first of path.1, path.2, ... at which nothing exists.
std::string FreeBackupName(platform::FileSystem& fs, const std::string& path);

struct ReplaceOptions {
  // Runs once the new file is written, synced and closed. A throw counts as
  // a failure: the old file is put back (a first file stays, since there is
  // nothing to put back and it is whole).
  std::function<void()> Commit;
  // Leave the backup in place after success: the old file held more than
  // the new one was made from.
  bool KeepBackup = false;
};

// Replaces the file at `path` by `bytes` through platform::Fs(): the old
// file, if any, is renamed to FreeBackupName, the new one written, synced
// and closed, the folder synced, Commit run, and the backup deleted. On any
// failure the old file is given back its name and false is returned; a new
// file that could not be written whole is removed, so no torn file is left
// to be read. Whatever moment the process or the machine stops at, the old
// or the new content is on the disk whole under the path or the backup's
// name.
bool ReplaceFile(const std::string& path, std::string_view bytes,
                 const ReplaceOptions& options = {});

}  // namespace orncal::store
