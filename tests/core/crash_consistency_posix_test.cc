// A calendar killed at random moments while it saves: whatever moment the
// kill comes at, every month file and the task file hold (or their backup
// holds) a state that was about to be saved, and after `orncal check
// --repair` a fresh calendar reads everything that was saved before the
// killed save began.
//
// crash_actor saves again and again and records each state before it saves
// it. ORNCAL_CRASH_KILLS (30) sets the number of kills, ORNCAL_CRASH_SEED
// the seed (random by default; printed either way), ORNCAL_CRASH_SECONDS
// (300) the time the kills may take.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "core/shared_calendar.h"
#include "orncalendar/orncalendar.h"
#include "store/month_file_format.h"
#include "support/test_env.h"
#include "tasks/task_file_format.h"

namespace orncal {
namespace {

namespace fs = std::filesystem;
using testing::Join;
using testing::PathExists;
using testing::ReadBytes;

constexpr int32_t kTasks = 0;  // the task file's key among the months

// What the log says one round that began to save was about to save.
struct Round {
  std::map<int32_t, std::string> files;  // by FileLong, kTasks for the tasks
  bool done = false;
};

// The rounds of a log (crash_actor.cc tells its form) whose save began.
std::vector<Round> ReadLog(const std::string& log) {
  std::vector<Round> rounds;
  for (int n = 0;; ++n) {
    const std::string folder = Join(log, std::to_string(n));
    if (!PathExists(Join(folder, "begun"))) return rounds;
    Round& round = rounds.emplace_back();
    round.done = PathExists(Join(folder, "done"));
    for (const auto& entry : fs::directory_iterator(folder)) {
      const std::string name = entry.path().filename().string();
      if (std::isdigit(static_cast<unsigned char>(name[0])))
        round.files[std::stoi(name)] = ReadBytes(entry.path().string());
    }
  }
}

std::string FileName(int32_t key) {
  return key == kTasks ? "tasks.xtf" : std::to_string(key) + ".xmf";
}

// Whether the bytes are a whole file as the writer makes it: every record
// readable and the end mark in place.
bool Whole(int32_t key, const std::string& bytes) {
  if (key == kTasks) {
    const TaskFileContents t = DecodeTaskFile(bytes);
    return t.Complete && t.EndMark && t.TrailingBytes == 0;
  }
  const MonthFileContents m = DecodeMonthFile(bytes, key);
  return m.Complete && m.EndMark;
}

int Env(const char* name, int fallback) {
  const char* value = std::getenv(name);
  return value && *value ? std::atoi(value) : fallback;
}

class CrashConsistency : public testing::CalendarTest {
 protected:
  std::string Folder() const { return Join(Join(Join(app_data_, "Ornavel"), "Calendar"), "files"); }
  std::string Path(int32_t key) const { return Join(Folder(), FileName(key)); }

  // The state of one file after a kill, before the repair: its main file
  // whole and a recorded state, or else a whole backup that is one.
  void ExpectRecordedOrBackedUp(int32_t key, bool required) {
    const std::string path = Path(key);
    const std::set<std::string>& known = history_[key];
    if (PathExists(path)) {
      const std::string bytes = ReadBytes(path);
      if (Whole(key, bytes)) {
        EXPECT_TRUE(known.count(bytes)) << FileName(key) << " holds a state never saved";
        return;
      }
    }
    ++caught_;
    bool backed_up = false;
    for (int n = 1; n < 1000 && !backed_up; ++n) {
      const std::string backup = path + "." + std::to_string(n);
      if (!PathExists(backup)) continue;
      const std::string bytes = ReadBytes(backup);
      backed_up = Whole(key, bytes) && known.count(bytes);
    }
    EXPECT_TRUE(backed_up || !required)
        << FileName(key) << " is missing or torn and no backup holds a saved state";
  }

  // The backups in the folder (left by earlier kills).
  std::set<std::string> Backups() const {
    std::set<std::string> found;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(Folder(), ec)) {
      const std::string name = entry.path().filename().string();
      const size_t dot = name.find_last_of('.');
      if (name.find('.') != dot && std::isdigit(static_cast<unsigned char>(name[dot + 1])))
        found.insert(name);
    }
    return found;
  }

