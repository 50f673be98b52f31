#pragma once

#include <string>

#include "io/formats/OpenRecording.h"

namespace CLI {
class App;
}

namespace Kavelin::Cli {

/// What a user says of a recording beyond its name: what it does not say is found out.
struct RecordingChoice {
    std::string format;   ///< name of a format of recordings; empty: found out
    std::string sensor;   ///< of several in the recording; empty: it holds one
    std::string dialect;  ///< "separator=semicolon, ..."; what it does not say is found out
    std::string axes;     ///< "y,-x,z; 3m = ..."
    std::string time;     ///< "recording", "arrival"; empty: the recording's
    std::string mapping;
    std::string units;
    double rate = 0.0;
};

/// Adds the options, in a group of their own.
void addRecordingOptions(CLI::App& command, RecordingChoice& choice);

/// Why a text is no rate in Hz; empty where it is one.
std::string rateMistake(const std::string& text);

/// How the recording is opened to look into it: sensor, axes and units are left out.
/// @throws Poco::DataFormatException for a dialect that cannot be read
RecordingIO::OpenOptions openOptions(const RecordingChoice& choice);

}  // namespace Kavelin::Cli
