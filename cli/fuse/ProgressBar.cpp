#include "cli/fuse/ProgressBar.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <ostream>

namespace Kavelin::Cli {

ProgressBar::ProgressBar(std::ostream& err, bool wanted)
    : err_(err), on_(wanted && ::isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar() { clear(); }

void ProgressBar::show(std::uint64_t rows, double share) {
    if (!on_) return;
    const Clock::time_point now = Clock::now();
    const double elapsed = std::chrono::duration<double>(now - start_).count();
    if (elapsed < 1.0 || now - last_ < std::chrono::milliseconds(200)) return;
    last_ = now;
    shown_ = true;
    err_ << fmt::format("\r{} rows, {:.0f} rows/s", rows, static_cast<double>(rows) / elapsed);
    if (share > 0.0) {
        share = std::min(1.0, share);
        err_ << fmt::format(", {:.0f} %, {:.0f} s left", 100.0 * share, elapsed * (1.0 - share) / share);
    }
    err_ << "\x1b[K" << std::flush;
}

void ProgressBar::clear() {
    if (shown_) err_ << "\r\x1b[K" << std::flush;
    shown_ = false;
}

}  // namespace Kavelin::Cli
