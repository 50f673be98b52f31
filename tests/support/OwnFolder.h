#pragma once

#include <filesystem>

#include "support/TemporaryFolder.h"

namespace Kavelin::Tests {

/// A folder of this test program's own, removed with it: the same test may run in several builds at a time.
inline std::filesystem::path ownFolder() {
    static const Tests::TemporaryFolder folder;
    return std::filesystem::path(folder.path(".")).parent_path();
}

}  // namespace Kavelin::Tests
