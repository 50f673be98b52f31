#include "cli/layout/FileConflicts.h"

#include <algorithm>

#include "cli/SameFile.h"

namespace Kavelin::Cli {

namespace {

bool isInConflict(const FileUse& written, const FileUse& other) {
    if (written.filter == other.filter) return false;
    const bool isStandard = written.file == "-" || other.file == "-";
    return isStandard ? other.isWritten && written.file == other.file : isSameFile(written.file, other.file);
}

}  // namespace

void findFileConflicts(const std::vector<FileUse>& uses, Mistakes& mistakes) {
    for (auto use = uses.begin(); use != uses.end(); ++use) {
        if (!use->isWritten) continue;
        const auto other = std::find_if(uses.begin(), uses.end(), [&](const FileUse& one) {
            const bool wasTold = one.isWritten && &one > &*use;  // of two writers, the second is told
            return !wasTold && isInConflict(*use, one);
        });
        if (other == uses.end()) continue;
        mistakes.push_back({use->place, use->filter + ", " + inQuotes(use->property) + ": " +
                                            inQuotes(use->file) + " is what " + other->filter +
                                            (other->isWritten ? " writes" : " reads") +
                                            "; a result takes a file of its own"});
    }
}

}  // namespace Kavelin::Cli
