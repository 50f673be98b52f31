#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "io/recording/StoredRecording.h"
#include "io/recording/Text.h"
#include "tests/cli/FuseTrial.h"

using namespace Kavelin::Cli;
using namespace Kavelin::RecordingIO;

namespace {

std::string contentsOf(const std::filesystem::path& file) {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

/// The rows as the program writes them.
std::string tableOf(const KeptRows& rows) {
    std::string text;
    for (std::size_t row = 0; row < rows.times.size(); ++row) {
        text += exactText(rows.times[row]);
        for (std::size_t i = 0; i < 4; ++i) text += "," + exactText(rows.quaternions[4 * row + i]);
        for (const KeptRows::Extra& extra : rows.extras) text += "," + exactText(extra.values[row]);
        text += "\n";
    }
    return text;
}

}  // namespace

TEST(FuseMemory, givesTheRowsAndTheSummaryOfTheFile) {
    const std::string recording = std::string(KAVELIN_SOURCE_DIR) + "/examples/walk.csv";
    const std::filesystem::path written =
        std::filesystem::temp_directory_path() / ("memory" + std::to_string(::getpid()) + ".csv");
    for (const std::string type : {"FilterSO3Attitude", "FilterAttitude"}) {
        FuseTrial file(recording, written);
        file.options.type = type;
        file.run();

        const auto stored = std::make_shared<const StoredRecording>(*openRecording(recording, {}));
        FuseTrial memory(recording, "");
        memory.options.type = type;
        memory.options.memory = {
            .recording =
                [&](const OpenOptions& options) { return std::make_unique<StoredReader>(stored, options); },
            .keepsResult = true};
        FuseRun run(memory.options, memory.context);
        run.run();

        const std::string table = contentsOf(written);
        EXPECT_EQ(tableOf(run.kept()->rows.rows()), table.substr(table.find('\n') + 1));
        EXPECT_EQ(memory.err.str(), file.err.str());
        EXPECT_EQ(memory.context.status, file.context.status);
        EXPECT_EQ(run.report().errors()->figures().count, run.kept()->errors.samples().times.size());
    }
    std::filesystem::remove(written);
}
