// Builds month-file bytes field by field, independently of the library's
// writer, for golden-byte tests and for files a test puts on disk.
#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>

namespace orncal::testing {

class MonthBytes {
 public:
  MonthBytes& Byte(uint8_t value) {
    bytes_.push_back(static_cast<char>(value));
    return *this;
  }
  MonthBytes& Long(int32_t value) {
    auto v = static_cast<uint32_t>(value);
    for (int i = 0; i < 4; ++i)
      Byte(static_cast<uint8_t>(v >> (8 * i)));
    return *this;
  }
  MonthBytes& Date(double value) {
    auto v = std::bit_cast<uint64_t>(value);
    for (int i = 0; i < 8; ++i)
      Byte(static_cast<uint8_t>(v >> (8 * i)));
    return *this;
  }
  // A counted text; `cp1252` holds the bytes as they stand in the file.
  MonthBytes& Text(std::string_view cp1252) {
    Long(static_cast<int32_t>(cp1252.size()));
    bytes_.append(cp1252);
    return *this;
  }

  MonthBytes& Raw(std::string_view bytes) {
    bytes_.append(bytes);
    return *this;
  }

  // A real appointment of version 10003 without tags and with a single
  // period, the texts ASCII.
  MonthBytes& Real(int32_t id, std::string_view title, double start, double end) {
    Byte(1).Long(id).Text(title).Text("").Text("").Byte(0).Byte(0).Long(0);
    Long(0).Long(0).Text("");
    return Byte(1).Date(start).Date(end);
  }
  MonthBytes& Link(int32_t id, int32_t destinationFile, int32_t destinationId) {
    return Byte(2).Long(id).Long(destinationFile).Long(destinationId);
  }

  const std::string& str() const { return bytes_; }

 private:
  std::string bytes_;
};

}  // namespace orncal::testing
