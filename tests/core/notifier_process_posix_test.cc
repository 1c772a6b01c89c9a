// Change propagation between real processes through a real notifier:
// peer_actor processes on one data folder (and one on another), driven
// command by command. Peers handle messages as they arrive unless a test
// turns that off to see what pumping does.
#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "core/notifier_protocol.h"
#include "peers_posix.h"
#include "platform/channel.h"

namespace orncal::testing {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
namespace protocol = core::protocol;

bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}
bool Has(const Answer& a, const std::string& part) { return Has(a.Text(), part); }

// How long a call took.
template <class Call>
milliseconds Timed(Call&& call) {
  const auto start = steady_clock::now();
  call();
  return std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
}

// Waits until a process has ended (and is no zombie either).
bool Gone(pid_t pid) {
  const auto deadline = steady_clock::now() + std::chrono::seconds(10);
  while (steady_clock::now() < deadline) {
    const std::string stat = ReadBytes("/proc/" + std::to_string(pid) + "/stat");
    const size_t paren = stat.rfind(')');
    if (::kill(pid, 0) != 0 || (paren != std::string::npos && stat.substr(paren + 2, 1) == "Z")) {
      return true;
    }
    std::this_thread::sleep_for(milliseconds(5));
  }
  return false;
}

// Lets a peer that does not handle messages by itself pump until `seen`
// holds (messages take a moment to arrive); false when it never does.
template <class Seen>
bool PumpUntil(Peer& peer, Seen&& seen) {
  const auto deadline = steady_clock::now() + std::chrono::seconds(20);
  while (!seen()) {
    if (steady_clock::now() > deadline) return false;
    peer.Ask("pump");
    std::this_thread::sleep_for(milliseconds(10));
  }
  return true;
}

// Expects that no peer showed a message box ("UNSTIMMIGKEIT!!!", a file
// that could not be read or written).
void ExpectNoMessages(std::initializer_list<Peer*> peers) {
  for (Peer* peer : peers) {
    const Answer shown = peer->Ask("messages");
    EXPECT_EQ(shown.head, "0") << shown.Text();
  }
}

TEST(Propagation, AppointmentsFollowOnOneDataFolder) {
  Sandbox sandbox({.wait_ms = 300});  // B does not pump by itself
  Peer a(sandbox), b(sandbox);
  b.Ask("autopump off");
  a.AskAll({"add breakfast 2008-05-20T08:00 2008-05-20T09:00", "save"});

  // A files lunch without saving; B, reading May, sees it: A wrote it
  // before B read.
  const std::string lunch = a.Ask("add lunch 2008-05-20T12:00 2008-05-20T13:00").head;
  EXPECT_EQ(lunch, "200805/2");
  EXPECT_TRUE(Has(b.Ask("month 200805"), "#2 lunch"));
  EXPECT_TRUE(Has(ReadBytes(sandbox.DataFolder() + "/200805.xmf"), "lunch"));

  // A new title reaches B when B pumps.
  a.AskAll({"title " + lunch + " dinner", "project " + lunch + " home"});
  EXPECT_TRUE(Has(b.Ask("cached 200805"), "#2 lunch []"));
  EXPECT_TRUE(PumpUntil(b, [&] { return Has(b.Ask("cached 200805"), "#2 dinner [home]"); }));

  // Moves and removals: B's months follow, links included.
  const std::string moved = a.Ask("move " + lunch + " 2008-06-03T19:00 2008-06-03T21:00").head;
  const std::string trip = a.Ask("add trip 2008-05-30T08:00 2008-07-02T18:00").head;
  a.Ask("remove 200805/1");
  const std::string may = a.Ask("cached 200805").Text();
  EXPECT_TRUE(PumpUntil(b, [&] { return b.Ask("cached 200805").Text() == may; }));
  a.Ask("month 200807");  // listed in both from here on
  b.Ask("month 200807");
  a.Ask("move " + trip + " 2008-05-28T08:00 2008-07-03T18:00");
  const std::string moved_may = a.Ask("cached 200805").Text();
  EXPECT_TRUE(PumpUntil(b, [&] { return b.Ask("cached 200805").Text() == moved_may; }));
  EXPECT_EQ(b.Ask("month 200806").Text(), a.Ask("month 200806").Text());
  EXPECT_EQ(b.Ask("month 200807").Text(), a.Ask("month 200807").Text());
  const Answer june = b.Ask("cached 200806");
  EXPECT_TRUE(Has(june, "1 #" + moved.substr(7) + " dinner")) << june.Text();
  EXPECT_TRUE(Has(june, "-> " + trip)) << june.Text();
  EXPECT_FALSE(Has(b.Ask("cached 200805"), "breakfast"));

  // Saves by either leave the same files as the other holds.
  b.AskAll({"save", "flush", "autopump on"});
  Peer c(sandbox);
  EXPECT_EQ(c.Ask("dump").Text(), a.Ask("dump").Text());
  EXPECT_NE(b.Ask("events").head.rfind("change=0", 0), 0u) << "B's clients heard of it";
  ExpectNoMessages({&a, &b, &c});
}

