#pragma once

#include <string>

namespace CLI {
class App;
}

namespace Kavelin::Cli {

struct FuseOptions;

/// The filter type to take where none is named. The plugins are loaded.
std::string defaultEstimator();

// What commands that fuse a recording share.
/// Adds --filter and --set.
void addEstimatorOptions(CLI::App& command, FuseOptions& options);
/// Adds what says where the result goes, and in which form.
void addResultOptions(CLI::App& command, FuseOptions& options);
/// Adds --calibration and --mount.
void addCalibrationOptions(CLI::App& command, FuseOptions& options);
/// Adds --reference, --movement and --align.
void addErrorOptions(CLI::App& command, FuseOptions& options);
/// Adds all that are about one recording and its result.
void addFuseOptions(CLI::App& command, FuseOptions& options);

}  // namespace Kavelin::Cli
