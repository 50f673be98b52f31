#pragma once

#include "io/formats/Format.h"

namespace Kavelin::RecordingIO {

// One function a format, each in a file of its own; Formats.cpp has their names and titles.
std::optional<RecordingPlan> planNgimuFolder(const Sighting& sighting);
std::optional<RecordingPlan> planXimu3Folder(const Sighting& sighting);
std::optional<RecordingPlan> planXimu3Ascii(const Sighting& sighting);
std::optional<RecordingPlan> planPhyphox(const Sighting& sighting);
std::optional<RecordingPlan> planSensorLogger(const Sighting& sighting);
std::optional<RecordingPlan> planOpensimSto(const Sighting& sighting);
std::optional<RecordingPlan> planMatlabMat(const Sighting& sighting);
std::optional<RecordingPlan> planSensorFiles(const Sighting& sighting);
std::optional<RecordingPlan> planXsensMtTxt(const Sighting& sighting);
std::optional<RecordingPlan> planMovellaDotCsv(const Sighting& sighting);
std::optional<RecordingPlan> planXimu1Csv(const Sighting& sighting);
std::optional<RecordingPlan> planApdmCsv(const Sighting& sighting);
std::optional<RecordingPlan> planShimmerCsv(const Sighting& sighting);

}  // namespace Kavelin::RecordingIO