TEST(Propagation, TasksCategoriesAndRemindTimesFollow) {
  Sandbox sandbox;
  Peer a(sandbox);
  auto b = std::make_unique<Peer>(sandbox);
  b->Ask("tasks");  // B holds the list and the categories from here on
  b->AskAll({"cats", "events"});
  const std::string id = a.Ask("task-add letters").head;
  a.Ask("flush");
  EXPECT_TRUE(Has(b->Ask("tasks"), id + " letters"));
  a.AskAll({"task-title " + id + " parcels", "flush"});
  EXPECT_TRUE(Has(b->Ask("tasks"), id + " parcels"));
  const std::string other = a.Ask("task-add bills").head;
  a.AskAll({"task-remove " + id, "save", "flush"});
  // A saved: B has nothing left to write.
  const Answer listed = b->Ask("tasks");
  EXPECT_EQ(listed.head, "1");
  EXPECT_EQ(listed.Text(), other + " bills\n");
  EXPECT_EQ(b->Ask("events").head.find("tasks=0"), std::string::npos) << "TasksChange";

  a.AskAll({"cat-add Work 255", "cat-save", "flush"});
  EXPECT_EQ(b->Ask("cats").Text(), "Work=255\n");

  const std::string key = a.Ask("add dentist 2008-05-21T09:00 2008-05-21T10:00").head;
  a.AskAll({"save", "srt-add " + key + " 2008-05-21T08:00", "srt-save", "flush"});
  EXPECT_EQ(b->Ask("srt").Text(), "39589.333333333336=" + key + "\n");

  // RaiseChange reaches the others' clients.
  b->Ask("events");
  a.AskAll({"raise", "flush"});
  EXPECT_EQ(b->Ask("events").head, "change=1 tasks=0");
  ExpectNoMessages({&a, b.get()});
  b.reset();

  // One more remind time, not saved: a newcomer finds it all the same, as
  // A writes its remind times before the newcomer reads them.
  a.Ask("srt-add " + key + " 2008-05-21T07:00");
  Peer c(sandbox);
  EXPECT_EQ(c.Ask("srt").head, "2");
}

