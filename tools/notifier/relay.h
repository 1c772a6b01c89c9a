// The relay of OrnCalNtf: passes each message of a registered calendar to
// every other registered calendar, in the order each sender sent them.
//
// A message that its sender waits on (a Notify with a sequence number, and
// every registration, which the others answer by writing what a newcomer
// reads) is answered once every other live calendar acknowledged it, or
// once `wait_ms` passed. A calendar that let such a wait run out is not
// waited for again until it acknowledges something: a process that never
// reads delays the others once, not at every message.
//
// InstanceIDs are unique among the connections: a calendar registering
// with a number another connection holds gets a free one.
//
// Each connection has a bounded queue of what it has not read; a calendar
// whose queue overflows, whose connection errs or which sends anything
// malformed is dropped, with one line in the log, and no one else notices.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "core/notifier_protocol.h"
#include "platform/channel.h"

namespace orncal::notifier {

struct RelayOptions {
  // How long a waiting sender waits for each peer (ms).
  int wait_ms = 2000;
  // How long the relay stays after its last connection left (ms).
  int linger_ms = 5000;
  // What a connection may have unread before it is dropped (bytes); at
  // least one frame of the largest size always fits.
  size_t queue_bytes = size_t{32} << 20;
  // Connections beyond this many are closed at once.
  size_t max_connections = 512;
};

class Relay {
 public:
  using Clock = std::chrono::steady_clock;
  using ConnectionId = uint64_t;

  Relay(RelayOptions options, std::ostream& log);
  ~Relay();

  // Serves `listener` until no connection was open for linger_ms, or
  // `stop` becomes true.
  void Run(platform::Listener& listener, const volatile bool& stop);

  // The connection-level steps, for Run and for tests that drive the relay
  // without sockets. A connection without a channel keeps what it is sent.
  ConnectionId Open(std::unique_ptr<platform::Channel> channel, int64_t process);
  // Takes bytes the connection sent.
  void Received(ConnectionId id, std::string_view bytes);
  // Ends waits that ran out by `now`.
  void Expire(Clock::time_point now);
  // Removes the connections that were dropped or closed.
  void Sweep();
  // The earliest end of a wait, or Clock::time_point::max().
  Clock::time_point NextDeadline() const;

 private:
  struct Connection;
  struct Wait;

  void Frame(Connection& c, const core::protocol::Frame& frame);
  void Register(Connection& c, const core::protocol::Decoded& d);
  void Notify(Connection& c, const core::protocol::Decoded& d);
  void Acknowledge(Connection& c, uint32_t token);
  // Sends `message` to every other registered connection; with
  // `registration` or a sequence number, waits for their answers.
  void Pass(Connection& from, std::string_view message, bool registration, uint32_t seq);
  void Finish(uint32_t token);
  void Enqueue(Connection& c, std::shared_ptr<const std::string> frame);
  void Drop(Connection& c, const std::string& why);
  void Flush(Connection& c);
  bool ReadFrom(Connection& c);
  int32_t FreeInstance(int32_t wanted, ConnectionId asking) const;

  RelayOptions options_;
  std::ostream& log_;
  std::map<ConnectionId, std::unique_ptr<Connection>> connections_;
  std::map<uint32_t, std::unique_ptr<Wait>> waits_;
  ConnectionId next_id_ = 1;
  uint32_t next_token_ = 0;
};

}  // namespace orncal::notifier
