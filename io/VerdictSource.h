#pragma once

#include <optional>

#include "evaluation/Judge.h"

namespace Kavelin::RecordingIO {

/// A filter that judges an attitude. A program asks each filter for it with a dynamic_cast, also across
/// modules: hence the visibility.
class __attribute__((visibility("default"))) VerdictSource {
public:
    virtual ~VerdictSource() = default;

    /// The verdict on what has come so far, with its evidence; empty without an attitude, and for one that
    /// cannot be judged.  [layout thread, or the layout not running]
    virtual std::optional<Judged> judged() const = 0;

    /// What the estimator claims and which sensors it uses,
    /// as its connections and properties tell. [as judged]
    virtual EstimatorKind estimatorKind() const = 0;
};

}  // namespace Kavelin::RecordingIO