TEST(Propagation, OtherDataFoldersAndOwnMessagesChangeNothing) {
  Sandbox sandbox;
  Peer a(sandbox), other(sandbox, sandbox.AppData("elsewhere"));
  a.AskAll({"month 200805", "tasks", "events"});
  other.AskAll({"add lunch 2008-05-20T12:00 2008-05-20T13:00", "task-add letters", "raise", "save",
                "flush"});
  EXPECT_EQ(a.Ask("cached 200805").Text(), "");
  EXPECT_EQ(a.Ask("tasks").head, "0");
  EXPECT_EQ(a.Ask("events").head, "change=0 tasks=0");

  // A message that bears A's own InstanceID is A's own: ignored. The same
  // with another number is acted on.
  const int32_t mine = std::stoi(a.Ask("instance").head);
  RawClient forger(sandbox);
  ASSERT_NE(forger.Register(mine + 1000, "x"), -1);
  const std::string path = sandbox.DataFolder();
  forger.Write(protocol::EncodeNotify(
      0, protocol::EncodeMessage(protocol::Kind::kAnythingChanged, mine, path)));
  forger.Write(protocol::EncodeNotify(
      0, protocol::EncodeMessage(protocol::Kind::kAnythingChanged, mine + 1, path + "/")));
  ASSERT_TRUE(forger.Flush());
  EXPECT_EQ(a.Ask("events").head, "change=0 tasks=0");
  forger.Write(protocol::EncodeNotify(
      0, protocol::EncodeMessage(protocol::Kind::kAnythingChanged, mine + 1, path)));
  ASSERT_TRUE(forger.Flush());
  EXPECT_EQ(a.Ask("events").head, "change=1 tasks=0");
}

// Two processes numbering in one month at the same moment give two
// appointments one number: each says so and keeps both.
TEST(Propagation, NumbersGivenTwiceAreShownAndNothingIsLost) {
  Sandbox sandbox({.wait_ms = 300});
  Peer a(sandbox), b(sandbox);
  b.Ask("instance");
  a.AskAll({"add breakfast 2008-05-20T08:00 2008-05-20T09:00", "flush"});
  for (Peer* p : {&a, &b}) {
    p->AskAll({"month 200805", "autopump off"});
  }
  EXPECT_EQ(a.Ask("add lunch 2008-05-20T12:00 2008-05-20T13:00").head, "200805/2");
  EXPECT_EQ(b.Ask("add dinner 2008-05-20T19:00 2008-05-20T20:00").head, "200805/2");
  EXPECT_TRUE(PumpUntil(a, [&] { return Has(a.Ask("cached 200805"), "#3 dinner"); }));
  EXPECT_TRUE(PumpUntil(b, [&] { return Has(b.Ask("cached 200805"), "#3 lunch"); }));
  for (Peer* p : {&a, &b})
    EXPECT_EQ(p->Ask("messages").Text(), "UNSTIMMIGKEIT!!!\n");
}

// Started in the same millisecond, two processes would take each other's
// messages for their own; the notifier gives the second another number.
TEST(Propagation, ProcessesStartedInTheSameMillisecondHearEachOther) {
  Sandbox sandbox;
  const std::vector<std::string> same{"--clock", "2008-05-14T10:00:00.250"};
  Peer a(sandbox, sandbox.AppData(), same), b(sandbox, sandbox.AppData(), same);
  const std::string first = a.Ask("instance").head, second = b.Ask("instance").head;
  EXPECT_TRUE(first == "36000250" || second == "36000250") << first << " " << second;
  EXPECT_NE(first, second);
  for (Peer* sender : {&a, &b}) {
    Peer* receiver = sender == &a ? &b : &a;
    receiver->Ask("events");
    sender->AskAll({"raise", "flush"});
    EXPECT_EQ(receiver->Ask("events").head, "change=1 tasks=0");
  }
}

// Each waits in its own load for the other, and handles the other's
// request meanwhile: both go on at once and read what the other held.
TEST(Waiting, TwoProcessesLoadingAtOnceDoNotDeadlock) {
  Sandbox sandbox({.wait_ms = 20000});
  {
    Peer writer(sandbox);
    writer.AskAll({"add may 2008-05-20T12:00 2008-05-20T13:00",
                   "add june 2008-06-20T12:00 2008-06-20T13:00", "save"});
  }
  Peer a(sandbox), b(sandbox);
  // Each changes a month the other has not read yet.
  a.Ask("month 200805");
  b.Ask("month 200806");
  for (Peer* p : {&a, &b})
    p->Ask("autopump off");
  a.Ask("title 200805/1 may-by-a");
  b.Ask("title 200806/1 june-by-b");
  const milliseconds took = Timed([&] {
    a.Send("month 200806");
    b.Send("month 200805");
    const Answer june = a.Read(), may = b.Read();
    EXPECT_TRUE(Has(june, "june-by-b")) << june.head << june.Text();
    EXPECT_TRUE(Has(may, "may-by-a")) << may.head << may.Text();
  });
  EXPECT_LT(took, milliseconds(10000));
}

