#pragma once

#include <Kavelin/Core/StateArchive.h>
#include <Kavelin/Core/Stateful.h>

#include <Eigen/Geometry>
#include <cereal/types/array.hpp>
#include <cereal/types/deque.hpp>
#include <cereal/types/map.hpp>
#include <cereal/types/optional.hpp>
#include <cereal/types/string.hpp>
#include <cereal/types/utility.hpp>
#include <cereal/types/vector.hpp>
#include <cstdint>

namespace Kavelin::Core {

/// For a filter that learns: its state is what its own `serialize` gives the archive.
///
///     class FilterX : public Filter, public Core::WithState<FilterX> {
///     public:
///         static constexpr unsigned kStateVersion = 1;
///         template <class Archive>
///         void serialize(Archive& archive) { archive(computer_, lastTime_); }
template <class F>
class WithState : public Stateful {
public:
    unsigned stateVersion() const override { return F::kStateVersion; }
    // One template reads and writes; writing leaves the filter as it is.
    void saveState(StateWriter& to) const override {
        const_cast<F&>(static_cast<const F&>(*this)).serialize(to);
    }
    void restoreState(StateReader& from) override { static_cast<F&>(*this).serialize(from); }
};

/// For a filter whose results depend on properties and on what its pins hold, and on nothing else.
class WithoutState : public Stateful {
public:
    unsigned stateVersion() const override { return 1; }
    void saveState(StateWriter&) const override {}
    void restoreState(StateReader&) override {}
};

}  // namespace Kavelin::Core

// Matrices and rotations: dimensions that are not fixed, then the elements column by column.
namespace cereal {

template <class Archive, class S, int R, int C, int O, int MR, int MC>
void save(Archive& archive, const Eigen::Matrix<S, R, C, O, MR, MC>& matrix) {
    if constexpr (R == Eigen::Dynamic) archive.writeNumber(static_cast<std::uint64_t>(matrix.rows()));
    if constexpr (C == Eigen::Dynamic) archive.writeNumber(static_cast<std::uint64_t>(matrix.cols()));
    archive.write(matrix.data(), static_cast<std::size_t>(matrix.size()) * sizeof(S));
}

template <class Archive, class S, int R, int C, int O, int MR, int MC>
void load(Archive& archive, Eigen::Matrix<S, R, C, O, MR, MC>& matrix) {
    std::uint64_t rows = static_cast<std::uint64_t>(R), cols = static_cast<std::uint64_t>(C);
    if constexpr (R == Eigen::Dynamic) rows = archive.readNumber();
    if constexpr (C == Eigen::Dynamic) cols = archive.readNumber();
    const std::size_t size = archive.elementBytes(rows, cols, sizeof(S));
    matrix.resize(static_cast<Eigen::Index>(rows), static_cast<Eigen::Index>(cols));
    archive.read(matrix.data(), size);
}

template <class Archive, class S, int O>
void save(Archive& archive, const Eigen::Quaternion<S, O>& rotation) {
    archive(rotation.coeffs());
}
template <class Archive, class S, int O>
void load(Archive& archive, Eigen::Quaternion<S, O>& rotation) {
    archive(rotation.coeffs());
}

}  // namespace cereal