  std::map<int32_t, std::set<std::string>> history_;
  int caught_ = 0;  // kills that found a main file missing or torn
};

TEST_F(CrashConsistency, AKilledSaveLosesNothingSavedBeforeIt) {
  const int kills = Env("ORNCAL_CRASH_KILLS", 30);
  const auto deadline =
      std::chrono::steady_clock::now() + std::chrono::seconds(Env("ORNCAL_CRASH_SECONDS", 300));
  uint32_t seed = static_cast<uint32_t>(Env("ORNCAL_CRASH_SEED", 0));
  if (seed == 0) seed = std::random_device{}() % 1000000 + 1;
  std::mt19937 random(seed);
  fs::create_directories(Folder());

  // What each file held after the last repair; a key missing has no file.
  std::map<int32_t, std::string> baseline;
  int life = 0, in_save = 0, repairs = 0;
  for (; life < kills && std::chrono::steady_clock::now() < deadline; ++life) {
    const std::string log = Join(temp_.path(), "log-" + std::to_string(life));
    const pid_t actor = ::fork();
    ASSERT_GE(actor, 0);
    if (actor == 0) {
      const std::string own_seed = std::to_string(seed + life);
      ::execl(ORNCAL_CRASH_ACTOR, ORNCAL_CRASH_ACTOR, app_data_.c_str(), log.c_str(),
              own_seed.c_str(), static_cast<char*>(nullptr));
      std::_Exit(127);
    }
    // A file's first save has nothing to fall back on: killed then, it is
    // left torn with no backup, and check reports it (nothing saved was
    // lost). So the first life runs until the calendar was saved once.
    while (life == 0 && std::chrono::steady_clock::now() < deadline) {
      siginfo_t ended{};  // an actor that stopped by itself is reaped below
      if (::waitid(P_PID, actor, &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid == actor)
        break;
      if (PathExists(Join(Join(log, "0"), "done"))) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    // Past the start, anywhere among the next rounds; every other kill then
    // waits for a new backup, when an old file has just been moved away
    // and its successor is being written.
    const std::set<std::string> backups = Backups();
    std::this_thread::sleep_for(std::chrono::milliseconds(20 + random() % 300));
    for (int polls = 0; life % 2 == 1 && polls < 20000 && Backups() == backups; ++polls)
      std::this_thread::sleep_for(std::chrono::microseconds(20));
    ::kill(actor, SIGKILL);
    int status = 0;
    ASSERT_EQ(::waitpid(actor, &status, 0), actor);
    ASSERT_TRUE(WIFSIGNALED(status)) << "crash_actor ended by itself with status "
                                     << WEXITSTATUS(status) << " (seed " << seed << ")";

    // What was saved for sure, and what the killed save was writing.
    std::map<int32_t, std::string> saved = baseline;
    const Round* killed = nullptr;
    const std::vector<Round> rounds = ReadLog(log);
    for (const Round& round : rounds) {
      for (const auto& [key, bytes] : round.files)
        history_[key].insert(bytes);
      if (round.done) {
        for (const auto& [key, bytes] : round.files)
          saved[key] = bytes;
      } else {
        killed = &round;  // only the last can be unfinished
        ++in_save;
      }
    }
    std::set<int32_t> keys;
    for (const auto& entry : history_)
      keys.insert(entry.first);

    for (int32_t key : keys)
      ExpectRecordedOrBackedUp(key, saved.count(key) > 0);
    const std::string report = Join(temp_.path(), "check.txt");
    const std::string check = std::string(ORNCAL_EXE) + " --data-home '" + app_data_ +
                              "' check --repair --json >'" + report + "' 2>&1";
    ASSERT_EQ(std::system(check.c_str()), 0) << ReadBytes(report);
    repairs += ReadBytes(report).find("\"from\"") != std::string::npos;

    // A fresh calendar reads every file as it was saved last, or as the
    // killed save wrote it.
    core::ResetStartupForTesting();
    CalendarPtr fresh = CalendarMain().Calendar();
    for (int32_t key : keys) {
      SCOPED_TRACE(FileName(key) + ", seed " + std::to_string(seed) + ", kill " +
                   std::to_string(life + 1));
      std::optional<std::string> read;
      if (PathExists(Path(key))) {
        read = key == kTasks
                   ? tasks::EncodeTaskFile(*fresh->IncompleteTasks())
                   : store::EncodeMonthFile(
                         *fresh->GetMonthFile(MonthRef{.Month = key % 100, .Year = key / 100})
                              ->Appointments());
      }
      const auto was = saved.find(key);
      const bool as_saved = was == saved.end() ? !read : read == was->second;
      const bool as_killed = killed && killed->files.count(key) && read == killed->files.at(key);
      EXPECT_TRUE(as_saved || as_killed) << "lost what was saved";
      if (read) {
        baseline[key] = *read;
        history_[key].insert(*read);
      } else {
        baseline.erase(key);
      }
    }
    EXPECT_TRUE(messages_.messages.empty()) << messages_.messages.front().Text;
    if (HasFailure()) break;
  }
  std::printf(
      "crash consistency: seed %u, %d kills (%d in a save, %d found a file missing or "
      "torn, %d repaired)\n",
      seed, life, in_save, caught_, repairs);
  RecordProperty("seed", static_cast<int>(seed));
  RecordProperty("kills", life);
  EXPECT_EQ(life, kills) << "the time ran out first";
}

}  // namespace
}  // namespace orncal
