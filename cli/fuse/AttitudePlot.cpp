#include "cli/fuse/AttitudePlot.h"

#include <Poco/Exception.h>
#include <fmt/format.h>
#include <stdio.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "attitude/rotation/AngleConstants.h"
#include "attitude/rotation/Euler.h"
#include "attitude/rotation/QuaternionAlgebra.h"
#include "cli/CommandContext.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

using OrientationInternal::kRadiansToDegrees;
using RecordingIO::exactText;

namespace {

/// Quotes a text for gnuplot: within single quotes the only escape is a doubled quote.
std::string quoted(const std::string& text) {
    std::string out = "'";
    for (const char c : text) {
        if (c == '\'') out += '\'';
        out += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
    }
    return out + "'";
}

/// A plotting program that is missing, or exits early, must not end this one.
class PipeEndsQuietly {
public:
    PipeEndsQuietly() : before_(std::signal(SIGPIPE, SIG_IGN)) {}
    ~PipeEndsQuietly() { std::signal(SIGPIPE, before_); }
    PipeEndsQuietly(const PipeEndsQuietly&) = delete;
    PipeEndsQuietly& operator=(const PipeEndsQuietly&) = delete;

private:
    void (*before_)(int);
};

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() > end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/// Whether a picture is complete: gnuplot does not notice when a disk is full.
bool isComplete(const std::string& picture) {
    std::ifstream in(picture, std::ios::binary | std::ios::ate);
    const std::streamoff size = std::min<std::streamoff>(in.tellg(), 32);
    std::string end(static_cast<std::size_t>(std::max<std::streamoff>(size, 0)), '\0');
    in.seekg(-size, std::ios::end);
    in.read(end.data(), size);
    return in && (end.find("</svg>") != std::string::npos || end.find("IEND") != std::string::npos);
}

}  // namespace

AttitudePlot::AttitudePlot(std::string file, std::string title,
                           const std::optional<OrientationInternal::Quaternion>& turn)
    : file_(std::move(file)), part_(file_ + ".part"), title_(std::move(title)), turn_(turn) {
    if (!endsWith(file_, ".svg") && !endsWith(file_, ".png")) {
        throw UsageError("--plot '" + file_ + "': a picture's file name ends in .svg or .png");
    }
    std::FILE* begun = std::fopen(part_.c_str(), "w");
    if (!begun) throw UsageError("--plot '" + file_ + "' cannot be written: " + std::strerror(errno));
    std::fclose(begun);
}

AttitudePlot::~AttitudePlot() {
    std::error_code isDrawn;
    std::filesystem::remove(part_, isDrawn);
}

void AttitudePlot::add(const ResultWatch& watch) {
    if (seen_ == 0) chooseLines(watch);
    if (seen_++ % stride_ != 0) return;
    if (rows_.size() == kMostRows) {
        for (std::size_t i = 0; 2 * i < rows_.size(); ++i) rows_[i] = std::move(rows_[2 * i]);
        rows_.resize(kMostRows / 2);
        stride_ *= 2;
        if ((seen_ - 1) % stride_ != 0) return;
    }
    using OrientationInternal::quaternionProduct;
    const auto attitude = turn_ ? quaternionProduct(*turn_, watch.attitude()) : watch.attitude();
    Row row{watch.time(), OrientationInternal::eulerZyx(attitude), {}, watch.pairErrors()};
    for (const Line& line : lines_) row.lines.push_back(watch.extra(line.extra, line.element));
    rows_.push_back(std::move(row));
}

void AttitudePlot::chooseLines(const ResultWatch& watch) {
    for (std::size_t i = 0; i < watch.extras().size(); ++i) {
        const ResultWatch::Extra& extra = watch.extras()[i];
        lines_.push_back({extra.name == "Score" ? "static score" : extra.name, i, 0});
    }
}

bool AttitudePlot::hasErrors() const {
    for (const Row& row : rows_) {
        if (row.errors) return true;
    }
    return false;
}

void AttitudePlot::draw(double turn) {
    const PipeEndsQuietly guard;
    std::FILE* gnuplot = ::popen("gnuplot >/dev/null 2>&1", "w");
    if (!gnuplot) throw Poco::WriteFileException("cannot start gnuplot for '" + file_ + "'");
    const std::string text = script(part_, turn);
    const bool written = std::fwrite(text.data(), 1, text.size(), gnuplot) == text.size();
    const int status = ::pclose(gnuplot);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 127) {
        throw Poco::WriteFileException("no picture '" + file_ + "': gnuplot is not installed");
    }
    if (!written || status != 0) throw Poco::WriteFileException("gnuplot could not draw '" + file_ + "'");
    if (!isComplete(part_)) {
        throw Poco::WriteFileException("the picture '" + file_ +
                                       "' could not be written whole: is the disk full?");
    }
    std::filesystem::rename(part_, file_);
}

