#pragma once

#include <string>

namespace Kavelin::Cli {

/// A folder for files under way, of this process alone, that goes with it. Those of processes of this machine that were
/// killed are removed as well.
class WorkFolder {
public:
    /// @throws Poco::CreateFileException with the path and the system's reason
    explicit WorkFolder(const std::string& parent);
    ~WorkFolder();
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace Kavelin::Cli
