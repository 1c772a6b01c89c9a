// Texts as orncal prints and checks them: one line per entry, widths in
// characters, and what the data files' code page (Windows-1252) can hold.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orncal::cli {

// Line breaks and other control characters become spaces, so that a text
// stays on its line.
std::string OneLine(std::string_view text);

// The number of characters of a UTF-8 text (its width in a table).
size_t Width(std::string_view text);

// Whether every character of a UTF-8 text has a Windows-1252 byte; the
// library writes '?' for any that has none (and for malformed UTF-8).
bool FitsCp1252(std::string_view text);

// Windows-1252 bytes as UTF-8 (the five unassigned bytes as the C1
// controls of the same value).
std::string Cp1252ToUtf8(std::string_view bytes);

// ASCII letters in lower case.
std::string LowerAscii(std::string_view text);

}  // namespace orncal::cli
