#include "datetime/helpers.h"

#include <cmath>

#include "orncalendar/error.h"

namespace orncal {

int32_t RoundUp(double value) {
  double up = -std::floor(-value);
  if (!(up >= -2147483648.0 && up <= 2147483647.0)) throw Error(ErrorNumber::kOverflow);
  return static_cast<int32_t>(up);
}

int32_t RoundUpDate(Date date) { return RoundUp(date); }

bool IsDateInPeriod(Date date, const DateTimeNormal& period) {
  return period.StartDateTime() <= date && date < period.EndDateTime();
}

bool IsDateInPeriods(Date date, const DateTimeNormal& first, const DateTimeNormal& second) {
  return IsDateInPeriod(date, first) && IsDateInPeriod(date, second);
}

std::string_view TrimSpaces(std::string_view text) {
  size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  size_t last = text.find_last_not_of(' ');
  return text.substr(first, last - first + 1);
}

std::string SplitFirst(std::string_view text, char separator, std::string* rest) {
  size_t at = text.find(separator);
  if (at == std::string_view::npos) {
    rest->clear();
    return std::string(TrimSpaces(text));
  }
  *rest = std::string(TrimSpaces(text.substr(at + 1)));
  return std::string(TrimSpaces(text.substr(0, at)));
}

std::string CutAtNull(std::string_view text) {
  size_t at = text.find('\0');
  if (at == std::string_view::npos) throw Error(ErrorNumber::kInvalidProcedureCall);
  return std::string(text.substr(0, at));
}

std::string LowerCase(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    auto b = static_cast<unsigned char>(text[i]);
    if (b >= 'A' && b <= 'Z') {
      out.push_back(static_cast<char>(b + 32));
    } else if (b == 0xC3 && i + 1 < text.size()) {
      // U+00C0..U+00DE (but not U+00D7) lower to U+00E0..U+00FE.
      auto c = static_cast<unsigned char>(text[++i]);
      if (c >= 0x80 && c <= 0x9E && c != 0x97) c = static_cast<unsigned char>(c + 0x20);
      out.push_back(static_cast<char>(b));
      out.push_back(static_cast<char>(c));
    } else if (b == 0xC5 && i + 1 < text.size()) {
      // Š U+0160, Œ U+0152, Ž U+017D, Ÿ U+0178.
      auto c = static_cast<unsigned char>(text[++i]);
      if (c == 0xA0 || c == 0x92 || c == 0xBD) {
        c = static_cast<unsigned char>(c + 1);
      } else if (c == 0xB8) {
        out += "\xC3\xBF";  // ÿ
        continue;
      }
      out.push_back(static_cast<char>(b));
      out.push_back(static_cast<char>(c));
    } else {
      out.push_back(static_cast<char>(b));
    }
  }
  return out;
}

}  // namespace orncal
