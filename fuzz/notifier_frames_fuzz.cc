// The notifier's input: the bytes of a connection, cut into frames and
// decoded by the relay's per-connection parser, as a calendar would send
// them, and by the library's decoder, as the notifier would. Nothing may
// crash, hang or hold more than one frame; a broken stream ends its
// connection only.
//
// The first byte picks the sizes of the pieces the rest arrives in.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

#include "core/notifier_protocol.h"
#include "relay.h"

namespace protocol = orncal::core::protocol;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const size_t piece = 1 + data[0] % 64;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);

  std::ostringstream log;
  orncal::notifier::Relay relay({}, log);
  const auto fuzzed = relay.Open(nullptr, 1);
  const auto other = relay.Open(nullptr, 2);
  relay.Received(other, protocol::EncodeRegister(5, "/data"));
  for (size_t at = 0; at < bytes.size(); at += piece)
    relay.Received(fuzzed, bytes.substr(at, piece));
  relay.Expire(orncal::notifier::Relay::Clock::time_point::max());
  relay.Sweep();

  // The same bytes as the notifier's answers reaching a calendar.
  protocol::FrameReader reader;
  protocol::Frame frame;
  for (size_t at = 0; at < bytes.size(); at += piece) {
    reader.Append(bytes.substr(at, piece));
    while (reader.Next(&frame)) {
      protocol::Decoded decoded;
      protocol::DecodeFrame(frame, protocol::Sender::kNotifier, &decoded, nullptr);
    }
  }
  return 0;
}
