// The small text files of the data folder (categor.ini, SpRmdTim.ini):
// Windows-1252 on disk, UTF-8 in memory, lines ended by CR LF.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orncal::side {

// The lines of a text file, as UTF-8. CR LF, a lone CR and a lone LF all
// end a line; a last line without an end counts too. False when the file
// cannot be read (missing, not a regular file, too large).
bool ReadTextLines(const std::string& path, std::vector<std::string>* lines);

// Writes the lines, each ended by CR LF, in Windows-1252 ('?' for what it
// cannot hold), through the same backup discipline as the data files.
// With keepBackup the old file stays as the backup. False on failure (the
// old file is then in place again).
bool WriteTextLines(const std::string& path, const std::vector<std::string>& lines,
                    bool keepBackup);

// A whole number of 32 bits in decimal, with an optional sign and spaces
// around it; nullopt for anything else.
std::optional<int32_t> ParseLong(std::string_view text);

}  // namespace orncal::side
