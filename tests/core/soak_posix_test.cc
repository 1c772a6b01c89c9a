// Several processes on one data folder making random changes, each to its
// own appointments, in a random interleaving: creating (single, long and
// weekly), retitling, moving, removing, saving and reading months. Each
// step ends when every process has handled it (a flush). At the end every
// process saves; then a fresh process must read exactly what the others
// hold, every appointment still alive exactly once, each month file whole
// with no number used twice, every link leading to an appointment, and no
// process may have shown a message ("UNSTIMMIGKEIT!!!" or a file error).
//
//   ORNCAL_SOAK_OPS    changes per process (default 50)
//   ORNCAL_SOAK_SEED   the seed of the random choices (default 11)
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>

#include "orncalendar/orncalendar.h"
#include "peers_posix.h"

namespace orncal::testing {
namespace {

constexpr int kPeers = 4;

int Setting(const char* name, int fallback) {
  const char* text = std::getenv(name);
  return text ? std::atoi(text) : fallback;
}

struct Owned {
  std::string key;
  std::string title;
};

class Soak {
 public:
  explicit Soak(uint32_t seed) : random_(seed) {}

  // A start and an end somewhere from May to September 2008: mostly an
  // hour or two, sometimes days, now and then across months.
  std::pair<std::string, std::string> Span() {
    const Date start = DateFromParts(2008, 5, 1) + Pick(150) + (8 + Pick(10)) / 24.0;
    const int kind = Pick(10);
    const double length = kind < 7 ? (1 + Pick(3)) / 24.0 : kind < 9 ? 1 + Pick(5) : 20 + Pick(40);
    return {When(start), When(start + length)};
  }

  std::string Day() { return When(DateFromParts(2008, 5, 1) + Pick(150)).substr(0, 10); }

  int Pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(random_); }

 private:
  static std::string When(Date d) {
    const DateParts p = SplitDate(d);
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d", p.Year, p.Month, p.Day, p.Hour,
                  p.Minute);
    return text;
  }

  std::mt19937 random_;
};

// The months of a dump: FileLong -> the lines of its entries.
std::map<int, std::vector<std::string>> Months(const Answer& dump) {
  std::map<int, std::vector<std::string>> months;
  int month = 0;
  for (const std::string& line : dump.lines) {
    if (line.rfind("file ", 0) == 0) {
      month = std::stoi(line.substr(5));
    } else {
      months[month].push_back(line);
    }
  }
  return months;
}

TEST(Soak, ProcessesChangingOneDataFolderAgree) {
  const int ops = Setting("ORNCAL_SOAK_OPS", 50);
  Soak soak(static_cast<uint32_t>(Setting("ORNCAL_SOAK_SEED", 11)));
  Sandbox sandbox({.wait_ms = 10000});
  std::vector<std::unique_ptr<Peer>> peers;
  for (int i = 0; i < kPeers; ++i)
    peers.push_back(std::make_unique<Peer>(sandbox));
  for (auto& peer : peers)
    peer->Ask("instance");  // registered, all of them
  std::vector<std::vector<Owned>> owned(kPeers);
  std::vector<int> left(kPeers, ops);
  int made = 0;

  for (int step = 0; step < kPeers * ops; ++step) {
    int p = soak.Pick(kPeers);
    while (left[p] == 0)
      p = (p + 1) % kPeers;
    --left[p];
    Peer& peer = *peers[p];
    std::vector<Owned>& mine = owned[p];
    const int op = mine.empty() ? 0 : soak.Pick(12);
    const std::string context = "step " + std::to_string(step) + ", peer " + std::to_string(p);
    if (op < 4) {
      std::string title = "p";
      title += std::to_string(p) + "n" + std::to_string(++made);
      std::string key;
      if (soak.Pick(8) == 0) {
        const std::string a = soak.Day(), b = soak.Day();
        key = peer.Ask("weekly " + title + " " + std::min(a, b) + " " + std::max(a, b)).head;
      } else {
        const auto [from, to] = soak.Span();
        key = peer.Ask("add " + title + " " + from + " " + to).head;
      }
      mine.push_back({key, title});
    } else {
      Owned& it = mine[static_cast<size_t>(soak.Pick(static_cast<int>(mine.size())))];
      if (op < 6) {
        it.title += "e";
        peer.Ask("title " + it.key + " " + it.title);
      } else if (op < 8) {
        const auto [from, to] = soak.Span();
        it.key = peer.Ask("move " + it.key + " " + from + " " + to).head;
      } else if (op < 9) {
        peer.Ask("remove " + it.key);
        it = mine.back();
        mine.pop_back();
      } else if (op < 11) {
        peer.Ask("save");
      } else {
        peer.Ask("month 20080" + std::to_string(5 + soak.Pick(5)));
      }
    }
    ASSERT_TRUE(peer.Ask("flush").ok) << context;
    if (::testing::Test::HasFailure()) FAIL() << "stopped at " << context;
  }
  for (auto& peer : peers)
    peer->AskAll({"save", "flush"});

  Peer fresh(sandbox);
  const auto read = Months(fresh.Ask("dump"));
  // The months listed differ (a month never looked at is not listed), so
  // each peer compares the months it knows.
  for (int p = 0; p < kPeers; ++p) {
    for (const auto& [month, entries] : Months(peers[p]->Ask("dump"))) {
      ASSERT_TRUE(read.count(month)) << "peer " << p << " holds month " << month;
      EXPECT_EQ(entries, read.at(month)) << "peer " << p << ", month " << month;
    }
  }

  // Every live appointment once, under its key, with its last title; every
  // link leads to one; no number twice in a month.
  std::map<std::string, std::string> expected;  // key -> title
  for (const auto& mine : owned) {
    for (const Owned& it : mine)
      expected[it.key] = it.title;
  }
  std::map<std::string, std::string> found;
  std::set<std::string> links;
  for (const auto& [month, entries] : read) {
    std::set<int> numbers;
    std::set<std::string> destinations;
    for (const std::string& entry : entries) {
      std::istringstream in(entry);  // "1 #3 TITLE ..." or "2 #4 -> FILE/ID"
      int type = 0, id = 0;
      char hash;
      std::string word, to;
      in >> type >> hash >> id >> word >> to;
      EXPECT_TRUE(numbers.insert(id).second) << "number " << id << " twice in " << month;
      if (type == 1) {
        found[std::to_string(month) + "/" + std::to_string(id)] = word;
      } else {
        EXPECT_TRUE(destinations.insert(to).second) << "two links to " << to << " in " << month;
        links.insert(to);
      }
    }
  }
  EXPECT_EQ(found, expected);
  for (const std::string& to : links)
    EXPECT_TRUE(found.count(to)) << "a link to " << to << " leads nowhere";
  for (const auto& entry : std::filesystem::directory_iterator(sandbox.DataFolder())) {
    const std::string name = entry.path().filename().string();
    if (entry.path().extension() != ".xmf") {
      EXPECT_TRUE(name == "SpRmdTim.ini" || name == "tasks.xtf") << name << " left behind";
      continue;
    }
    const MonthFileContents contents =
        DecodeMonthFile(ReadBytes(entry.path().string()), std::stoi(name));
    EXPECT_TRUE(contents.Complete) << name << ": " << contents.Problem;
  }
  for (auto& peer : peers) {
    const Answer shown = peer->Ask("messages");
    EXPECT_EQ(shown.head, "0") << shown.Text();
  }
  EXPECT_EQ(fresh.Ask("messages").head, "0");
}

}  // namespace
}  // namespace orncal::testing
