// The frames between the calendars and the notifier: what is encoded is
// decoded as it was, whatever pieces the bytes arrive in, and anything
// malformed is refused, never half read.
#include "core/notifier_protocol.h"

#include <gtest/gtest.h>

#include <tuple>

#include "orncalendar/orncalendar.h"

namespace orncal::core::protocol {
namespace {

const std::string kPath = "/home/anna/.local/share/Ornavel/Calendar/files";

// Feeds the bytes one at a time and takes the frames that come out.
std::vector<Frame> Cut(std::string_view bytes) {
  FrameReader reader;
  std::vector<Frame> frames;
  Frame frame;
  for (char c : bytes) {
    reader.Append(std::string_view(&c, 1));
    while (reader.Next(&frame))
      frames.push_back(frame);
  }
  EXPECT_FALSE(reader.Broken()) << reader.Problem();
  EXPECT_FALSE(reader.Partial());
  return frames;
}

bool Decodes(const std::string& bytes, Sender from, std::string* problem = nullptr) {
  FrameReader reader;
  reader.Append(bytes);
  Frame frame;
  if (!reader.Next(&frame)) {
    if (problem) *problem = reader.Problem();
    return false;
  }
  Decoded decoded;
  return DecodeFrame(frame, from, &decoded, problem);
}

AppointmentRealPtr Lunch() {
  AppointmentRealPtr a = AppointmentReal::New();
  a->SetID(3);
  a->SetFile(200805);
  a->SetTitle("Mittagessen im Caf\xC3\xA9");
  a->SetProject("Haus");
  a->AddTag("TaskData", "TaskID", "17");
  a->SetDateTime(DateTimeNormal::New(DateFromParts(2008, 5, 20) + 0.5, DateFromParts(2008, 5, 21)));
  return a;
}

TEST(NotifierProtocol, EveryKindOfMessageArrivesAsSent) {
  const TaskFileRecord task{.ID = -17,
                            .Title = "Steuer",
                            .Notes = "Belege",
                            .Project = "",
                            .Start = 39580,
                            .PlannedEnd = 39588.75,
                            .ReminderFile = 200805,
                            .ReminderID = 3};
  const std::string messages[] = {
      EncodeMessage(Kind::kAnythingChanged, 36000250, kPath),
      EncodeFileMessage(Kind::kBeforeLoadFile, -1, 200805, kPath),
      EncodeAppointmentMessage(Kind::kDoWrite, 7, *Lunch(), kPath),
      EncodeTaskMessage(Kind::kDoChangeTask, 7, task, ""),
  };
  std::string stream = EncodeRegister(36000250, kPath);
  for (const std::string& m : messages)
    stream += EncodeNotify(9, m) + EncodeCallback(0, m);
  stream += EncodeAck(4) + EncodeRegistered(36000251, 2000) + EncodeDone(9, 1);

  const std::vector<Frame> frames = Cut(stream);
  ASSERT_EQ(frames.size(), 12u);
  std::vector<Decoded> d(frames.size());
  for (size_t i = 0; i < frames.size(); ++i) {
    // Register, the Notifies and the Ack come from a calendar.
    const bool from_calendar = i == 0 || (i % 2 == 1 && i <= 9);
    std::string problem;
    ASSERT_TRUE(DecodeFrame(frames[i], from_calendar ? Sender::kCalendar : Sender::kNotifier, &d[i],
                            &problem))
        << i << ": " << problem;
  }
  EXPECT_EQ(std::tuple(d[0].instance, d[0].path, d[1].number, d[1].message.kind, d[2].message_bytes,
                       d[3].message.instance, d[3].message.file_long),
            std::tuple(36000250, kPath, 9u, Kind::kAnythingChanged, messages[0], -1, 200805));
  const AppointmentRealPtr a = d[5].message.appointment;
  ASSERT_TRUE(a);
  EXPECT_EQ(std::tuple(a->File(), a->ID(), a->Title(), a->Project(), a->TagData(1),
                       a->DateTime()->EndDateTime()),
            std::tuple(200805, 3, "Mittagessen im Caf\xC3\xA9", "Haus", "17",
                       DateFromParts(2008, 5, 21)));
  const TaskFileRecord& t = d[7].message.task;
  EXPECT_EQ(std::tuple(t.ID, t.ReminderID, t.PlannedEnd), std::tuple(-17, 3, 39588.75));
  EXPECT_EQ(std::tuple(d[9].number, d[10].instance, d[10].number, d[11].missed),
            std::tuple(4u, 36000251, 2000u, 1u));
}

std::string WithHeaderWord(std::string frame, size_t word, uint32_t value) {
  for (int i = 0; i < 4; ++i)
    frame[word * 4 + static_cast<size_t>(i)] = static_cast<char>(value >> (8 * i));
  return frame;
}

TEST(NotifierProtocol, MalformedFramesAreRefused) {
  const std::string good =
      EncodeNotify(0, EncodeAppointmentMessage(Kind::kDoChange, 1, *Lunch(), kPath));
  ASSERT_TRUE(Decodes(good, Sender::kCalendar));
  const auto notify = [](std::string message) { return EncodeNotify(0, message); };
  const struct {
    const char* name;
    std::string bytes;
    Sender from;
  } cases[] = {
      {"another magic", WithHeaderWord(good, 0, 0x50545448), Sender::kCalendar},
      {"another version", WithHeaderWord(good, 1, 2), Sender::kCalendar},
      {"above the size limit", WithHeaderWord(good, 3, kMaxPayload + 1), Sender::kCalendar},
      {"an unknown frame type", WithHeaderWord(good, 2, 77), Sender::kCalendar},
      {"a calendar's frame from the notifier", good, Sender::kNotifier},
      {"a notifier's frame from a calendar", EncodeDone(1, 0), Sender::kCalendar},
      {"an unknown kind", notify(EncodeMessage(static_cast<Kind>(16), 1, kPath)),
       Sender::kCalendar},
      {"NewLoaded from a calendar", notify(EncodeMessage(Kind::kNewLoaded, 1, kPath)),
       Sender::kCalendar},
      {"a path cut in a character", notify(EncodeMessage(Kind::kSaved, 1, "/a\xC3")),
       Sender::kCalendar},
      {"an overlong character", notify(EncodeMessage(Kind::kSaved, 1, "/\xC0\xAF")),
       Sender::kCalendar},
      {"a surrogate", notify(EncodeMessage(Kind::kSaved, 1, "/\xED\xA0\x80")), Sender::kCalendar},
      {"a NUL in the path", notify(EncodeMessage(Kind::kSaved, 1, std::string("/a\0b", 4))),
       Sender::kCalendar},
      {"a path too long", notify(EncodeMessage(Kind::kSaved, 1, std::string(kMaxPath + 1, 'a'))),
       Sender::kCalendar},
      {"a byte too many", notify(EncodeFileMessage(Kind::kSaved, 1, 200805, kPath) + "x"),
       Sender::kCalendar},
      {"a link's record",
       notify(EncodeMessage(Kind::kDoDelete, 1, kPath) + std::string(4, '\0') +
              std::string("\x09\0\0\0\x02\0\0\0\0\0\0\0\0", 13)),
       Sender::kCalendar},
  };
  for (const auto& c : cases) {
    std::string problem;
    EXPECT_FALSE(Decodes(c.bytes, c.from, &problem)) << c.name;
    EXPECT_FALSE(problem.empty()) << c.name;
  }
  // Cut anywhere, a frame is waited for or, with a length fixed up to the
  // bytes that remain, refused.
  for (size_t size = kHeaderSize; size < good.size(); ++size) {
    const std::string cut =
        WithHeaderWord(good.substr(0, size), 3, static_cast<uint32_t>(size - kHeaderSize));
    EXPECT_FALSE(Decodes(cut, Sender::kCalendar)) << size;
    FrameReader reader;
    reader.Append(good.substr(0, size));
    Frame frame;
    EXPECT_FALSE(reader.Next(&frame));
    EXPECT_TRUE(reader.Partial());
  }
}

}  // namespace
}  // namespace orncal::core::protocol
