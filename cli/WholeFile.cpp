#include "cli/WholeFile.h"

#include <Poco/Exception.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace Kavelin::Cli {

namespace fs = std::filesystem;

void writeWholeFile(const std::string& path, std::string_view text, Durable durable) {
    std::error_code unknown;
    const bool isDirect = fs::exists(path, unknown) && !fs::is_regular_file(path, unknown);
    const fs::path target = isDirect ? fs::path(path) : fs::weakly_canonical(path, unknown);
    const std::string part = isDirect ? path : target.string() + ".part";
    errno = 0;
    std::FILE* file = std::fopen(part.c_str(), "wb");
    bool isWritten = file && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    if (isWritten && durable == Durable::kYes)
        isWritten = std::fflush(file) == 0 && (::fsync(::fileno(file)) == 0 || errno == EINVAL);
    isWritten = file && std::fclose(file) == 0 && isWritten;
    if (isWritten && (isDirect || std::rename(part.c_str(), target.c_str()) == 0)) return;
    const std::string why = std::strerror(errno);
    if (file && !isDirect) std::remove(part.c_str());
    throw Poco::WriteFileException("cannot write '" + path + "'", why);
}

}  // namespace Kavelin::Cli
