#include "orientation/FilterCumulAngles.h"

#include <span>

namespace Kavelin::OrientationInternal {

namespace {

std::span<double> elementsOf(Matrix& matrix) {
    return {matrix.data(), static_cast<std::size_t>(matrix.size())};
}

}  // namespace

FilterCumulAngles::FilterCumulAngles(const std::string& name) : Filter(name, true) {}

void FilterCumulAngles::process() {
    takeResetRequest();
    if (!angles_.readNext() || !angles_.fits()) return;
    const Matrix& sample = angles_.value();
    adopt(sample.rows(), sample.cols());
    accumulator_.advance({sample.data(), static_cast<std::size_t>(sample.size())}, elementsOf(cumul_.value()),
                         elementsOf(turns_.value()));
    cumul_.send(angles_.lastTimeStamp());
    turns_.send(angles_.lastTimeStamp());
}

void FilterCumulAngles::takeResetRequest() {
    if (!resetPin_.readNext()) return;
    const Matrix& sample = resetPin_.value();
    if (sample.size() > 0 && sample.data()[0] != 0.0) accumulator_.reset();
}

void FilterCumulAngles::adopt(Eigen::Index rows, Eigen::Index columns) {
    if (cumul_.value().rows() == rows && cumul_.value().cols() == columns) return;
    accumulator_.reset();
    cumul_.value().resize(rows, columns);
    turns_.value().resize(rows, columns);
}

}  // namespace Kavelin::OrientationInternal
