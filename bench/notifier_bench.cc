// The relayed round trip through a real notifier over real sockets: one
// calendar sends a message it waits on, the notifier passes it to every
// peer, each peer answers, and the notifier tells the sender. Peers are
// threads of this process, each on a connection of its own, answering at
// once. Reported: the median and the 99th percentile of the round trip.
#include <benchmark/benchmark.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "core/notifier_protocol.h"
#include "platform/channel.h"

namespace orncal {
namespace {

namespace protocol = core::protocol;
using Clock = std::chrono::steady_clock;

// A notifier of its own, in a runtime folder of its own, for the whole run.
class Notifier {
 public:
  Notifier() {
    folder_ =
        std::filesystem::temp_directory_path() / ("orncal-bench-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder_);
    ::setenv("XDG_RUNTIME_DIR", folder_.c_str(), 1);
    pid_ = ::fork();
    if (pid_ == 0) {
      ::execl(ORNCAL_NOTIFIER_PROGRAM, ORNCAL_NOTIFIER_PROGRAM, "--linger-ms", "60000", nullptr);
      ::_exit(127);
    }
    if (!platform::FindNotifierEndpoint(&endpoint_).ok()) throw std::runtime_error("no endpoint");
  }
  ~Notifier() {
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
    std::filesystem::remove_all(folder_);
  }
  const std::string& socket() const { return endpoint_.socket; }

 private:
  std::filesystem::path folder_;
  platform::NotifierEndpoint endpoint_;
  pid_t pid_ = -1;
};

Notifier& TheNotifier() {
  static Notifier notifier;
  return notifier;
}

// A registered connection that reads frames.
class Connection {
 public:
  explicit Connection(int32_t instance) {
    const auto give_up = Clock::now() + std::chrono::seconds(10);
    while (!platform::ConnectChannel(TheNotifier().socket(), &channel_).ok()) {
      if (Clock::now() > give_up) throw std::runtime_error("the notifier does not listen");
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    Send(protocol::EncodeRegister(instance, "/bench"));
    while (Next().type != protocol::FrameType::kRegistered) {
    }
  }

  void Send(const std::string& bytes) {
    std::string_view rest(bytes);
    while (!rest.empty()) {
      size_t written = 0;
      if (channel_->Send(rest, &written) == platform::Io::kWouldBlock) {
        channel_->Wait(true, 100);
        continue;
      }
      rest.remove_prefix(written);
    }
  }

  // The next frame (answering the callbacks that wait for an answer);
  // a frame of type kDone with number 0 when `stop` was set meanwhile.
  protocol::Decoded Next(const std::atomic<bool>* stop = nullptr) {
    protocol::Frame frame;
    while (!reader_.Next(&frame)) {
      if (stop && stop->load()) {
        protocol::Decoded none;
        none.type = protocol::FrameType::kDone;
        return none;
      }
      channel_->Wait(false, 50);
      char buffer[65536];
      size_t received = 0;
      const platform::Io io = channel_->Receive(buffer, sizeof buffer, &received);
      if (io == platform::Io::kClosed || io == platform::Io::kFailed) {
        throw std::runtime_error("the notifier left");
      }
      reader_.Append(std::string_view(buffer, received));
    }
    last_ = std::move(frame);
    protocol::Decoded decoded;
    protocol::DecodeFrame(last_, protocol::Sender::kNotifier, &decoded, nullptr);
    if (decoded.type == protocol::FrameType::kCallback && decoded.number != 0) {
      Send(protocol::EncodeAck(decoded.number));
    }
    return decoded;
  }

 private:
  std::unique_ptr<platform::Channel> channel_;
  protocol::FrameReader reader_;
  protocol::Frame last_;  // what the last Decoded refers to
};

void BM_RelayedRoundTrip(benchmark::State& state) {
  const int peers = static_cast<int>(state.range(0));
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  std::atomic<int> ready{0};
  for (int i = 0; i < peers; ++i) {
    threads.emplace_back([&, i] {
      Connection peer(100 + i);
      ++ready;
      while (!stop.load())
        peer.Next(&stop);
    });
  }
  Connection sender(1);
  while (ready.load() < peers)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));

  const std::string message = protocol::EncodeMessage(protocol::Kind::kFlush, 1, "/bench");
  std::vector<double> micros;
  uint32_t seq = 0;
  for (auto _ : state) {
    const auto start = Clock::now();
    sender.Send(protocol::EncodeNotify(++seq, message));
    while (true) {
      const protocol::Decoded d = sender.Next();
      if (d.type == protocol::FrameType::kDone && d.number == seq) break;
    }
    micros.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
  }
  stop = true;
  for (std::thread& t : threads)
    t.join();
  std::sort(micros.begin(), micros.end());
  if (!micros.empty()) {
    state.counters["median_us"] = micros[micros.size() / 2];
    state.counters["p99_us"] = micros[micros.size() * 99 / 100];
  }
}
BENCHMARK(BM_RelayedRoundTrip)->Arg(1)->Arg(4)->Arg(16)->UseRealTime()->MinTime(2.0);

}  // namespace
}  // namespace orncal
