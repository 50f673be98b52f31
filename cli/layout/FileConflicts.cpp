#include "cli/layout/FileConflicts.h"

#include <algorithm>

#include "cli/SameFile.h"
#include "io/formats/ReferenceTrack.h"

namespace Kavelin::Cli {

namespace {

bool isInConflict(const FileUse& use, const FileUse& other) {
    // What a run reads it may write again: a layout, with the values of properties that it has afterwards.
    if (use.filter == other.filter && (use.isWritten != other.isWritten || use.property == other.property))
        return false;
    if (use.file == "-" || other.file == "-")
        return use.file == other.file && use.isWritten == other.isWritten;
    // A result is written as NAME.part until it is complete.
    const std::string file = other.isWritten ? other.file : RecordingIO::fileOfReference(other.file);
    return use.isWritten && (isSameFile(use.file, file) || isSameFile(use.file + ".part", file));
}

}  // namespace

void findFileConflicts(const std::vector<FileUse>& uses, Mistakes& mistakes) {
    for (auto use = uses.begin(); use != uses.end(); ++use) {
        const auto other = std::find_if(uses.begin(), uses.end(), [&](const FileUse& one) {
            const bool isToldThere =
                one.isWritten == use->isWritten && &one > &*use;  // of two, the second is
            return !isToldThere && isInConflict(*use, one);
        });
        if (other == uses.end()) continue;
        const std::string user =
            use->property.empty() ? "" : use->filter + ", " + inQuotes(use->property) + ": ";
        mistakes.push_back({use->place, user + inQuotes(use->file) + " is what " + other->filter +
                                            (other->isWritten ? " writes" : " reads") +
                                            (use->isWritten ? "; a result takes a file of its own"
                                                            : "; standard input can be read once")});
    }
}

}  // namespace Kavelin::Cli
