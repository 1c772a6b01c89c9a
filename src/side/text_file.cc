#include "side/text_file.h"

#include <charconv>

#include "datetime/helpers.h"
#include "platform/encoding.h"
#include "platform/file_system.h"
#include "store/replace_file.h"

namespace orncal::side {

bool ReadTextLines(const std::string& path, std::vector<std::string>* lines) {
  lines->clear();
  std::string bytes;
  try {
    const platform::FolderLock reading(path, false);
    if (!platform::Fs().ReadFile(path, &bytes).ok()) return false;
  } catch (const std::exception&) {
    return false;  // too large for memory
  }
  const std::string text = platform::Cp1252ToUtf8(bytes);
  size_t start = 0;
  while (start < text.size()) {
    const size_t end = text.find_first_of("\r\n", start);
    if (end == std::string::npos) {
      lines->push_back(text.substr(start));
      break;
    }
    lines->push_back(text.substr(start, end - start));
    start = end + (text[end] == '\r' && end + 1 < text.size() && text[end + 1] == '\n' ? 2 : 1);
  }
  return true;
}

bool WriteTextLines(const std::string& path, const std::vector<std::string>& lines,
                    bool keepBackup) {
  std::string text;
  for (const std::string& line : lines) {
    text += line;
    text += "\r\n";
  }
  return store::ReplaceFile(path, platform::Utf8ToCp1252(text),
                            {.Commit = nullptr, .KeepBackup = keepBackup});
}

std::optional<int32_t> ParseLong(std::string_view text) {
  text = TrimSpaces(text);
  // A sign of its own: from_chars takes a minus but no plus.
  if (!text.empty() && text[0] == '+') {
    text.remove_prefix(1);
    if (!text.empty() && text[0] == '-') return std::nullopt;
  }
  int32_t value = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  if (text.empty() || result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return value;
}

}  // namespace orncal::side
