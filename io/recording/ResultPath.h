#pragma once

#include <string>

namespace Kavelin::RecordingIO {

/// Where a result goes.
struct ResultPath {
    std::string target;     ///< where it ends up: the path with links resolved
    std::string temporary;  ///< the name while it is not complete; empty where it is written directly
};

/// An ordinary or new file gets the temporary name `PATH.part`; standard output ("-"), a pipe or a device is
/// written directly.
ResultPath resultPath(const std::string& path);

/// Raises Poco::CreateFileException with the path and the system's reason `error`.
[[noreturn]] void refuseResult(const std::string& path, int error);

}  // namespace Kavelin::RecordingIO
