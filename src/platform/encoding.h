// Texts in the data files are Windows-1252; texts in the C++ interface are
// UTF-8. Every 1252 byte has a code point of its own (the five unassigned
// bytes map to the C1 controls of the same value), so file texts survive a
// round trip unchanged. What 1252 cannot hold is written '?'.
#pragma once

#include <string>
#include <string_view>

namespace orncal::platform {

std::string Cp1252ToUtf8(std::string_view text);
std::string Utf8ToCp1252(std::string_view text);

// Lower-cases the letters that Windows-1252 has in both cases (A-Z, the
// accented Latin-1 capitals, Š, Œ, Ž, Ÿ) in a UTF-8 text, as the system's
// ANSI case mapping does; every other character, and bytes that are not
// well-formed UTF-8, stay as they are.
std::string LowerCp1252Letters(std::string_view text);

}  // namespace orncal::platform
