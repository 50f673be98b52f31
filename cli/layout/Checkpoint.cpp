#include "cli/layout/Checkpoint.h"

#include <Kavelin/Core/Snapshot.h>
#include <Kavelin/Core/StateSeal.h>
#include <Kavelin/Typed/State.h>
#include <Poco/Exception.h>

#include <cereal/types/set.hpp>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "cli/CommandContext.h"
#include "cli/WholeFile.h"
#include "io/recording/ResultPath.h"

namespace Kavelin::Cli {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kMark = "KAVELIN CHECKPOINT 2\n";

/// Of this form or an earlier one.
bool isCheckpoint(std::string_view bytes) { return bytes.starts_with("KAVELIN CHECKPOINT "); }

std::string readWhole(const std::string& file) {
    std::error_code error;  // opening a pipe would wait
    if (fs::exists(file, error) && !fs::is_regular_file(file, error))
        throw UsageError("--resume " + file + ": a checkpoint is an ordinary file");
    std::ifstream stream(file, std::ios::binary);
    if (!stream) throw UsageError("--resume: there is no checkpoint " + file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace

Checkpoint::Checkpoint(std::string file, double every, const std::string& layout)
    : file_(std::move(file)),
      every_(std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(every))),
      layout_(Core::checksum(layout)) {}

void Checkpoint::requireReplaceable() const {
    std::error_code error;
    if (!fs::exists(fs::symlink_status(file_, error))) return;
    if (!fs::is_regular_file(file_, error))
        throw UsageError("--checkpoint " + file_ + ": a checkpoint needs an ordinary file");
    if (fs::file_size(file_, error) > 0 && !isCheckpoint(readWhole(file_)))
        throw UsageError("--checkpoint " + file_ +
                         ": there is a file that is no checkpoint; it would be lost");
}

void Checkpoint::save(const RunProgress& progress, const Layouts& layouts) {
    saved_ = Clock::now();
    Core::StateWriter to(Core::StateExtent::kAll);
    isKept_ = true;  // unless all goes well
    to(std::string(KAVELIN_VERSION), layout_, progress, Core::saveSnapshot(layouts));
    writeWholeFile(file_, Core::sealed(kMark, to.bytes()), Durable::kYes);
    isKept_ = false;
}

RunProgress Checkpoint::load(const std::string& file, const Layouts& layouts) {
    const std::string bytes = readWhole(file);
    const auto refuse = [&](const std::string& why) {
        throw UsageError("--resume " + file + ": " + why + "; without --resume the run begins anew");
    };
    std::string version;
    std::uint32_t layout = 0;
    RunProgress progress;
    std::string snapshot;
    try {
        Core::StateReader from(Core::unsealed(kMark, bytes, "a checkpoint of a run"),
                               Core::StateExtent::kAll);
        from(version);
        if (version != KAVELIN_VERSION)
            refuse("it was made by kavelin " + version + ", this is kavelin " + KAVELIN_VERSION);
        from(layout, progress, snapshot);
        if (layout != layout_) refuse("it was made with another layout, or with other --set, --var or -o");
        Core::restoreSnapshot(layouts, snapshot);
    } catch (const Poco::Exception& refusal) {
        refuse(refusal.message());
    }
    if (progress.lanes.size() != layouts.size()) refuse("a checkpoint of a run is damaged");
    return progress;
}

bool Checkpoint::isKept() const {
    std::error_code error;
    return isKept_ && fs::exists(file_, error);
}

void Checkpoint::remove() {
    std::error_code ignored;
    const std::string part = RecordingIO::resultPath(file_).temporary;  // of a run that was killed
    if (!part.empty()) fs::remove(part, ignored);
    fs::remove(file_, ignored);
}

}  // namespace Kavelin::Cli
