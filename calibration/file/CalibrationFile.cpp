#include "calibration/file/CalibrationFile.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>

#include "calibration/file/FieldReader.h"
#include "calibration/file/FieldWriter.h"

namespace Kavelin::Calibration {

namespace {

constexpr std::size_t kLargestFile = 1 << 20;  // bytes; a calibration needs some 3000
constexpr int kDeepestNesting = 16;            // a calibration needs 5

/// Refuses what the parser would take in silence: a key that is given twice, and a text that is nested without end.
class KeyWatch {
public:
    explicit KeyWatch(const std::string& name) : name_(name) {}

    bool operator()(int depth, Json::parse_event_t event, Json& parsed) {
        if (depth > kDeepestNesting)
            throw Poco::DataFormatException(fmt::format(
                "{}: nested deeper than {} levels; a calibration needs 5", name_, kDeepestNesting));
        if (event == Json::parse_event_t::object_start) keys_.emplace_back();
        if (event == Json::parse_event_t::object_end) keys_.pop_back();
        if (event == Json::parse_event_t::key && !keys_.back().insert(parsed.get<std::string>()).second)
            throw Poco::DataFormatException(
                fmt::format("{}: key \"{}\" stands twice in an object", name_, parsed.get<std::string>()));
        return true;
    }

private:
    const std::string& name_;
    std::vector<std::set<std::string>> keys_;  // of the objects that are open
};

/// The parser's message without its class: "parse error at line 1, column 3: ...".
std::string shortened(std::string message) {
    const auto end = message.find("] ");
    if (end != std::string::npos) message.erase(0, end + 2);
    const auto lastRead = message.find("; last read: '");
    if (lastRead != std::string::npos) message.erase(lastRead);
    return message;
}

Json parsed(std::string_view text, const std::string& name) {
    try {
        // The watch keeps what it has seen in between: by reference.
        KeyWatch watch(name);
        return Json::parse(text, [&watch](int depth, Json::parse_event_t event, Json& value) {
            return watch(depth, event, value);
        });
    } catch (const Json::exception& error) {
        throw Poco::DataFormatException(name + ": not JSON: " + shortened(error.what()));
    }
}

void requireFormat(const PlacedJson& top) {
    const Json& json = top.json;
    if (!json.is_object() || !json.contains("format") || json["format"] != kFileFormat)
        throw Poco::DataFormatException(
            fmt::format("{}not a calibration: \"format\" with the value \"{}\" is missing; kavelin calibrate "
                        "writes one",
                        top.place, kFileFormat));
    if (!json.contains("version") || json["version"] != kFileVersion)
        throw Poco::DataFormatException(fmt::format(
            "{}version: {} is expected, which this program reads; this is {}", top.place, kFileVersion,
            json.contains("version") ? json["version"].dump(-1, ' ', false, Json::error_handler_t::replace)
                                     : "missing"));
}

}  // namespace

std::string calibrationText(const Calibration& calibration) {
    Calibration copy = calibration;  // what describes the fields serves the reader too, which fills them
    FieldWriter writer;
    writer.object["format"] = kFileFormat;
    writer.object["version"] = kFileVersion;
    if (!copy.schema.empty()) writer.object["$schema"] = copy.schema;
    if (!copy.description.empty()) writer.object["description"] = copy.description;
    describe(writer, copy);
    return textOf(writer.object);
}

Calibration parseCalibration(std::string_view text, const std::string& name) {
    const Json json = parsed(text, name);
    const PlacedJson top{json, name + ": "};
    requireFormat(top);
    FieldReader reader(top);
    for (const char* key : {"format", "version"}) reader.pass(key);
    Calibration calibration;
    reader("$schema", calibration.schema);
    reader("description", calibration.description);
    describe(reader, calibration);
    reader.refuseUnknown();
    const bool isEmpty =
        !calibration.magnetic && !calibration.inertial && !calibration.noise && !calibration.mount;
    if (isEmpty) top.refuse("one of magnetic, inertial, noise and mount");
    return calibration;
}

Calibration readCalibration(const std::string& path) {
    std::error_code failure;
    if (std::filesystem::is_directory(path, failure))
        throw Poco::OpenFileException("cannot read '" + path + "'", std::string("it is a folder"));
    errno = 0;
    std::ifstream in(path, std::ios::binary);
    if (!in && errno == ENOENT) throw Poco::FileNotFoundException("no file '" + path + "'");
    if (!in) throw Poco::OpenFileException("cannot open '" + path + "'", std::string(std::strerror(errno)));
    std::string text(kLargestFile + 1, '\0');
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(in.gcount()));
    if (text.size() > kLargestFile)
        throw Poco::DataFormatException(path + ": longer than 1 MiB: not a calibration, which has some 3 kB");
    return parseCalibration(text, path);
}

}  // namespace Kavelin::Calibration
