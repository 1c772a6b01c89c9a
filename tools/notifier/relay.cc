#include "relay.h"

#include <algorithm>
#include <limits>

namespace orncal::notifier {

namespace protocol = core::protocol;
using protocol::FrameType;

struct Relay::Connection {
  ConnectionId id = 0;
  std::unique_ptr<platform::Channel> channel;
  int64_t process = 0;
  protocol::FrameReader reader;
  // Frames not yet taken by the peer; the first may be partly written.
  std::deque<std::shared_ptr<const std::string>> out;
  size_t written = 0;  // of the first frame
  size_t unread = 0;   // bytes in `out`, less what was written
  bool registered = false;
  int32_t instance = 0;
  // Let a wait run out: not waited for until it acknowledges something.
  bool stalled = false;
  bool closed = false;
};

struct Relay::Wait {
  ConnectionId origin = 0;
  bool registration = false;
  uint32_t seq = 0;
  std::set<ConnectionId> peers;  // still to answer
  uint32_t missed = 0;
  Clock::time_point deadline;
};

Relay::Relay(RelayOptions options, std::ostream& log) : options_(options), log_(log) {
  // One frame of the largest size must fit whatever the setting.
  options_.queue_bytes =
      std::max(options_.queue_bytes, size_t{protocol::kMaxPayload} + protocol::kHeaderSize);
}

Relay::~Relay() = default;

Relay::ConnectionId Relay::Open(std::unique_ptr<platform::Channel> channel, int64_t process) {
  auto c = std::make_unique<Connection>();
  c->id = next_id_++;
  c->channel = std::move(channel);
  c->process = process;
  const ConnectionId id = c->id;
  connections_.emplace(id, std::move(c));
  return id;
}

void Relay::Drop(Connection& c, const std::string& why) {
  if (c.closed) return;
  c.closed = true;
  log_ << "OrnCalNtf: dropped the connection of process " << c.process << ": " << why << std::endl;
}

void Relay::Received(ConnectionId id, std::string_view bytes) {
  auto it = connections_.find(id);
  if (it == connections_.end() || it->second->closed) return;
  Connection& c = *it->second;
  c.reader.Append(bytes);
  protocol::Frame frame;
  while (!c.closed && c.reader.Next(&frame))
    Frame(c, frame);
  if (c.reader.Broken()) Drop(c, c.reader.Problem());
}

void Relay::Frame(Connection& c, const protocol::Frame& frame) {
  protocol::Decoded d;
  std::string problem;
  if (!protocol::DecodeFrame(frame, protocol::Sender::kCalendar, &d, &problem)) {
    return Drop(c, problem);
  }
  switch (d.type) {
    case FrameType::kRegister:
      return Register(c, d);
    case FrameType::kNotify:
      if (!c.registered) return Drop(c, "a message before the registration");
      return Notify(c, d);
    case FrameType::kAck:
      return Acknowledge(c, d.number);
    default:
      return Drop(c, "a frame of the notifier's");
  }
}

int32_t Relay::FreeInstance(int32_t wanted, ConnectionId asking) const {
  auto taken = [&](int32_t n) {
    for (const auto& [id, c] : connections_) {
      if (id != asking && c->registered && !c->closed && c->instance == n) return true;
    }
    return false;
  };
  int32_t n = wanted;
  while (taken(n))
    n = n == std::numeric_limits<int32_t>::max() ? 0 : n + 1;
  return n;
}

void Relay::Register(Connection& c, const protocol::Decoded& d) {
  // A process registers each of its calendars under one number.
  if (!c.registered) {
    c.instance = FreeInstance(d.instance, c.id);
    c.registered = true;
  }
  // The others write what a newcomer on their data folder reads.
  Pass(c, protocol::EncodeMessage(protocol::Kind::kNewLoaded, c.instance, d.path), true, 0);
}

void Relay::Notify(Connection& c, const protocol::Decoded& d) {
  Pass(c, d.message_bytes, false, d.number);
}

void Relay::Pass(Connection& from, std::string_view message, bool registration, uint32_t seq) {
  const bool answer = registration || seq != 0;
  uint32_t token = 0;
  std::unique_ptr<Wait> wait;
  if (answer) {
    if (++next_token_ == 0) ++next_token_;
    token = next_token_;
    wait = std::make_unique<Wait>();
    wait->origin = from.id;
    wait->registration = registration;
    wait->seq = seq;
    wait->deadline = Clock::now() + std::chrono::milliseconds(options_.wait_ms);
  }
  const auto frame = std::make_shared<const std::string>(protocol::EncodeCallback(token, message));
  for (const auto& [id, peer] : connections_) {
    if (id == from.id || !peer->registered || peer->closed) continue;
    Enqueue(*peer, frame);
    if (wait && !peer->stalled && !peer->closed) wait->peers.insert(id);
  }
  if (!wait) return;
  waits_.emplace(token, std::move(wait));
  if (waits_[token]->peers.empty()) Finish(token);
}

void Relay::Acknowledge(Connection& c, uint32_t token) {
  c.stalled = false;
  auto it = waits_.find(token);
  if (it == waits_.end()) return;  // answered late, or a stranger's number
  it->second->peers.erase(c.id);
  if (it->second->peers.empty()) Finish(token);
}

void Relay::Finish(uint32_t token) {
  auto it = waits_.find(token);
  if (it == waits_.end()) return;
  const std::unique_ptr<Wait> wait = std::move(it->second);
  waits_.erase(it);
  auto origin = connections_.find(wait->origin);
  if (origin == connections_.end() || origin->second->closed) return;
  Connection& c = *origin->second;
  std::string reply = wait->registration ? protocol::EncodeRegistered(
                                               c.instance, static_cast<uint32_t>(options_.wait_ms))
                                         : protocol::EncodeDone(wait->seq, wait->missed);
  Enqueue(c, std::make_shared<const std::string>(std::move(reply)));
}

void Relay::Expire(Clock::time_point now) {
  std::vector<uint32_t> due;
  for (const auto& [token, wait] : waits_) {
    if (wait->deadline <= now) due.push_back(token);
  }
  for (uint32_t token : due) {
    auto it = waits_.find(token);
    if (it == waits_.end()) continue;
    for (ConnectionId id : it->second->peers) {
      auto peer = connections_.find(id);
      if (peer != connections_.end()) peer->second->stalled = true;
      ++it->second->missed;
    }
    it->second->peers.clear();
    Finish(token);
  }
}

Relay::Clock::time_point Relay::NextDeadline() const {
  Clock::time_point next = Clock::time_point::max();
  for (const auto& [token, wait] : waits_)
    next = std::min(next, wait->deadline);
  return next;
}

void Relay::Enqueue(Connection& c, std::shared_ptr<const std::string> frame) {
  if (c.closed) return;
  if (c.unread + frame->size() > options_.queue_bytes) {
    return Drop(c, "it does not read what it is sent");
  }
  c.unread += frame->size();
  c.out.push_back(std::move(frame));
}

void Relay::Sweep() {
  // Dropping a connection ends the waits on it, whose answers may in turn
  // overflow another's queue: until nothing more is dropped.
  while (true) {
    std::vector<ConnectionId> gone;
    for (const auto& [id, c] : connections_) {
      if (c->closed) gone.push_back(id);
    }
    if (gone.empty()) return;
    for (ConnectionId id : gone)
      connections_.erase(id);
    std::vector<uint32_t> answered;
    for (auto it = waits_.begin(); it != waits_.end();) {
      if (std::find(gone.begin(), gone.end(), it->second->origin) != gone.end()) {
        it = waits_.erase(it);
        continue;
      }
      for (ConnectionId id : gone)
        it->second->peers.erase(id);
      if (it->second->peers.empty()) answered.push_back(it->first);
      ++it;
    }
    for (uint32_t token : answered)
      Finish(token);
  }
}

void Relay::Flush(Connection& c) {
  while (!c.closed && c.channel && !c.out.empty()) {
    const std::string& front = *c.out.front();
    size_t written = 0;
    const platform::Io io = c.channel->Send(std::string_view(front).substr(c.written), &written);
    if (io == platform::Io::kWouldBlock) return;
    if (io != platform::Io::kDone) {
      c.closed = true;  // it went away
      return;
    }
    c.written += written;
    c.unread -= written;
    if (c.written == front.size()) {
      c.out.pop_front();
      c.written = 0;
    }
  }
}

bool Relay::ReadFrom(Connection& c) {
  // At most a few blocks per turn, so that one busy sender does not keep
  // the others waiting.
  char buffer[65536];
  for (int turn = 0; turn < 16 && !c.closed; ++turn) {
    size_t received = 0;
    const platform::Io io = c.channel->Receive(buffer, sizeof buffer, &received);
    if (io == platform::Io::kWouldBlock) return true;
    if (io != platform::Io::kDone) {
      if (io == platform::Io::kClosed && c.reader.Partial()) Drop(c, "it left inside a frame");
      c.closed = true;
      return false;
    }
    Received(c.id, std::string_view(buffer, received));
  }
  return !c.closed;
}

void Relay::Run(platform::Listener& listener, const volatile bool& stop) {
  Clock::time_point alone_since = Clock::now();
  std::vector<platform::PollItem> items;
  std::vector<ConnectionId> order;
  while (!stop) {
    const Clock::time_point now = Clock::now();
    if (connections_.empty()) {
      if (now - alone_since >= std::chrono::milliseconds(options_.linger_ms)) return;
    } else {
      alone_since = now;
    }
    Clock::time_point until = NextDeadline();
    if (connections_.empty()) {
      until = std::min(until, alone_since + std::chrono::milliseconds(options_.linger_ms));
    }
    int timeout = -1;
    if (until != Clock::time_point::max()) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - now);
      timeout = static_cast<int>(std::clamp<int64_t>(left.count() + 1, 0, 60000));
    }

