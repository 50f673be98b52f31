#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Kavelin::Cli {

// What a page asks of `kavelin view`, as docs/view.md describes it.

enum class ViewAction { kPause, kContinue, kStep, kRestart };

/// Does what a page asks. A refusal is an exception; its message goes to the page.
class ViewTarget {
public:
    virtual ~ViewTarget() = default;
    /// @param pins "FILTER:PIN"; they replace those that the page watched
    virtual void watch(const std::vector<std::string>& pins) = 0;
    virtual void write(const std::string& filter, const std::string& property, const std::string& value) = 0;
    virtual void command(const std::string& filter, const std::string& property) = 0;
    virtual void transport(ViewAction action) = 0;
    /// @param pace positive, or kFullPace
    virtual void setPace(double pace) = 0;
};

struct ViewAnswer {
    std::string reply;       ///< one JSON object
    bool isRequest = false;  ///< a request it was, done or refused; not something else
};

/// Longest message that a page may send, bytes.
inline constexpr std::size_t kLongestViewMessage = 65536;
/// Pins that a page may watch.
inline constexpr std::size_t kMostWatchedPins = 64;

/// Reads one message of a page, has `target` do what it asks, and writes the reply. Any text is answered.
ViewAnswer answerViewMessage(std::string_view message, ViewTarget& target);

}  // namespace Kavelin::Cli
