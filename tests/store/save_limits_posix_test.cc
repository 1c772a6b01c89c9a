// Saves the operating system refuses half-way or at once: past the process's
// file-size limit, and into a folder that may not be written. Each ends with
// the message naming the file, and the previous file stays byte for byte
// with no backup left behind.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "orncalendar/orncalendar.h"
#include "support/month_bytes.h"
#include "support/recording_notifier.h"

namespace orncal {
namespace {

const std::string kLost =
    "\" konnte nicht gespeichert werden. Es besteht die Gefahr, dass Daten verloren gehen.";

class SaveLimitsTest : public testing::RecordingCalendarTest {
 protected:
  // Runs `save` in a child process after `limit`; answers the texts of the
  // messages it showed, one a line, or how the child ended.
  std::string SaveInChild(const std::function<void()>& limit, const std::function<void()>& save) {
    int pipe_fds[2];
    if (::pipe(pipe_fds) != 0) return "no pipe";
    const pid_t child = ::fork();
    if (child == 0) {
      ::close(pipe_fds[0]);
      limit();
      save();
      std::string texts;
      for (const Message& m : messages_.messages)
        texts += m.Text + "\n";
      const bool sent =
          ::write(pipe_fds[1], texts.data(), texts.size()) == static_cast<ssize_t>(texts.size());
      ::_exit(sent ? 0 : 1);
    }
    ::close(pipe_fds[1]);
    std::string texts;
    char buffer[4096];
    for (ssize_t n; (n = ::read(pipe_fds[0], buffer, sizeof buffer)) > 0;)
      texts.append(buffer, static_cast<size_t>(n));
    ::close(pipe_fds[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
      return "child ended with status " + std::to_string(status);
    return texts;
  }
};

TEST_F(SaveLimitsTest, ARefusedSaveShowsItsMessageAndLeavesThePreviousFile) {
  const std::string big(64 * 1024, 'n');  // beyond the file-size limit below
  const std::string month_before =
      testing::MonthBytes().Long(10003).Real(1, "x", 1, 2).Byte(0).str();
  const std::string tasks_before = testing::MonthBytes().Long(10001).Long(0).str();
  PutDataFile("200805.xmf", month_before);
  PutDataFile("tasks.xtf", tasks_before);
  CalendarPtr calendar = StartCalendar();
  FilePtr may = calendar->GetMonthFile(MonthRef{.Month = 5, .Year = 2008});
  may->Appointments()->Item(1)->SetNotes(big);
  may->SetChanged(true);
  TaskPtr task = calendar->Task();
  task->SetTitle("neu");
  task->SetNotes(big);
  task->SetDateTime(DateTimeNormal::New(DateFromParts(2008, 5, 14), DateFromParts(2008, 5, 15)));
  task->NotifyChange();

  // Past the limit a write fails (the signal would end the process).
  const auto file_size_limit = [] {
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{4096, 4096};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  };
  // The folder loses its write permission; root, to whom that means
  // nothing, saves as an ordinary user.
  const std::string folder = DataFolder();
  const auto read_only_folder = [&] {
    if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) ::_exit(2);
  };
  ::chmod(folder.c_str(), 0555);
  for (std::string up = folder; up.size() > temp_.path().size();) {
    up = up.substr(0, up.find_last_of('/'));
    ::chmod(up.c_str(), 0755);
  }

  struct Case {
    const char* name;
    std::string file, before, message;
    std::function<void()> save;
  };
  const Case cases[] = {
      {"month file", "200805.xmf", month_before, "Die Monatsdatei \"", [&] { may->SaveFile(); }},
      {"task file", "tasks.xtf", tasks_before, "Die Aufgabendatei \"",
       [&] { calendar->SaveTasks(); }},
  };
  for (const Case& c : cases) {
    for (const auto& [limit_name, limit] :
         {std::pair<const char*, std::function<void()>>{"file-size limit", file_size_limit},
          {"read-only folder", read_only_folder}}) {
      SCOPED_TRACE(std::string(c.name) + ", " + limit_name);
      const std::string path = DataFile(c.file);
      EXPECT_EQ(SaveInChild(limit, c.save), c.message + path + kLost + "\n");
      EXPECT_EQ(testing::ReadBytes(path), c.before);
      EXPECT_FALSE(testing::PathExists(path + ".1"));
    }
  }
  ::chmod(folder.c_str(), 0755);
}

}  // namespace
}  // namespace orncal
