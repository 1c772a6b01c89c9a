// The fields of the binary data files (month files and the task file), read
// and written little-endian without padding:
//
//   Byte    1 byte
//   Flag    1 byte, written 255 for true, read true when not 0
//   Long    4 bytes, signed
//   Date    8-byte IEEE double, an OLE date
//   Text    Long count, then count bytes of Windows-1252 (nothing when <= 0)
//
// Texts are UTF-8 on the C++ side.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>

#include "orncalendar/error.h"
#include "orncalendar/fwd.h"
#include "platform/encoding.h"

namespace orncal::store {

// Bytes that cannot be read as what they should be; `what` says where.
struct Malformed {
  std::string what;
};

// The length of the leading run of ASCII bytes, which read the same in
// Windows-1252 and UTF-8 and are copied as they are.
inline size_t AsciiPrefix(const char* p, size_t n) {
  size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    uint64_t word;
    std::memcpy(&word, p + i, 8);
    if (word & 0x8080808080808080ULL) break;
  }
  while (i < n && !(static_cast<unsigned char>(p[i]) & 0x80))
    ++i;
  return i;
}

// Reads fields from the front of a byte string; throws Malformed when a
// field reaches beyond the end.
class FieldReader {
 public:
  explicit FieldReader(std::string_view bytes)
      : begin_(bytes.data()), p_(bytes.data()), end_(bytes.data() + bytes.size()) {}

  bool AtEnd() const { return p_ == end_; }
  size_t Offset() const { return static_cast<size_t>(p_ - begin_); }
  size_t Remaining() const { return static_cast<size_t>(end_ - p_); }

  uint8_t Byte() {
    Need(1);
    return static_cast<uint8_t>(*p_++);
  }

  bool Flag() { return Byte() != 0; }

  int32_t Long() {
    Need(4);
    uint32_t v = 0;
    for (int i = 3; i >= 0; --i)
      v = (v << 8) | static_cast<uint8_t>(p_[i]);
    p_ += 4;
    return static_cast<int32_t>(v);
  }

  Date Double() {
    Need(8);
    uint64_t v = 0;
    for (int i = 7; i >= 0; --i)
      v = (v << 8) | static_cast<uint8_t>(p_[i]);
    p_ += 8;
    return std::bit_cast<Date>(v);
  }

  // A length-prefixed Windows-1252 text, as UTF-8.
  std::string Text() {
    const size_t at = Offset();
    const int32_t n = Long();
    if (n <= 0) return {};
    if (static_cast<size_t>(n) > Remaining()) {
      throw Malformed{"a text of " + std::to_string(n) + " bytes at byte " + std::to_string(at) +
                      " reaches beyond the end of the data"};
    }
    const char* text = p_;
    p_ += n;
    const auto size = static_cast<size_t>(n);
    const size_t ascii = AsciiPrefix(text, size);
    std::string utf8(text, ascii);
    if (ascii < size) utf8 += platform::Cp1252ToUtf8(std::string_view(text + ascii, size - ascii));
    return utf8;
  }

 private:
  void Need(size_t n) {
    if (Remaining() < n) {
      throw Malformed{"the data ends in the middle of a field at byte " + std::to_string(Offset())};
    }
  }

  const char* begin_;
  const char* p_;
  const char* end_;
};

// Appends fields to a byte string.
class FieldWriter {
 public:
  explicit FieldWriter(std::string& out) : out_(out) {}

  void Byte(uint8_t value) { out_.push_back(static_cast<char>(value)); }
  void Flag(bool value) { Byte(value ? 0xFF : 0); }

  void Long(int32_t value) {
    const auto v = static_cast<uint32_t>(value);
    const char bytes[4] = {static_cast<char>(v), static_cast<char>(v >> 8),
                           static_cast<char>(v >> 16), static_cast<char>(v >> 24)};
    out_.append(bytes, 4);
  }

  void Double(Date value) {
    const auto v = std::bit_cast<uint64_t>(value);
    char bytes[8];
    for (int i = 0; i < 8; ++i)
      bytes[i] = static_cast<char>(v >> (8 * i));
    out_.append(bytes, 8);
  }

  // A UTF-8 text as a counted Windows-1252 text ('?' for what 1252 cannot
  // hold). Error 6 for a text beyond 2 GB.
  void Text(const std::string& utf8) {
    const size_t ascii = AsciiPrefix(utf8.data(), utf8.size());
    if (ascii == utf8.size()) return Counted(utf8);
    std::string cp1252(utf8, 0, ascii);
    cp1252 += platform::Utf8ToCp1252(std::string_view(utf8).substr(ascii));
    Counted(cp1252);
  }

 private:
  void Counted(std::string_view text) {
    if (text.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
      throw Error(ErrorNumber::kOverflow);
    }
    Long(static_cast<int32_t>(text.size()));
    out_.append(text);
  }

  std::string& out_;
};

}  // namespace orncal::store
