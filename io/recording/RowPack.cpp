#include "io/recording/RowPack.h"

#include <algorithm>

namespace Kavelin::RecordingIO {

void RowPack::add(const Row& row) {
    elementsOfRow_ = row.elements_.size();
    slotsOfRow_ = row.slots_.size();
    heads_.push_back({row.time_, row.lost_, row.together_});
    elements_.insert(elements_.end(), row.elements_.begin(), row.elements_.end());
    slots_.insert(slots_.end(), row.slots_.begin(), row.slots_.end());
}

void RowPack::get(std::size_t index, Row& into) const {
    const Head& head = heads_[index];
    into.time_ = head.time;
    into.lost_ = head.lost;
    into.together_ = head.together;
    into.elements_.resize(elementsOfRow_);
    into.slots_.resize(slotsOfRow_);
    std::copy_n(elements_.data() + index * elementsOfRow_, elementsOfRow_, into.elements_.data());
    std::copy_n(slots_.data() + index * slotsOfRow_, slotsOfRow_, into.slots_.data());
}

}  // namespace Kavelin::RecordingIO
