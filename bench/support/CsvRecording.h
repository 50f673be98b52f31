#pragma once

#include <cstdint>
#include <string>

namespace Kavelin::Bench {

/// A simulated recording as a CSV file of t and nine channels, deleted with the object.
class CsvRecording {
public:
    static constexpr std::size_t kCells = 10;

    explicit CsvRecording(std::uint64_t rows);
    ~CsvRecording();
    CsvRecording(const CsvRecording&) = delete;
    CsvRecording& operator=(const CsvRecording&) = delete;

    const std::string& path() const { return path_; }
    /// For what is made of it; deleted too.
    const std::string& resultPath() const { return resultPath_; }
    const std::string& text() const { return text_; }

private:
    std::string path_;
    std::string resultPath_;
    std::string text_;
};

}  // namespace Kavelin::Bench