std::string AttitudePlot::script(const std::string& target, double turn) const {
    const int panels = hasErrors() ? 3 : 2;
    const bool isSvg = endsWith(file_, ".svg");
    std::string text = fmt::format(
        "set terminal {} size 1000,{} {}\nset output {}\nset datafile missing 'nan'\nset grid\n"
        "set key outside right top\nset lmargin 9\nset rmargin 20\nset multiplot layout {},1 title {} "
        "noenhanced\n",
        isSvg ? "svg" : "pngcairo", 220 + 200 * panels,
        isSvg ? "dynamic background rgb 'white' font 'sans,12'" : "font 'sans,10'", quoted(target), panels,
        quoted(title_));
    const std::string label = "set xlabel '" + timeLabel() + "'\n";
    text += anglePanel() + (panels == 3 ? "" : label) + linePanel();
    if (panels == 3) text += label + errorPanel(turn);
    return text + "unset multiplot\nset output\n";
}

/// Where the time axis has its 0: with seconds since 1970 all ticks would get the same label.
double AttitudePlot::start() const { return rows_.empty() ? 0.0 : rows_.front().time; }

std::string AttitudePlot::timeLabel() const {
    return start() == 0.0 ? "s" : "s since t = " + exactText(start()) + " s";
}

std::string AttitudePlot::anglePanel() const {
    std::string text = "$angles << EOD\n";
    const Row* before = nullptr;
    for (const Row& row : rows_) {
        // A turn across 180 degrees is not drawn as a line from top to bottom.
        if (before && (row.angles - before->angles).cwiseAbs().maxCoeff() > OrientationInternal::kPi)
            text += "\n";
        text += exactText(row.time - start());
        for (const double angle : row.angles) text += " " + exactText(angle * kRadiansToDegrees);
        text += "\n";
        before = &row;
    }
    return text +
           "EOD\nset ylabel 'degrees'\nset yrange [-180:180]\nset ytics 90\n"
           "plot $angles using 1:2 with lines lw 1.5 title 'yaw', '' using 1:3 with lines lw 1.5 title "
           "'pitch', "
           "'' using 1:4 with lines lw 1.5 title 'roll'\n";
}

std::string AttitudePlot::linePanel() const {
    std::string text = "$lines << EOD\n";
    for (const Row& row : rows_) {
        text += exactText(row.time - start());
        for (const double value : row.lines) text += " " + exactText(value);
        text += "\n";
    }
    text += fmt::format("EOD\nset ylabel 'flags, quality'\nset yrange [-0.2:{}.2]\nunset ytics\nplot ",
                        lines_.size());
    for (std::size_t i = 0; i < lines_.size(); ++i) {
        // One above the other, each in a band of its own.
        text += fmt::format("{} using 1:(${}*0.8+{}) with steps lw 1.5 title {} noenhanced",
                            i ? ", ''" : "$lines", i + 2, lines_.size() - 1 - i, quoted(lines_[i].name));
    }
    return text + "\nset ytics autofreq\n";
}

std::string AttitudePlot::errorPanel(double turn) const {
    std::string text = "$errors << EOD\n";
    for (const Row& row : rows_) {
        if (!row.errors) {
            text += "\n";
            continue;
        }
        const double heading = std::remainder(row.errors->heading - turn, OrientationInternal::kTwoPi);
        const RecordingIO::PairErrors errors{heading, row.errors->inclination};
        text += fmt::format("{} {} {} {}\n", exactText(row.time - start()),
                            exactText(errors.total() * kRadiansToDegrees),
                            exactText(std::abs(heading) * kRadiansToDegrees),
                            exactText(errors.inclination * kRadiansToDegrees));
    }
    return text +
           "EOD\nset ylabel 'error, degrees'\nset yrange [0:*]\n"
           "plot $errors using 1:2 with lines lw 1.5 title 'total', '' using 1:3 with lines title 'heading', "
           "'' using 1:4 with lines title 'tilt'\n";
}

}  // namespace Kavelin::Cli