TEST(Waiting, APeerThatNeverPumpsDelaysTheOthersOnceAtMost) {
  Sandbox sandbox({.wait_ms = 1000});
  Peer a(sandbox);
  a.AskAll({"add may 2008-05-20T12:00 2008-05-20T13:00",
            "add june 2008-06-20T12:00 2008-06-20T13:00", "save"});
  Peer idle(sandbox);
  idle.Ask("autopump off");
  // B's registration waits for the idle one once; B's reads later do not.
  std::unique_ptr<Peer> b;
  const milliseconds first = Timed([&] {
    b = std::make_unique<Peer>(sandbox);
    b->Ask("instance");
  });
  const milliseconds second = Timed([&] { b->Ask("month 200805"); });
  const milliseconds third = Timed([&] { b->Ask("month 200806"); });
  EXPECT_GE(first, milliseconds(900));
  EXPECT_LT(first, milliseconds(6000));
  EXPECT_LT(second, milliseconds(900));
  EXPECT_LT(third, milliseconds(900));
  // The others keep in step meanwhile.
  b->AskAll({"title 200805/1 changed", "flush"});
  EXPECT_TRUE(Has(a.Ask("cached 200805"), "changed"));
  // Pumping at last, it catches up and is waited for again.
  idle.Ask("pump");
  EXPECT_TRUE(Has(idle.Ask("month 200805"), "changed"));
}

TEST(Faults, AKilledPeerOrNotifierStopsNoOne) {
  Sandbox sandbox({.wait_ms = 20000});
  Peer a(sandbox), b(sandbox);
  a.AskAll({"add may 2008-05-20T12:00 2008-05-20T13:00", "save"});
  {
    Peer doomed(sandbox);
    doomed.AskAll({"autopump off", "add june 2008-06-20T12:00 2008-06-20T13:00"});
    doomed.Send("sleep 60000");  // busy when it dies
    doomed.Kill(SIGKILL);
  }
  // Its connection is gone: nobody waits for it.
  EXPECT_LT(Timed([&] { b.Ask("month 200805"); }), milliseconds(10000));
  a.AskAll({"title 200805/1 still", "flush"});
  EXPECT_TRUE(Has(b.Ask("cached 200805"), "still"));

  const pid_t first = sandbox.NotifierProcess();
  ASSERT_NE(first, 0);
  b.Ask("events");
  ::kill(first, SIGKILL);
  ASSERT_TRUE(Gone(first));
  // The next message of A starts a new notifier.
  a.AskAll({"title 200805/1 after", "save"});
  const pid_t second = sandbox.NotifierProcess();
  EXPECT_NE(second, 0);
  EXPECT_NE(second, first);
  // B connects again on its own, makes up for what it missed (its clean
  // months are read again) and hears A again.
  EXPECT_TRUE(PumpUntil(b, [&] { return b.Ask("events").head.rfind("change=0", 0) != 0; }));
  EXPECT_TRUE(Has(b.Ask("month 200805"), "after"));
  a.AskAll({"title 200805/1 again", "flush"});
  EXPECT_TRUE(Has(b.Ask("cached 200805"), "again"));
  ExpectNoMessages({&a, &b});
}

