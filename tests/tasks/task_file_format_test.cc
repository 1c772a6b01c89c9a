// The bytes of the task file and of one task record.
#include "tasks/task_file_format.h"

#include <gtest/gtest.h>

#include <tuple>

#include "orncalendar/orncalendar.h"
#include "support/month_bytes.h"
#include "support/test_env.h"

namespace orncal {
namespace {

using testing::MonthBytes;  // generic little-endian fields

const Date kStart = DateFromParts(2008, 5, 14) + 0.375;
const Date kEnd = DateFromParts(2008, 5, 20);

// A record of version 10001: "B\xFCro" is "Büro" in Windows-1252.
MonthBytes& Record(MonthBytes& b, int32_t id, int32_t file = 0, int32_t reminder = 0) {
  b.Long(id).Text("Steuer").Text("").Text("B\xFCro").Date(kStart).Date(kEnd);
  return b.Long(file).Long(reminder);
}

TaskFileRecord Steuer(int32_t id, int32_t file = 0, int32_t reminder = 0) {
  return {id, "Steuer", "", "B\xC3\xBCro", kStart, kEnd, file, reminder};
}

auto Fields(const TaskFileRecord& r) {
  return std::tuple(r.ID, r.Title, r.Notes, r.Project, r.Start, r.PlannedEnd, r.ReminderFile,
                    r.ReminderID);
}

TEST(TaskFileFormat, ARecordIsItsFieldsInOrderAndTheFileEndsWithAZeroID) {
  MonthBytes record;
  Record(record, 7, 200805, 3);
  EXPECT_EQ(tasks::EncodeTaskRecord(Steuer(7, 200805, 3)), record.str());
  TaskFileRecord back;
  ASSERT_TRUE(tasks::DecodeTaskRecord(record.str(), &back));
  EXPECT_EQ(Fields(back), Fields(Steuer(7, 200805, 3)));
  // A record must fill the bytes exactly.
  std::string problem;
  EXPECT_FALSE(tasks::DecodeTaskRecord(record.str() + "x", &back, &problem));
  EXPECT_EQ(problem, "1 bytes follow the record");
  EXPECT_FALSE(tasks::DecodeTaskRecord(record.str().substr(0, 20), &back));

  EXPECT_EQ(tasks::EncodeTaskFile(std::vector<TaskFileRecord>{}),
            MonthBytes().Long(10001).Long(0).str());
  MonthBytes file;
  Record(Record(file.Long(10001), 7), 8, 200805, 3).Long(0);
  EXPECT_EQ(tasks::EncodeTaskFile({Steuer(7), Steuer(8, 200805, 3)}), file.str());
}

TEST(TaskFileFormat, DecodingReadsOldVersionsAndKeepsWhatCameBeforeAFault) {
  // Before version 10001 the records have no reminder fields.
  MonthBytes old;
  old.Long(10000).Long(5).Text("Alt").Text("n").Text("").Date(kStart).Date(kEnd).Long(0);
  TaskFileContents contents = DecodeTaskFile(old.str());
  ASSERT_EQ(contents.Tasks.size(), 1u);
  EXPECT_EQ(std::tuple(contents.Version, contents.Complete, contents.EndMark, contents.Tasks[0].ID,
                       contents.Tasks[0].Notes, contents.Tasks[0].PlannedEnd),
            std::tuple(10000, true, true, 5, std::string("n"), kEnd));

  MonthBytes two;
  Record(Record(two.Long(10001), 7), 8);
  const std::string bytes = two.str();
  // {bytes, tasks read, complete, end mark, trailing bytes}
  const std::tuple<std::string, size_t, bool, bool, size_t> cases[] = {
      {bytes, 2, true, false, 0},  // the end of the data ends the list
      {bytes + std::string(4, '\0') + "xy", 2, true, true, 2},
      {bytes.substr(0, bytes.size() - 3), 1, false, false, 0},
      {bytes + std::string(2, '\0'), 2, false, false, 0},
      {"", 0, false, false, 0},
      // A text longer than what is left: nothing is allocated for it.
      {MonthBytes().Long(10001).Long(9).Long(0x7FFFFFFF).str(), 0, false, false, 0},
  };
  for (const auto& [data, count, complete, end_mark, trailing] : cases) {
    contents = DecodeTaskFile(data);
    EXPECT_EQ(std::tuple(contents.Tasks.size(), contents.Complete, contents.EndMark,
                         contents.TrailingBytes),
              std::tuple(count, complete, end_mark, trailing))
        << data.size() << " bytes: " << contents.Problem;
    EXPECT_EQ(contents.Problem.empty(), complete);
  }
}

}  // namespace
}  // namespace orncal
