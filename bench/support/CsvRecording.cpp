#include "bench/support/CsvRecording.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "io/SimulatedTable.h"

namespace Kavelin::Bench {

CsvRecording::CsvRecording(std::uint64_t rows) {
    const std::string stem = "kavelin_bench_" + std::to_string(::getpid()) + "_" + std::to_string(rows);
    path_ = (std::filesystem::temp_directory_path() / (stem + ".csv")).string();
    resultPath_ = (std::filesystem::temp_directory_path() / (stem + "_result.csv")).string();
    RecordingIO::SimulationOptions options;
    options.seconds = static_cast<double>(rows) / options.rate - 0.5 / options.rate;
    RecordingIO::ResultFile file(path_);
    writeSimulation(options, false, file);
    file.finish();
    std::ostringstream stream;
    stream << std::ifstream(path_, std::ios::binary).rdbuf();
    text_ = stream.str();
}

CsvRecording::~CsvRecording() {
    std::filesystem::remove(path_);
    std::filesystem::remove(resultPath_);
}

}  // namespace Kavelin::Bench
