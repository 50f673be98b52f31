#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Kavelin::Cli {

/// Where in a text something stands. Lines and columns count from 1, columns in characters, not bytes.
struct Place {
    int line = 0;  ///< 0: it does not stand in the file
    int column = 0;
    std::string option;  ///< the command-line option that it came from instead, as the user wrote it
};

/// One thing wrong with a layout: where it stands, what is wrong and what would be right.
struct Mistake {
    Place place;
    std::string text;
};

using Mistakes = std::vector<Mistake>;

/// @return "walk.json:12:7: text", or "--set a:b=1: text" for what came from the command line.
std::string toText(const Mistake& mistake, const std::string& fileName);

/// @return the text between double quotes, as messages name what the user wrote.
inline std::string inQuotes(std::string_view text) { return "\"" + std::string(text) + "\""; }

/// @return "1 mistake", "3 mistakes".
std::string countText(const Mistakes& mistakes);

/// Orders by place in the file; what came from the command line goes last. Equal places keep their order.
void sortByPlace(Mistakes& mistakes);

}  // namespace Kavelin::Cli
