#pragma once

#include <string>

namespace Kavelin::Cli {

/// A file that gnuplot draws, whole or not at all.
class Picture {
public:
    /// @throws UsageError for a file name that does not end in .svg or .png,
    /// and for one that cannot be written.
    explicit Picture(std::string file);
    /// Removes a picture that was begun and not drawn.
    ~Picture();
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    /// @param height in pixels
    /// @param script gnuplot's commands, without terminal and output
    /// @param width in pixels
    /// @throws Poco::WriteFileException where gnuplot is not installed, when it fails,
    /// or when the disk is full.
    void draw(int height, const std::string& script, int width = 1000);

    /// Quotes a text for gnuplot.
    static std::string quoted(const std::string& text);

private:
    std::string file_;
    std::string part_;  // drawn into, then given the file's name
};

}  // namespace Kavelin::Cli
