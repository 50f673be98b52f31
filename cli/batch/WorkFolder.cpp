#include "cli/batch/WorkFolder.h"

#include <Poco/Environment.h>
#include <Poco/Exception.h>
#include <Poco/NumberParser.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace Kavelin::Cli {

namespace fs = std::filesystem;

namespace {

/// Folders are shared between machines, process numbers are not.
std::string prefix() { return "run-" + Poco::Environment::nodeName() + "-"; }

bool isLeft(const std::string& name) {
    if (!name.starts_with(prefix())) return false;
    int process = 0;
    if (!Poco::NumberParser::tryParse(name.substr(prefix().size()), process) || process <= 0) return false;
    return ::kill(process, 0) != 0 && errno == ESRCH;
}

}  // namespace

WorkFolder::WorkFolder(const std::string& parent)
    : path_((fs::path(parent) / (prefix() + std::to_string(::getpid()))).string()) {
    std::error_code error;
    fs::create_directories(path_, error);
    if (error) throw Poco::CreateFileException("cannot write to '" + parent + "'", error.message());
    for (const auto& entry : fs::directory_iterator(parent, error))
        if (isLeft(entry.path().filename().string())) fs::remove_all(entry.path(), error);
}

WorkFolder::~WorkFolder() {
    std::error_code unknown;
    fs::remove_all(path_, unknown);
}

}  // namespace Kavelin::Cli
