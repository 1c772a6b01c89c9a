#include "text.h"

namespace orncal::cli {
namespace {

// The code points of the bytes 0x80 to 0x9F; the unassigned ones stand for
// themselves.
constexpr char32_t kHighControls[32] = {
    0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};

bool HasCp1252Byte(char32_t cp) {
  if (cp < 0x80 || (cp >= 0xA0 && cp <= 0xFF)) return true;
  for (char32_t c : kHighControls)
    if (c == cp) return true;
  return false;
}

// The code point starting at text[i] and its length, or length 0 for a
// malformed sequence (overlong forms, surrogates and values beyond U+10FFFF
// included).
size_t Decode(std::string_view text, size_t i, char32_t* cp) {
  const auto byte = [&](size_t k) { return static_cast<unsigned char>(text[k]); };
  const unsigned char lead = byte(i);
  size_t length = lead < 0x80                   ? 1
                  : lead >= 0xC2 && lead < 0xE0 ? 2
                  : lead >= 0xE0 && lead < 0xF0 ? 3
                  : lead >= 0xF0 && lead < 0xF5 ? 4
                                                : 0;
  if (length == 0 || i + length > text.size()) return 0;
  char32_t value = length == 1 ? lead : lead & (0x7F >> length);
  for (size_t k = 1; k < length; ++k) {
    if ((byte(i + k) & 0xC0) != 0x80) return 0;
    value = (value << 6) | (byte(i + k) & 0x3F);
  }
  static constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (value < kSmallest[length] || value > 0x10FFFF || (value >= 0xD800 && value < 0xE000)) {
    return 0;
  }
  *cp = value;
  return length;
}

void AppendUtf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

}  // namespace

std::string OneLine(std::string_view text) {
  std::string line(text);
  for (char& c : line)
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
  return line;
}

size_t Width(std::string_view text) {
  size_t width = 0;
  for (char c : text)
    width += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  return width;
}

bool FitsCp1252(std::string_view text) {
  for (size_t i = 0; i < text.size();) {
    char32_t cp = 0;
    const size_t length = Decode(text, i, &cp);
    if (length == 0 || !HasCp1252Byte(cp)) return false;
    i += length;
  }
  return true;
}

std::string Cp1252ToUtf8(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size());
  for (char c : bytes) {
    const auto b = static_cast<unsigned char>(c);
    AppendUtf8(out, b >= 0x80 && b < 0xA0 ? kHighControls[b - 0x80] : char32_t{b});
  }
  return out;
}

std::string LowerAscii(std::string_view text) {
  std::string lower(text);
  for (char& c : lower)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return lower;
}

}  // namespace orncal::cli
