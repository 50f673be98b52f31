#pragma once

#include <string>

namespace Kavelin::Core {

/// How a plugin describes itself.
struct PluginMetaData {
    std::string version;
    std::string hostVersion;  ///< the host interface that it was built against
    std::string name;
    std::string description;
    std::string platform;
    std::string buildDate;
};

}  // namespace Kavelin::Core