    items.clear();
    order.clear();
    items.push_back({.descriptor = listener.Descriptor()});
    for (const auto& [id, c] : connections_) {
      items.push_back({.descriptor = c->channel->Descriptor(), .want_write = !c->out.empty()});
      order.push_back(id);
    }
    if (!platform::PollItems(items, timeout)) {
      log_ << "OrnCalNtf: cannot wait for connections" << std::endl;
      return;
    }

    if (items[0].readable) {
      for (int i = 0; i < 64; ++i) {
        std::unique_ptr<platform::Channel> channel;
        std::string refused;
        const platform::Io io = listener.Accept(&channel, &refused);
        if (io != platform::Io::kDone) break;
        if (!channel) {
          log_ << "OrnCalNtf: refused " << refused << std::endl;
          continue;
        }
        if (connections_.size() >= options_.max_connections) {
          log_ << "OrnCalNtf: refused process " << channel->PeerProcess()
               << ": too many connections" << std::endl;
          continue;
        }
        const int64_t process = channel->PeerProcess();
        Open(std::move(channel), process);
      }
    }
    for (size_t i = 0; i < order.size(); ++i) {
      auto it = connections_.find(order[i]);
      if (it == connections_.end()) continue;
      if (items[i + 1].readable) ReadFrom(*it->second);
    }
    Expire(Clock::now());
    for (const auto& [id, c] : connections_)
      Flush(*c);
    Sweep();
  }
}

}  // namespace orncal::notifier
