#include "io/recording/ResultPath.h"

#include <Poco/Exception.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>

namespace Kavelin::RecordingIO {

namespace {

constexpr const char* kTemporaryEnding = ".part";

bool isOrdinaryOrNew(const std::string& path) {
    struct ::stat status {};
    return ::stat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

}  // namespace

ResultPath resultPath(const std::string& path) {
    if (path == "-" || !isOrdinaryOrNew(path)) return {path, ""};
    std::error_code error;
    const auto resolved = std::filesystem::weakly_canonical(path, error);
    const std::string target = error ? path : resolved.string();
    return {target, target + kTemporaryEnding};
}

void refuseResult(const std::string& path, int error) {
    throw Poco::CreateFileException("cannot write '" + path + "'", std::string(std::strerror(error)));
}

}  // namespace Kavelin::RecordingIO
