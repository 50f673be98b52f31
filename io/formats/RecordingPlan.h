#pragma once

#include <memory>
#include <string>
#include <vector>

#include "io/recording/ArrayReader.h"
#include "io/recording/TableForm.h"

namespace Kavelin::RecordingIO {

/// One table of a recording: a file of its tree, and how it is to be read.
struct TablePlan {
    std::string file;  ///< within the tree
    TableForm form;
    char alsoSeparates = '\0';   ///< another character that separates its cells
    bool holdsMessages = false;  ///< its lines are messages of several kinds, see MessageReader
    std::shared_ptr<const ArrayTable> arrays = {};  ///< what a file that is no text holds; null for text
};

/// One sensor of a recording: its tables are read side by side, each with its own time stamps.
struct SensorPlan {
    std::string name;  ///< as the recording calls it; may be empty where there is one sensor
    std::vector<TablePlan> tables;
    std::vector<std::string> notes;  ///< what a reader of the summary should know, one sentence each
};

/// What a recording is made of, as a format understands it.
struct RecordingPlan {
    std::string format;  ///< name, as in the table of formats
    std::vector<SensorPlan> sensors;
};

}  // namespace Kavelin::RecordingIO
