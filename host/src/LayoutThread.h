#pragma once

#include <functional>
#include <memory>
#include <thread>

namespace Kavelin::Core {

class Bell;
struct Layout;

/// The thread that runs a layout: freely, or a lane's.
class LayoutThread {
public:
    explicit LayoutThread(Layout& layout) : layout_(layout) {}

    /// Starts a run in which the layout takes what other threads send as it comes.
    void start();
    /// Says that a thread is going to run the layout.  @param bell the lane's, if it is a lane's thread.
    void enter(std::shared_ptr<Bell> bell);
    void launch(std::function<void()> run) { thread_ = std::thread(std::move(run)); }
    /// Waits until no thread runs the layout.
    void wait();

private:
    void runFreely();
    bool isAlone() const;
    bool waitForRoom() const;

    Layout& layout_;
    std::thread thread_;  // runs this layout, and with a lane those that share it
};

}  // namespace Kavelin::Core
