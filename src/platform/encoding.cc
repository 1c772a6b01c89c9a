#include "platform/encoding.h"

#include <array>
#include <cstdint>

namespace orncal::platform {
namespace {

// Code points of the bytes 0x80..0x9F; the rest of 1252 equals Latin-1.
constexpr std::array<char32_t, 32> kHigh = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,  //
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,  //
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,  //
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

char32_t CodePointOf(unsigned char byte) {
  return byte >= 0x80 && byte < 0xA0 ? kHigh[byte - 0x80] : byte;
}

void AppendUtf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out.push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

char ByteOf(char32_t cp) {
  if (cp < 0x80 || (cp >= 0xA0 && cp <= 0xFF)) return static_cast<char>(cp);
  for (size_t i = 0; i < kHigh.size(); ++i) {
    if (kHigh[i] == cp) return static_cast<char>(0x80 + i);
  }
  return '?';
}

// Decodes one UTF-8 sequence at text[i]; returns its length, or 0 when the
// bytes there are not well-formed UTF-8.
size_t DecodeUtf8(std::string_view text, size_t i, char32_t* cp) {
  auto byte = [&](size_t k) { return static_cast<unsigned char>(text[k]); };
  unsigned char b0 = byte(i);
  size_t len;
  char32_t value;
  if (b0 < 0x80) {
    *cp = b0;
    return 1;
  } else if ((b0 & 0xE0) == 0xC0) {
    len = 2;
    value = b0 & 0x1F;
  } else if ((b0 & 0xF0) == 0xE0) {
    len = 3;
    value = b0 & 0x0F;
  } else if ((b0 & 0xF8) == 0xF0) {
    len = 4;
    value = b0 & 0x07;
  } else {
    return 0;
  }
  if (i + len > text.size()) return 0;
  for (size_t k = 1; k < len; ++k) {
    if ((byte(i + k) & 0xC0) != 0x80) return 0;
    value = (value << 6) | (byte(i + k) & 0x3F);
  }
  static constexpr char32_t kMin[] = {0, 0, 0x80, 0x800, 0x10000};
  if (value < kMin[len] || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return 0;
  *cp = value;
  return len;
}

// The lower-case partner of a capital that Windows-1252 holds, else cp.
char32_t LowerOf(char32_t cp) {
  if ((cp >= 'A' && cp <= 'Z') || (cp >= 0xC0 && cp <= 0xDE && cp != 0xD7)) return cp + 0x20;
  switch (cp) {
    case 0x0152:  // Œ
    case 0x0160:  // Š
    case 0x017D:  // Ž
      return cp + 1;
    case 0x0178:  // Ÿ
      return 0xFF;
    default:
      return cp;
  }
}

}  // namespace

std::string Cp1252ToUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      out.push_back(c);
    } else {
      AppendUtf8(out, CodePointOf(byte));
    }
  }
  return out;
}

std::string Utf8ToCp1252(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    if (static_cast<unsigned char>(text[i]) < 0x80) {
      out.push_back(text[i++]);
      continue;
    }
    char32_t cp;
    size_t len = DecodeUtf8(text, i, &cp);
    if (len == 0) {
      out.push_back('?');
      ++i;
    } else {
      out.push_back(ByteOf(cp));
      i += len;
    }
  }
  return out;
}

std::string LowerCp1252Letters(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    char32_t cp;
    size_t len = DecodeUtf8(text, i, &cp);
    if (len == 0) {
      out.push_back(text[i++]);
      continue;
    }
    char32_t lower = LowerOf(cp);
    if (lower == cp) {
      out.append(text.substr(i, len));
    } else {
      AppendUtf8(out, lower);
    }
    i += len;
  }
  return out;
}

}  // namespace orncal::platform
