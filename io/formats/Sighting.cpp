#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>

#include "io/formats/Format.h"
#include "io/recording/LineReader.h"
#include "io/recording/Text.h"
#include "io/recording/TimeChoice.h"

namespace Kavelin::RecordingIO {

namespace {

const std::size_t kMostBytes = std::size_t{1} << 16;
const std::size_t kMostOfLine = std::size_t{1} << 12;

std::vector<std::string> linesOf(const FileTree& tree, const std::string& file, std::size_t most) {
    std::string text(most, '\0');
    std::size_t have = 0;
    try {
        const std::unique_ptr<ByteSource> source = tree.open(file);
        while (have < text.size()) {
            const std::size_t count = source->read(text.data() + have, text.size() - have);
            if (count == 0) break;
            have += count;
        }
    } catch (const Poco::Exception&) {
        return {};  // what is wrong with it is said when it is opened as what it is taken for
    }
    text.resize(have);
    if (text.find('\0') != std::string::npos) return {};
    if (text.starts_with("\xEF\xBB\xBF")) text.erase(0, 3);
    std::vector<std::string> lines;
    std::size_t begin = 0;
    for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', begin)) {
        const std::size_t stop = end > begin && text[end - 1] == '\r' ? end - 1 : end;
        lines.push_back(text.substr(begin, stop - begin));
        begin = end + 1;
    }
    if (have < most && begin < text.size()) lines.push_back(text.substr(begin));
    return lines;
}

}  // namespace

std::vector<std::string> Sighting::firstLines(const std::string& file) const {
    return linesOf(tree_, file, kMostBytes);
}

std::string Sighting::firstLine(const std::string& file) const {
    std::vector<std::string> lines = linesOf(tree_, file, kMostOfLine);
    return lines.empty() ? std::string() : std::move(lines.front());
}

std::vector<std::string> Sighting::filesCalled(std::string_view name) const {
    std::vector<std::string> found;
    for (const FileTree::Entry& file : files()) {
        if (equalsIgnoringCase(leafOf(file.name), name)) found.push_back(file.name);
    }
    return found;
}

std::vector<std::string> Sighting::filesEndingWith(std::string_view ending) const {
    std::vector<std::string> found;
    for (const FileTree::Entry& file : files()) {
        if (lowered(file.name).ends_with(lowered(ending))) found.push_back(file.name);
    }
    return found;
}

TablePlan tablePlan(const Sighting& sighting, const std::string& file, bool isBesideRates) {
    const std::vector<std::string> lines = sighting.firstLines(file);
    FormHints hints = hintsOf(sighting.options(), true);
    hints.hasRates = isBesideRates;
    TablePlan plan;
    plan.file = file;
    try {
        plan.form = findForm(lines, hints);
        const std::size_t first = std::min(plan.form.firstRow - 1, lines.size());
        const std::size_t last = std::min(first + 64, lines.size());
        const auto at = [&](std::size_t i) { return lines.begin() + static_cast<std::ptrdiff_t>(i); };
        chooseTime(plan.form, {at(first), at(last)}, hints);
    } catch (const Poco::DataFormatException& refusal) {
        // The code of a refusal is its line, where it has one.
        const std::string line = refusal.code() > 0 ? fmt::format(":{}", refusal.code()) : std::string();
        throw Poco::DataFormatException(sighting.tree().pathOf(file) + line + ": " + refusal.message());
    }
    return plan;
}

std::string folderOf(const std::string& file) {
    const std::size_t slash = file.rfind('/');
    return slash == std::string::npos ? std::string() : file.substr(0, slash);
}

std::string leafOf(const std::string& file) { return file.substr(file.rfind('/') + 1); }

}  // namespace Kavelin::RecordingIO
