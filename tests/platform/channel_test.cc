// The notifier transport on its own: a listener and connections on an
// endpoint of the test's own, what PollItems reports, nothing lost or
// reordered when the connection is full or the sender leaves, one
// listener per endpoint, and the wake source of event loops.
#include "platform/channel.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>

#include "support/test_env.h"

namespace orncal::platform {
namespace {

using orncal::testing::Join;
using orncal::testing::TempDir;

// The user's endpoint with a pipe or socket name and a lock of the test's
// own, so that a running notifier is not disturbed.
NotifierEndpoint TestEndpoint(const TempDir& temp) {
  NotifierEndpoint endpoint;
  EXPECT_TRUE(FindNotifierEndpoint(&endpoint).ok());
  endpoint.socket += "-test" + std::to_string(std::hash<std::string>{}(temp.path()) % 1000000007);
  endpoint.lock = Join(temp.path(), "lock");
  endpoint.log = Join(temp.path(), "log");
  return endpoint;
}

bool Readable(intptr_t descriptor, int timeout_ms) {
  std::vector<PollItem> items{{.descriptor = descriptor}};
  return PollItems(items, timeout_ms) && items[0].readable;
}

// Listens, connects and accepts.
struct Pair {
  explicit Pair(const NotifierEndpoint& endpoint) {
    bool other = true;
    EXPECT_TRUE(Listen(endpoint, 0, &listener, &other).ok());
    EXPECT_FALSE(other);
    if (!listener) return;
    std::string refused;
    EXPECT_EQ(listener->Accept(&server, &refused), Io::kWouldBlock);
    EXPECT_TRUE(ConnectChannel(endpoint.socket, &client).ok());
    EXPECT_TRUE(Readable(listener->Descriptor(), 5000));
    EXPECT_EQ(listener->Accept(&server, &refused), Io::kDone);
    EXPECT_TRUE(server) << refused;
  }
  std::unique_ptr<Listener> listener;
  std::unique_ptr<Channel> client, server;
};

// Reads until `size` bytes came or nothing more arrives for a while.
std::string ReadUpTo(Channel& channel, size_t size, Io* last = nullptr) {
  std::string got;
  char buffer[4096];
  Io io = Io::kDone;
  while (got.size() < size) {
    size_t n = 0;
    io = channel.Receive(buffer, sizeof buffer, &n);
    got.append(buffer, n);
    if (io == Io::kWouldBlock && channel.Wait(false, 5000) == Io::kWouldBlock) break;
    if (io == Io::kClosed || io == Io::kFailed) break;
  }
  if (last) *last = io;
  return got;
}

TEST(Channel, BothWaysWithThePeerKnown) {
  ASSERT_TRUE(NotifierTransportAvailable());
  TempDir temp;
  Pair pair(TestEndpoint(temp));
  ASSERT_TRUE(pair.server && pair.client);
  EXPECT_GT(pair.client->PeerProcess(), 0);
  EXPECT_GT(pair.server->PeerProcess(), 0);

  char buffer[16];
  size_t n = 0;
  EXPECT_EQ(pair.server->Receive(buffer, sizeof buffer, &n), Io::kWouldBlock);
  EXPECT_FALSE(Readable(pair.server->Descriptor(), 0));
  ASSERT_EQ(pair.client->Send("hello", &n), Io::kDone);
  EXPECT_EQ(n, 5u);
  EXPECT_TRUE(Readable(pair.server->Descriptor(), 5000));
  EXPECT_EQ(ReadUpTo(*pair.server, 5), "hello");
  ASSERT_EQ(pair.server->Send("back", &n), Io::kDone);
  EXPECT_EQ(ReadUpTo(*pair.client, 4), "back");
  // Read empty again: no longer ready.
  EXPECT_FALSE(Readable(pair.client->Descriptor(), 0));

  // The listening end goes away: a client waiting to read finds out.
  pair.server.reset();
  pair.listener.reset();
  EXPECT_TRUE(Readable(pair.client->Descriptor(), 5000));
  Io last = Io::kDone;
  EXPECT_EQ(ReadUpTo(*pair.client, 1, &last), "");
  EXPECT_EQ(last, Io::kClosed);
}

// A sender far ahead of its reader: Send takes what fits, PollItems says
// when more fits, and every byte arrives once and in order; what was sent
// before the sender left is still read, then the end.
TEST(Channel, AFullConnectionLosesNothingAndTheEndComesLast) {
  TempDir temp;
  Pair pair(TestEndpoint(temp));
  ASSERT_TRUE(pair.server && pair.client);
  std::string data(3 << 20, '\0');
  for (size_t i = 0; i < data.size(); ++i)
    data[i] = static_cast<char>(i * 7 + i / 4093);

  std::string got;
  size_t sent = 0;
  bool blocked = false;
  char buffer[65536];
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while ((sent < data.size() || got.size() < sent) && std::chrono::steady_clock::now() < deadline) {
    size_t n = 0;
    if (sent < data.size()) {
      const Io io = pair.client->Send(std::string_view(data).substr(sent), &n);
      ASSERT_TRUE(io == Io::kDone || io == Io::kWouldBlock);
      sent += n;
      if (io == Io::kWouldBlock) {
        blocked = true;
        std::vector<PollItem> items{{.descriptor = pair.client->Descriptor(), .want_write = true}};
        ASSERT_TRUE(PollItems(items, 0));
        EXPECT_FALSE(items[0].writable);
      }
    }
    // The reader takes a little at a time, so the sender runs ahead.
    if (Readable(pair.server->Descriptor(), 10)) {
      const Io io = pair.server->Receive(buffer, 1000, &n);
      ASSERT_TRUE(io == Io::kDone || io == Io::kWouldBlock);
      got.append(buffer, n);
    }
  }
  EXPECT_TRUE(blocked);
  ASSERT_EQ(got.size(), data.size());
  EXPECT_TRUE(got == data);

  size_t n = 0;
  ASSERT_EQ(pair.client->Send("last words", &n), Io::kDone);
  ASSERT_EQ(n, 10u);
  pair.client.reset();
  Io last = Io::kDone;
  EXPECT_EQ(ReadUpTo(*pair.server, 100, &last), "last words");
  EXPECT_EQ(last, Io::kClosed);
  // The end is reported as readable, so that a waiting reader finds out.
  EXPECT_TRUE(Readable(pair.server->Descriptor(), 0));
  EXPECT_NE(pair.server->Wait(false, 0), Io::kWouldBlock);
}

TEST(Channel, OneListenerPerEndpointAndNoneAfterIt) {
  TempDir temp;
  const NotifierEndpoint endpoint = TestEndpoint(temp);
  std::unique_ptr<Listener> first, second;
  bool other = false;
  ASSERT_TRUE(Listen(endpoint, 0, &first, &other).ok());
  EXPECT_FALSE(Listen(endpoint, 50, &second, &other).ok());
  EXPECT_TRUE(other);
  first.reset();

  std::unique_ptr<Channel> channel;
  EXPECT_FALSE(ConnectChannel(endpoint.socket, &channel).ok());
  // The endpoint is free again for the next notifier.
  Pair pair(endpoint);
  EXPECT_TRUE(pair.server && pair.client);
}

TEST(Channel, PollItemsReportsOnlyWhatIsReady) {
  TempDir temp;
  Pair a(TestEndpoint(temp));
  TempDir temp2;
  Pair b(TestEndpoint(temp2));
  ASSERT_TRUE(a.server && b.server);
  size_t n = 0;
  ASSERT_EQ(b.client->Send("x", &n), Io::kDone);
  std::vector<PollItem> items{{.descriptor = a.server->Descriptor()},
                              {.descriptor = b.server->Descriptor()},
                              {.descriptor = a.client->Descriptor(), .want_write = true}};
  ASSERT_TRUE(PollItems(items, 5000));
  EXPECT_FALSE(items[0].readable);
  EXPECT_TRUE(items[1].readable);
  EXPECT_TRUE(items[2].writable);
  EXPECT_FALSE(items[2].readable);

  // Nothing ready: PollItems waits out its time.
  std::vector<PollItem> idle{{.descriptor = a.server->Descriptor()}};
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(PollItems(idle, 50));
  EXPECT_FALSE(idle[0].readable);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));
}

