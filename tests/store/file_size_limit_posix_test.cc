// A save stopped half-way by the operating system's file-size limit.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "orncalendar/orncalendar.h"
#include "support/month_bytes.h"
#include "support/recording_notifier.h"

namespace orncal {
namespace {

class FileSizeLimitTest : public testing::RecordingCalendarTest {};

TEST_F(FileSizeLimitTest, AWriteBeyondTheLimitLeavesThePreviousFile) {
  const std::string path = DataFile("200805.xmf");
  const std::string previous = testing::MonthBytes().Long(10003).Real(1, "x", 1, 2).Byte(0).str();
  PutDataFile("200805.xmf", previous);
  CalendarPtr calendar = StartCalendar();
  FilePtr may = calendar->GetMonthFile(MonthRef{.Month = 5, .Year = 2008});
  may->Appointments()->Item(1)->SetNotes(std::string(64 * 1024, 'n'));
  may->SetChanged(true);

  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // Past the limit a write fails (instead of the signal ending the process).
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{4096, 4096};
    setrlimit(RLIMIT_FSIZE, &limit);
    may->SaveFile();
    _exit(messages_.messages.size() == 1 && may->Changed() ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(testing::ReadBytes(path), previous);
  EXPECT_FALSE(testing::PathExists(path + ".1"));
}

}  // namespace
}  // namespace orncal
