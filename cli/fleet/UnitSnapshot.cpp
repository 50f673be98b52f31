#include "cli/fleet/UnitSnapshot.h"

#include <Poco/Exception.h>

#include <nlohmann/json.hpp>

namespace Kavelin::Cli {

std::string encodeSnapshot(const UnitSnapshot& snapshot) {
    const nlohmann::json head = {{"version", 1},
                                 {"contained", snapshot.contained},
                                 {"streamMade", snapshot.streamMade},
                                 {"part", snapshot.part},
                                 {"marks", snapshot.marks},
                                 {"recipe", snapshot.recipe},
                                 {"bytes", snapshot.state.size()}};
    return head.dump() + "\n" + snapshot.state;
}

UnitSnapshot decodeSnapshot(std::string_view bytes) {
    const std::size_t lineEnd = bytes.find('\n');
    if (lineEnd == std::string_view::npos) throw Poco::DataFormatException("it has no first line");
    try {
        const auto head = nlohmann::json::parse(bytes.substr(0, lineEnd));
        if (head.at("version") != 1)
            throw Poco::DataFormatException("it is of version " + head.at("version").dump() + ", not 1");
        UnitSnapshot snapshot{head.at("contained"), head.at("streamMade"),
                              head.at("part"),      head.at("marks"),
                              head.at("recipe"),    std::string(bytes.substr(lineEnd + 1))};
        if (head.at("bytes") != snapshot.state.size()) throw Poco::DataFormatException("it is cut short");
        return snapshot;
    } catch (const nlohmann::json::exception& error) {
        throw Poco::DataFormatException(std::string("its first line cannot be read: ") + error.what());
    }
}

}  // namespace Kavelin::Cli
