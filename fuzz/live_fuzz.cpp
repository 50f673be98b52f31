#include <Poco/Exception.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "fuzz/SoundRows.h"
#include "io/files/LiveNotes.h"
#include "io/files/LiveSource.h"
#include "io/formats/OpenRecording.h"

namespace {

using namespace Kavelin::RecordingIO;

constexpr char kPiece = '\x01',
               kLoss = '\x02';  // end a piece of the bytes; the latter loses the connection too

/// A port through which the bytes come piece by piece. A lost connection is back at once.
class FuzzedPort : public LivePort {
public:
    FuzzedPort(std::string_view bytes, unsigned choice) : bytes_(bytes), choice_(choice) {}
    ~FuzzedPort() override { ::close(ready_); }

    std::string name() const override { return "udp://fuzz:1"; }
    bool bringsWholeLines() const override { return choice_ & 1; }
    bool beginsMidLine() const override { return choice_ & 2; }
    std::string hintAboutRubbish() const override { return choice_ & 4 ? "is it the rate in baud?" : ""; }
    int descriptor() const override { return ready_; }
    Received receive(char* into, std::size_t size) override {
        if (isLost_ || bytes_.empty()) {
            if (bytes_.empty()) end();
            return {isLost_ ? Received::Kind::kLoss : Received::Kind::kNothing, 0};
        }
        const std::size_t mark = bytes_.find_first_of("\x01\x02");
        const std::size_t count = std::min({mark, bytes_.size(), size});
        std::memcpy(into, bytes_.data(), count);
        bytes_.remove_prefix(count);
        if (count == mark) {
            isLost_ = bytes_.front() == kLoss;
            bytes_.remove_prefix(1);
        }
        return {count > 0 ? Received::Kind::kBytes : Received::Kind::kNothing, count};
    }
    bool reopen(const CloseEvent&) override {
        isLost_ = false;
        return true;
    }

    std::function<void()> end;  ///< closes the source

private:
    std::string_view bytes_;
    const unsigned choice_;
    bool isLost_ = false;
    const int ready_ = ::open("/dev/null", O_RDONLY | O_CLOEXEC);  // always ready to be read
};

}  // namespace

/// The first byte chooses what kind of port it is, and where times come from; the rest comes through the port.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const unsigned choice = data[0];
    auto port = std::make_unique<FuzzedPort>(
        std::string_view(reinterpret_cast<const char*>(data) + 1, size - 1), choice);
    FuzzedPort& fuzzed = *port;
    OpenOptions options;
    options.notes = std::make_shared<LiveNotes>();
    options.isByArrival = choice & 8;
    options.rate = choice & 16 ? 100.0 : 0.0;
    if (choice & 32) options.repeat = {"3m"};
    try {
        auto source = liveSource(std::move(port), options.notes);
        fuzzed.end = source->closer();
        requireSound(*openStream(std::move(source), "udp://fuzz:1", options));
    } catch (const Poco::DataFormatException&) {
        // What cannot be used must be refused, and nothing else may happen.
    }
    options.notes->summary();
    return 0;
}
