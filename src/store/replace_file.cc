#include "store/replace_file.h"

#include <memory>

namespace orncal::store {

std::string FreeBackupName(platform::FileSystem& fs, const std::string& path) {
  for (uint64_t i = 1;; ++i) {
    std::string name = path + "." + std::to_string(i);
    if (!fs.Exists(name)) return name;
  }
}

bool ReplaceFile(const std::string& path, std::string_view bytes, const ReplaceOptions& options) {
  platform::FileSystem& fs = platform::Fs();
  const std::string folder = platform::FolderOf(path);
  std::string backup;
  // Puts the old file back.
  auto restore = [&] {
    if (!backup.empty()) {
      if (fs.Exists(path)) fs.Remove(path);
      if (fs.Rename(backup, path).ok()) fs.SyncFolder(folder);
    }
    return false;
  };
  {
    // No other process reads the file while it is away or half written.
    // The lock is not held while the commit talks to other processes.
    const platform::FolderLock writing(path, true);
    if (fs.Exists(path)) {
      backup = FreeBackupName(fs, path);
      if (!fs.Rename(path, backup).ok()) return false;
    }
    std::unique_ptr<platform::WritableFile> out;
    if (!fs.NewWritableFile(path, &out).ok()) return restore();
    platform::Status written = out->Append(bytes);
    if (written.ok()) written = out->Sync();
    const platform::Status closed = out->Close();
    // The new file's name (and the backup's) reach the disk before the
    // backup can go: a power cut after the save then finds the new file.
    if (written.ok() && closed.ok()) written = fs.SyncFolder(folder);
    if (!written.ok() || !closed.ok()) {
      // Without an old file to put back, the new one goes, so that no torn
      // or unsynced file is read later.
      if (backup.empty() && fs.Exists(path)) fs.Remove(path);
      return restore();
    }
  }

  if (options.Commit) {
    try {
      options.Commit();
    } catch (const std::exception&) {
      const platform::FolderLock writing(path, true);
      return restore();
    }
  }
  if (!backup.empty() && !options.KeepBackup)
    fs.Remove(backup);  // a backup left behind is harmless
  return true;
}

}  // namespace orncal::store