TEST(WakeSource, ReadyForDataPendingMessagesAndTime) {
  std::unique_ptr<WakeSource> wake = NewWakeSource();
  if (!wake) GTEST_SKIP() << "this system has no wake descriptor";
  const intptr_t descriptor = wake->Descriptor();
  EXPECT_FALSE(Readable(descriptor, 0));

  wake->SetPending(true);
  EXPECT_TRUE(Readable(descriptor, 0));
  wake->SetPending(false);
  EXPECT_FALSE(Readable(descriptor, 0));

  wake->WakeAfter(30);
  EXPECT_FALSE(Readable(descriptor, 0));
  EXPECT_TRUE(Readable(descriptor, 5000));
  wake->WakeAfter(-1);
  EXPECT_FALSE(Readable(descriptor, 0));

  TempDir temp;
  Pair pair(TestEndpoint(temp));
  ASSERT_TRUE(pair.server && pair.client);
  wake->Watch(pair.client->Descriptor());
  EXPECT_FALSE(Readable(descriptor, 0));
  size_t n = 0;
  ASSERT_EQ(pair.server->Send("ping", &n), Io::kDone);
  EXPECT_TRUE(Readable(descriptor, 5000));
  EXPECT_EQ(ReadUpTo(*pair.client, 4), "ping");
  wake->SetPending(false);  // the loop looks again after reading
  EXPECT_FALSE(Readable(descriptor, 0));
  wake->Watch(-1);
  EXPECT_EQ(descriptor, wake->Descriptor());
}

}  // namespace
}  // namespace orncal::platform
