#include <Poco/Exception.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "io/formats/ReferenceTrack.h"
#include "io/recording/RecordingReader.h"

namespace {

using namespace Kavelin::RecordingIO;

/// What must hold of any bytes: a reference is a unit quaternion, within the track's time.
void requireSound(ReferenceTrack& track) {
    for (double time = -1.0; time < 20.0; time += 0.0625) {
        const auto attitude = track.at(time);
        if (!attitude) continue;
        if (!(std::abs(attitude->norm() - 1.0) < 1e-9)) std::abort();
        if (!track.span() || time < track.span()->first || time > track.span()->second) std::abort();
    }
}

}  // namespace

/// The bytes are a table with a reference, and one with intervals.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    try {
        ReferenceTrack track(std::make_unique<RecordingReader>(memorySource(bytes), "fuzz", ReaderOptions()));
        requireSound(track);
    } catch (const Poco::DataFormatException&) {
        // What cannot be used must be refused, and nothing else may happen.
    }
    if (bytes.find("t_start") == bytes.npos) return 0;
    const int fd = ::memfd_create("fuzz", MFD_CLOEXEC);
    if (fd < 0 || ::write(fd, data, size) != static_cast<::ssize_t>(size)) std::abort();
    try {
        const Intervals intervals = Intervals::open("/proc/self/fd/" + std::to_string(fd));
        for (const double time : {-1.0, 0.0, 0.5, 1e300, HUGE_VAL}) intervals.contains(time);
    } catch (const Poco::DataFormatException&) {
    } catch (const Poco::ReadFileException&) {
        // A damaged gzip file.
    }
    ::close(fd);
    return 0;
}
