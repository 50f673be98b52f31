#pragma once

#include <sstream>
#include <string>
#include <vector>

namespace Kavelin::Tests {

/// Reads a table "kind text ! answer ! answer", a row a line but that a line beginning with "!" goes on with
/// the row before it; "\n" in it is a line feed.  @return for each row kind, text and answers.
inline std::vector<std::vector<std::string>> textRows(std::string table) {
    const auto replaceAll = [](std::string& text, const std::string& from, const std::string& to) {
        for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
            text.replace(at, from.size(), to);
    };
    replaceAll(table, "\n!", " !");
    std::vector<std::vector<std::string>> rows;
    std::istringstream lines(table);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) continue;
        replaceAll(line, "\\n", "\n");
        auto& row = rows.emplace_back(1, line.substr(0, line.find(' ')));
        for (std::size_t at = line.find(' '), end = 0; at < line.size();
             at = end + (end < line.size() ? 2 : 0)) {
            end = std::min(line.find(" ! ", at), line.size());
            row.push_back(line.substr(at + 1, end - at - 1));
        }
    }
    return rows;
}

}  // namespace Kavelin::Tests
