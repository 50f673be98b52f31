#include "cli/Picture.h"

#include <Poco/Exception.h>
#include <fmt/format.h>
#include <stdio.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "cli/CommandContext.h"

namespace Kavelin::Cli {

namespace {

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

Picture::Picture(std::string file) : file_(std::move(file)), part_(file_ + ".part") {
    if (!endsWith(file_, ".svg") && !endsWith(file_, ".png")) {
        throw UsageError("--plot '" + file_ + "': a picture's file name ends in .svg or .png");
    }
    std::FILE* begun = std::fopen(part_.c_str(), "w");
    if (!begun) throw UsageError("--plot '" + file_ + "' cannot be written: " + std::strerror(errno));
    std::fclose(begun);
}

Picture::~Picture() {
    std::error_code isDrawn;
    std::filesystem::remove(part_, isDrawn);
}

void Picture::draw(int height, const std::string& script, int width) {
    const PipeEndsQuietly guard;
    std::FILE* gnuplot = ::popen("gnuplot >/dev/null 2>&1", "w");
    if (!gnuplot) throw Poco::WriteFileException("cannot start gnuplot for '" + file_ + "'");
    const bool isSvg = endsWith(file_, ".svg");
    const std::string text = fmt::format(
        "set terminal {} size {},{} {}\nset output {}\n{}set output\n", isSvg ? "svg" : "pngcairo", width,
        height, isSvg ? "dynamic background rgb 'white' font 'sans,12'" : "font 'sans,10'", quoted(part_),
        script);
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

/// Within single quotes the only escape is a doubled quote, which gnuplot does not understand at the very beginning.
std::string Picture::quoted(const std::string& text) {
    std::string out = text.starts_with('\'') ? "' " : "'";
    for (const char c : text) {
        if (c == '\'') out += '\'';
        out += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
    }
    return out + "'";
}

}  // namespace Kavelin::Cli
