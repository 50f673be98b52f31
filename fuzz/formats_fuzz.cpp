#include <Poco/Exception.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

#include "fuzz/SoundRows.h"
#include "io/formats/OpenRecording.h"

namespace {

using namespace Kavelin::RecordingIO;

/// Files in memory.
class MemoryTree : public FileTree {
public:
    /// "==== NAME\n" begins a file; without any, all bytes are one.
    explicit MemoryTree(std::string_view bytes) {
        const std::string_view mark = "==== ";
        std::string name = "rec";
        for (bool more = true; more;) {
            const std::size_t end = std::min(bytes.find(mark), bytes.size());
            if (end > 0) texts_.emplace(name, bytes.substr(0, end));
            more = end < bytes.size();
            bytes.remove_prefix(std::min(end + mark.size(), bytes.size()));
            const std::size_t line = std::min(bytes.find('\n'), bytes.size());
            name = bytes.substr(0, line);
            bytes.remove_prefix(std::min(line + 1, bytes.size()));
        }
        for (const auto& [file, text] : texts_) files_.push_back({file, text.size()});
    }
    std::string pathOf(const std::string& name) const override { return "fuzz/" + name; }
    bool isSingleFile() const override { return files_.size() == 1; }

private:
    std::unique_ptr<ByteSource> openFile(const std::string& name) const override {
        return memorySource(texts_.at(name));
    }

    std::map<std::string, std::string_view> texts_;
};

}  // namespace

/// The bytes are files of a folder; each of its sensors is read.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const MemoryTree tree({reinterpret_cast<const char*>(data), size});
    if (tree.files().empty()) return 0;
    OpenOptions options;
    options.rate = size % 2 == 0 ? 0.0 : 100.0;
    try {
        std::vector<std::string> sensors = sensorsOf(tree, "fuzz", options);
        if (sensors.empty()) sensors.emplace_back();
        for (const std::string& sensor : sensors) {
            options.sensor = sensor;
            requireSound(*openRecording(tree, "fuzz", options));
        }
    } catch (const Poco::DataFormatException&) {
        // What cannot be used must be refused, and nothing else may happen.
    } catch (const Poco::ReadFileException&) {
        // A damaged gzip file.
    }
    return 0;
}
