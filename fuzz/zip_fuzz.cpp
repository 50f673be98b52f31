#include <Poco/Exception.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "io/files/FileTree.h"

namespace {

using namespace Kavelin::RecordingIO;

/// Reads a file of the tree; at most 16 MiB, since a small archive may hold more than there is time for.
void readAll(const FileTree& tree, const FileTree::Entry& file, std::uint64_t& left) {
    static char block[1 << 16];
    const auto source = tree.open(file.name);
    while (const std::size_t count = source->read(block, sizeof block)) {
        if (count > sizeof block) std::abort();
        if (left < count) return;
        left -= count;
    }
    if (source->read(block, sizeof block) != 0) std::abort();  // the end is the end
}

/// Whether a name stays inside: relative, without parts that are empty, "." or "..".
void requireInside(const std::string& name) {
    const std::string parts = "/" + name + "/";
    for (const char* bad : {"//", "/./", "/../", "\\", "\n"})
        if (parts.find(bad) != std::string::npos) std::abort();
}

}  // namespace

/// The bytes are a file: an archive whose members are read, or whatever openSource makes of them.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const int fd = ::memfd_create("fuzz", MFD_CLOEXEC);
    if (fd < 0 || ::write(fd, data, size) != static_cast<::ssize_t>(size)) std::abort();
    std::uint64_t left = std::uint64_t{1} << 24;
    try {
        const auto tree = FileTree::at("/proc/self/fd/" + std::to_string(fd));
        for (const FileTree::Entry& file : tree->files()) {
            if (!tree->isSingleFile()) requireInside(file.name);
            try {
                readAll(*tree, file, left);
            } catch (const Poco::ReadFileException&) {
            } catch (const Poco::DataFormatException&) {
                // A damaged or foreign member must be refused, and nothing else may happen.
            }
        }
    } catch (const Poco::DataFormatException&) {
        // So must an archive.
    }
    ::close(fd);
    return 0;
}
