#include "progress.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

namespace orb::tool {

namespace {
constexpr std::chrono::milliseconds kPatience{500};
constexpr std::chrono::milliseconds kInterval{100};
}  // namespace

Progress::Progress(std::string what, std::size_t total, bool prints_data)
    : what_(std::move(what)),
      total_(total),
      is_shown_(isatty(STDERR_FILENO) != 0 && !(prints_data && isatty(STDOUT_FILENO) != 0)),
      next_(Clock::now() + kPatience) {}

Progress::~Progress() {
  if (is_drawn_) std::fputs("\r\033[K", stderr);
}

void Progress::step() {
  ++done_;
  if (!is_shown_ || Clock::now() < next_) return;
  next_ = Clock::now() + kInterval;
  draw();
}

void Progress::draw() {
  is_drawn_ = true;
  if (total_ == 0) {
    std::fprintf(stderr, "\r%s: %zu\033[K", what_.c_str(), done_);
  } else {
    std::fprintf(stderr, "\r%s: %zu %%\033[K", what_.c_str(), done_ * 100 / total_);
  }
}

}  // namespace orb::tool
