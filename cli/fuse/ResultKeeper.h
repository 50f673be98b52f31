#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <memory>
#include <string>
#include <vector>

#include "cli/fuse/ResultWatch.h"

namespace Kavelin::Cli {

/// Samples of one pin, one after another.
struct KeptSamples {
    std::vector<double> times;   ///< s
    std::vector<double> values;  ///< of each as many, row by row
};

/// Keeps the samples that come, of one size; the others are left out.
class SampleKeeper : public OrientationInternal::Filter {
public:
    SampleKeeper(const std::string& name, std::ptrdiff_t size) : Filter(name, true), size_(size) {}

    void process() override;  // [layout thread]
    std::string typeName() const override { return "SampleKeeper"; }
    KeptSamples& samples() { return samples_; }

private:
    OrientationInternal::InputPin<OrientationInternal::Matrix> pin_{"sample", this,
                                                                    OrientationInternal::AnyTime{}};
    const std::ptrdiff_t size_;
    KeptSamples samples_;
};

/// The rows of a table.
struct KeptRows {
    struct Extra {
        std::vector<double> values;        ///< its elements, row by row; NaN in a row without a sample
        std::vector<std::size_t> missing;  ///< these rows
    };
    std::vector<double> times;        ///< s
    std::vector<double> quaternions;  ///< four elements a row, w first
    std::vector<Extra> extras;
};

/// Keeps the rows that FilterCsvWriter would write of the same samples with "Rows": one for each attitude, with the
/// flags and scores of its time.
class RowKeeper : public OrientationInternal::Filter {
public:
    /// Makes an input for each extra.
    RowKeeper(const std::string& name, const std::vector<ResultWatch::Extra>& extras);

    void process() override;  // [layout thread]
    std::string typeName() const override { return "RowKeeper"; }

    const std::vector<ResultWatch::Extra>& extras() const { return extras_; }
    KeptRows& rows() { return rows_; }

private:
    using Input = OrientationInternal::InputPin<OrientationInternal::Matrix>;

    Input attitude_{"attitude", this, OrientationInternal::AnyTime{}};
    std::vector<ResultWatch::Extra> extras_;
    std::vector<std::unique_ptr<Input>> inputs_;  // by extra
    KeptRows rows_;
};

}  // namespace Kavelin::Cli
