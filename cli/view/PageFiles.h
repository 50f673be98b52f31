#pragma once

#include <map>
#include <string>

namespace Kavelin::Cli {

/// The files of the page and of its libraries, read once, by the names under which they are served: "/", "/app/NAME", "/lib/NAME".
/// What is asked for is looked up here; no name from outside opens a file.
class PageFiles {
public:
    struct File {
        std::string type;  ///< of its content: "text/html; charset=utf-8"
        std::string bytes;
    };

    /// @param folder with the folders "page" and "lib"; what is missing is not served
    explicit PageFiles(const std::string& folder);
    /// Those that come with the program.
    static PageFiles installed();

    /// @return null where there is none.
    const File* find(const std::string& path) const;

private:
    void read(const std::string& folder, const std::string& prefix);

    std::map<std::string, File> files_;
};

}  // namespace Kavelin::Cli