// A peer that does not read while the others send much is dropped; when it
// pumps again it connects anew and reads what it missed.
TEST(Faults, ADroppedPeerCatchesUp) {
  Sandbox sandbox({.queue_bytes = 1});  // the least the notifier allows: one largest frame
  Peer a(sandbox), slow(sandbox);
  const std::string key = a.Ask("add may 2008-05-20T12:00 2008-05-20T13:00").head;
  a.Ask("save");
  slow.AskAll({"month 200805", "autopump off"});
  // About 24 MB that the slow peer does not take.
  for (int i = 0; i < 24; ++i)
    a.Ask("notes " + key + " 1000000");
  a.AskAll({"title " + key + " latest", "save", "flush"});
  EXPECT_TRUE(Has(sandbox.NotifierLog(), "it does not read what it is sent"))
      << sandbox.NotifierLog();
  // It reads what reached it, finds the connection closed, connects anew
  // and, registered again, reads its months afresh.
  EXPECT_TRUE(PumpUntil(slow, [&] { return slow.Ask("cached 200805").head == "none"; }));
  EXPECT_TRUE(Has(slow.Ask("month 200805"), "latest"));
  a.Ask("title " + key + " heard");
  EXPECT_TRUE(PumpUntil(slow, [&] { return Has(slow.Ask("cached 200805"), "heard"); }));
}

TEST(Faults, WithoutANotifierLoadsAndSavesFailAndTheNextCallTriesAgain) {
  Sandbox sandbox;
  Peer a(sandbox);
  a.AskAll({"add may 2008-05-20T12:00 2008-05-20T13:00", "save", "flush"});
  Peer lone(sandbox);
  lone.AskAll({"autopump off", "setenv ORNCAL_NOTIFIER /nonexistent/OrnCalNtf"});
  a.Quit();
  const pid_t notifier = sandbox.NotifierProcess();
  ::kill(notifier, SIGKILL);
  ASSERT_TRUE(Gone(notifier));
  // Nothing to reach and nothing to start: the month and the task file
  // cannot be read, a change cannot be sent, a month not be written.
  const std::string may = sandbox.DataFolder() + "/200805.xmf";
  EXPECT_EQ(lone.Ask("month 200805").Text(), "");
  EXPECT_EQ(lone.Ask("tasks").head, "0");
  // (The appointment is filed here: only telling the others failed.)
  const Answer refused = lone.Try("add lunch 2008-05-21T12:00 2008-05-21T13:00");
  EXPECT_FALSE(refused.ok);
  EXPECT_TRUE(Has(refused.head, "The notifier cannot be reached")) << refused.head;
  const std::string before = ReadBytes(may);
  lone.Ask("save");
  EXPECT_EQ(ReadBytes(may), before);
  const Answer shown = lone.Ask("messages");
  EXPECT_EQ(shown.Text(), "Schwerwiegender Fehler:\r\nDie Monatsdatei \"" + may +
                              "\" konnte nicht geladen werden.\n"
                              "Schwerwiegender Fehler:\r\nDie Aufgabendatei \"" +
                              sandbox.DataFolder() +
                              "/tasks.xtf\" konnte nicht geladen werden.\n"
                              "Die Monatsdatei \"" +
                              may +
                              "\" konnte nicht gespeichert werden. Es besteht die Gefahr, dass "
                              "Daten verloren gehen.\n");
  // With the notifier to be found again, the next call goes through. (May
  // is written from what could be read; its old file stays as the backup.)
  lone.AskAll({std::string("setenv ORNCAL_NOTIFIER ") + ORNCAL_NOTIFIER_PROGRAM, "save"});
  EXPECT_NE(ReadBytes(may), before);
  EXPECT_EQ(ReadBytes(may + ".1"), before);
  EXPECT_EQ(lone.Ask("messages").head, "0");
}

