#pragma once

#include <string>
#include <vector>

namespace Kavelin::Cli {

/// The recordings that one RECORDING of the command line stands for: a file is one, and so is a folder in which a format
/// keeps its files. Any other folder is those of its files whose names end as recordings' do (.csv, .csv.gz, .txt, .sto,
/// .mat, .zip) and those of its folders that are recordings, sorted by name, without hidden ones.
/// @throws UsageError for what cannot be one of several: standard input, a pipe, a device; and for a folder without
/// recordings. A path that leads nowhere is a recording that will be reported.
std::vector<std::string> recordingsIn(const std::string& path);

/// Whether RECORDING is a folder of recordings, not one recording.
bool isFolderOfRecordings(const std::string& path);

bool isFolder(const std::string& path);

/// A recording's name without folder and ending: "walk" of "data/walk.csv.gz".
std::string stemOf(const std::string& recording);

}  // namespace Kavelin::Cli
