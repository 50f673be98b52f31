#include "io/files/LiveSource.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace Kavelin::RecordingIO {

namespace {

constexpr std::size_t kLongestLine = std::size_t{1} << 16;  // a datagram is shorter
constexpr int kShortestWait = 100, kLongestWait = 10'000;   // ms, between two attempts to connect

class LiveSource : public ByteSource, public LiveStream {
public:
    LiveSource(std::unique_ptr<LivePort> port, std::shared_ptr<LiveNotes> notes)
        : port_(std::move(port)), notes_(std::move(notes)) {
        buffer_.resize(2 * kLongestLine);
        if (const std::string text = port_->waitsFor(); !text.empty()) tell(text);
    }

    std::size_t read(char* into, std::size_t size) override {
        while (ready_ == 0) {
            if (isLost_ && !reconnect()) return 0;
            if (closed_->await(port_->descriptor(), POLLIN) == CloseEvent::Came::kClose) return 0;
            take(port_->receive(buffer_.data() + filled_, kLongestLine));
        }
        return handOut(into, std::min(size, ready_));
    }

    std::function<void()> closer() override {
        return [closed = closed_] { closed->set(); };
    }
    bool mayWait() const override { return true; }
    bool beginsMidLine() const override { return port_->beginsMidLine(); }
    std::string hintAboutRubbish() const override { return port_->hintAboutRubbish(); }
    std::size_t longestLine() const override { return kLongestLine; }
    double arrival() const override { return arrival_; }
    LiveStream* live() override { return this; }
    void tell(const std::string& what) override { notes_->tell(port_->name() + ": " + what); }
    std::uint64_t consumed() const override { return consumed_; }

private:
    void take(const LivePort::Received& received) {
        if (received.kind == LivePort::Received::Kind::kLoss) return lose();
        if (received.kind == LivePort::Received::Kind::kNothing) return;
        arrival_ = steadySeconds();
        std::size_t end = filled_ + received.count;
        if (port_->bringsWholeLines() && buffer_[end - 1] != '\n') buffer_[end++] = '\n';
        const char* const begin = buffer_.data();
        const void* feed = ::memrchr(begin + filled_, '\n', end - filled_);
        if (feed && skipsToFeed_) {
            const void* first = std::memchr(begin + filled_, '\n', end - filled_);
            drop(static_cast<std::size_t>(static_cast<const char*>(first) - begin) + 1, end);
            end = filled_;
            skipsToFeed_ = false;
            feed = ::memrchr(begin, '\n', end);
        } else if (skipsToFeed_) {
            return;  // still the rest of a line
        }
        filled_ = end;
        if (feed)
            ready_ = static_cast<std::size_t>(static_cast<const char*>(feed) - begin) + 1;
        else if (filled_ >= kLongestLine)
            ready_ = filled_;  // a flood without line feeds: whoever cuts lines will say so
    }

    /// Forgets what stands before `from`.
    void drop(std::size_t from, std::size_t end) {
        std::memmove(buffer_.data(), buffer_.data() + from, end - from);
        filled_ = end - from;
    }

    std::size_t handOut(char* into, std::size_t count) {
        std::memcpy(into, buffer_.data(), count);
        isMidLine_ = buffer_[count - 1] != '\n';
        drop(count, filled_);
        ready_ -= count;
        consumed_ += count;
        return count;
    }

    /// What has come of a line ends with the connection: half of a number may be a number too.
    void lose() {
        notes_->tell(LiveNotes::Event::kLoss, port_->name() + ": connection lost; waiting for it");
        if (filled_ > 0) notes_->count(LiveNotes::Event::kUnfinishedLine);
        filled_ = 0;
        if (isMidLine_) {
            buffer_[filled_++] = '\n';
            ready_ = filled_;
        }
        skipsToFeed_ = false;
        isLost_ = true;
    }

    /// @return false when it was closed meanwhile.
    bool reconnect() {
        for (int wait = 0; !port_->reopen(*closed_);
             wait = std::clamp(2 * wait, kShortestWait, kLongestWait)) {
            if (closed_->await(-1, 0, wait) == CloseEvent::Came::kClose) return false;
        }
        isLost_ = false;
        skipsToFeed_ = port_->beginsMidLine();
        if (port_->isBackWhenOpen())
            notes_->tell(LiveNotes::Event::kReturn, port_->name() + ": connected again");
        return true;
    }

    const std::unique_ptr<LivePort> port_;
    const std::shared_ptr<LiveNotes> notes_;
    const std::shared_ptr<const CloseEvent> closed_ = std::make_shared<CloseEvent>();
    std::string buffer_;
    std::size_t filled_ = 0;    // bytes in it
    std::size_t ready_ = 0;     // of these, in whole lines
    bool isMidLine_ = false;    // what was handed out last did not end a line
    bool skipsToFeed_ = false;  // what comes next is the rest of a line
    bool isLost_ = false;
    double arrival_ = 0.0;
    std::uint64_t consumed_ = 0;
};

}  // namespace

std::unique_ptr<ByteSource> liveSource(std::unique_ptr<LivePort> port, std::shared_ptr<LiveNotes> notes) {
    return std::make_unique<LiveSource>(std::move(port), std::move(notes));
}

}  // namespace Kavelin::RecordingIO