// Whatever arrives, the notifier closes only the connection that sent it.
TEST(BadInput, MalformedFramesCloseOnlyTheirConnection) {
  Sandbox sandbox;
  Peer a(sandbox), b(sandbox);
  a.Ask("instance");  // both are registered: the notifier runs
  b.Ask("instance");
  const std::string path = sandbox.DataFolder();
  const std::string good =
      protocol::EncodeNotify(0, protocol::EncodeMessage(protocol::Kind::kAnythingChanged, 1, path));
  std::string bad_kind = good, oversized = good, cut = good;
  bad_kind[20] = 99;                                                           // the message kind
  oversized[12] = 0, oversized[13] = 0, oversized[14] = 0, oversized[15] = 2;  // 32 MiB
  cut.resize(cut.size() - 3);
  std::string bad_path = protocol::EncodeNotify(
      0, protocol::EncodeMessage(protocol::Kind::kAnythingChanged, 1, "a\xFF"));
  const std::string from_notifier =
      protocol::EncodeNotify(0, protocol::EncodeMessage(protocol::Kind::kNewLoaded, 1, path));
  struct Case {
    const char* name;
    std::string bytes;
    bool registered;
  } cases[] = {
      {"no frame at all", "GET / HTTP/1.0\r\n\r\n", false},
      {"a message before registering", good, false},
      {"an unknown kind", bad_kind, true},
      {"a frame above the limit", oversized, true},
      {"a path that is not UTF-8", bad_path, true},
      {"a message only the notifier sends", from_notifier, true},
  };
  for (const Case& c : cases) {
    RawClient raw(sandbox);
    if (c.registered) {
      ASSERT_NE(raw.Register(7, path), -1) << c.name;
    }
    raw.Write(c.bytes);
    EXPECT_TRUE(raw.ClosedWithin(milliseconds(5000))) << c.name;
  }
  {
    RawClient raw(sandbox);  // leaves in the middle of a frame
    ASSERT_NE(raw.Register(7, path), -1);
    raw.Write(cut);
  }
  a.AskAll({"add may 2008-05-20T12:00 2008-05-20T13:00", "flush"});
  EXPECT_TRUE(Has(b.Ask("month 200805"), "may"));
  const std::string log = sandbox.NotifierLog();
  EXPECT_TRUE(Has(log, "unknown message kind 99")) << log;
  EXPECT_TRUE(Has(log, "above the limit")) << log;
  EXPECT_TRUE(Has(log, "left inside a frame")) << log;
}

// The socket of a user's notifier is the user's: a process of another
// user is turned away by the notifier (and the library would not speak to
// another user's notifier either).
TEST(Security, APeerOfAnotherUserIsRefused) {
  if (::geteuid() != 0) GTEST_SKIP() << "switching to another user needs root";
  const passwd* nobody = ::getpwnam("nobody");
  if (!nobody) GTEST_SKIP() << "there is no user nobody";
  Sandbox sandbox;
  Peer a(sandbox);
  a.Ask("month 200805");
  // Let the other user reach the socket, so that the notifier's own check
  // is what stands in the way.
  for (const std::string& p : {sandbox.root(), sandbox.RuntimeFolder(), sandbox.EndpointFolder()})
    ::chmod(p.c_str(), 0755);
  ::chmod((sandbox.EndpointFolder() + "/notifier.sock").c_str(), 0777);

  const pid_t child = ::fork();
  if (child == 0) {
    if (::setgid(nobody->pw_gid) != 0 || ::setuid(nobody->pw_uid) != 0) ::_exit(10);
    // The library's side: the notifier runs as another user.
    std::unique_ptr<platform::Channel> channel;
    if (platform::ConnectChannel(sandbox.EndpointFolder() + "/notifier.sock", &channel).ok()) {
      ::_exit(11);
    }
    // The notifier's side: the connection is closed unanswered.
    RawClient raw(sandbox);
    if (!raw.connected()) ::_exit(12);
    raw.Write(protocol::EncodeRegister(1, "x"));
    ::_exit(raw.ClosedWithin(milliseconds(5000)) ? 0 : 13);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_TRUE(
      Has(sandbox.NotifierLog(), "refused a process of user " + std::to_string(nobody->pw_uid)))
      << sandbox.NotifierLog();
  a.Ask("add may 2008-05-20T12:00 2008-05-20T13:00");
}

}  // namespace
}  // namespace orncal::testing
