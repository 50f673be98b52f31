#pragma once

#include <string>

#include "io/recording/ResultPath.h"

namespace Kavelin::RecordingIO {

/// The place of a file that is written as a whole: under a temporary name, which is removed again unless the
/// file is complete.
class PartFile {
public:
    explicit PartFile(const std::string& path) : path_(path), place_(resultPath(path)) {}
    ~PartFile();
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;

    /// The name to write to.
    const std::string& name() const { return place_.temporary; }
    /// Gives the file its own name, in place of an earlier one.  Raises Poco::WriteFileException.
    void complete();
    /// Raises Poco::WriteFileException: nothing was written, for that reason.
    [[noreturn]] void fail(const std::string& reason) const;

private:
    const std::string path_;
    const ResultPath place_;
    bool isComplete_ = false;
};

}  // namespace Kavelin::RecordingIO
