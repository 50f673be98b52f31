#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Kavelin::RecordingIO {

/// How many first bytes are looked at: the names of a SQLite database's tables are at the end of its first page.
constexpr std::size_t kRecognisedBytes = 4096;

/// Why a file that begins with these bytes is not read as text, and what to do: its format by name, and for formats that a
/// Python library reads, the two lines that write its values as a table. Empty for what may be text.
/// @param first up to kRecognisedBytes; fewer recognise less.  @param path the file, for the lines.
std::string foreignFormat(std::string_view first, const std::string& path);

/// The same of a zip archive with these members: workbooks and NumPy's archives are such.
std::string foreignArchive(const std::vector<std::string>& members, const std::string& path);

}  // namespace Kavelin::RecordingIO
