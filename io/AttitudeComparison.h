#pragma once

#include <functional>
#include <memory>

#include "evaluation/AttitudeErrors.h"
#include "io/formats/ReferenceTrack.h"

namespace Kavelin::RecordingIO {

/// A filter that compares attitudes with a reference. A program asks each filter for it with a dynamic_cast,
/// also across modules: hence the visibility.
class __attribute__((visibility("default"))) AttitudeComparison {
public:
    virtual ~AttitudeComparison() = default;

    /// From the next run on compares with what `opener` opens, in place of a file.  [not running]
    virtual void setReference(std::function<std::unique_ptr<RowReader>()> opener) = 0;

    /// What was compared in this run, or in the last one.  [layout thread, or the layout not running]
    virtual const AttitudeErrors& errors() const = 0;

    /// The file that the reference is read from; null where the reference comes in on a pin, or the file is
    /// not open yet. [as errors]
    virtual const ReferenceTrack* referenceTrack() const = 0;
};

}  // namespace Kavelin::RecordingIO
