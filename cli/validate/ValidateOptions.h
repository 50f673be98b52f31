#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Kavelin::Cli {

struct ValidateOptions {
    std::string plugin;             ///< name or path; empty: all of the search path
    std::vector<std::string> only;  ///< TYPE, CHECK or TYPE/CHECK; empty: all
    std::string reproduce;          ///< TYPE/CHECK to run in this process; empty: none
    std::uint64_t seed = 1;
    std::size_t jobs = 0;     ///< 0: as many as there are processors
    double timeLimit = 60.0;  ///< s, of one check
    bool json = false;
};

}  // namespace Kavelin::Cli
