#include "io/writing/TableFormat.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "io/recording/ResultFile.h"
#include "io/recording/ResultPath.h"
#include "io/writing/MatFile.h"
#include "io/writing/NumpyFile.h"
#include "io/writing/StoFile.h"

namespace Kavelin::RecordingIO {

namespace {

constexpr TableFormat kFormats[] = {
    {writeSto, stoNotes}, {writeMat, nullptr, kMostMatValues}, {writeNpz}, {writeNpy}};

const std::string& labelOf(TableKind kind) { return tableKindLabels()[static_cast<std::size_t>(kind)]; }

}  // namespace

const std::vector<std::string>& tableKindLabels() {
    static const std::vector<std::string> labels = {"csv", "sto", "mat", "npz", "npy"};
    return labels;
}

TableKind tableKindOf(const std::string& path) {
    const std::string ending = foreignEnding(path);
    if (ending.empty()) return TableKind::kCsv;
    const auto& labels = tableKindLabels();
    const auto found = std::find(labels.begin(), labels.end(), ending.substr(1));
    if (found != labels.end()) return static_cast<TableKind>(found - labels.begin());
    throw Poco::InvalidArgumentException("'" + path +
                                         "': results are written as .csv, .sto, .mat, .npz or "
                                         ".npy, not as " +
                                         ending);
}

const TableFormat& tableFormat(TableKind kind) { return kFormats[static_cast<std::size_t>(kind) - 1]; }

void requireFit(TableKind kind, const std::string& path, const std::vector<std::string>& names) {
    const std::string ending = std::filesystem::path(path).extension().string();
    const TableKind named = tableKindOf(path);
    if (named != kind && (named != TableKind::kCsv || ending == ".csv"))
        throw Poco::InvalidArgumentException(fmt::format(
            "'{}' is the name of a .{} file, and .{} is asked for", path, labelOf(named), labelOf(kind)));
    if (kind == TableKind::kCsv || kind == TableKind::kSto) return;
    if (resultPath(path).temporary.empty() && !std::filesystem::is_directory(path))
        throw Poco::InvalidArgumentException(
            fmt::format("{}: a .{} file is written as a whole, into an ordinary file",
                        path == "-" ? "standard output" : "'" + path + "'", labelOf(kind)));
    if (kind == TableKind::kMat) matNames(names);
}

}  // namespace Kavelin::RecordingIO
