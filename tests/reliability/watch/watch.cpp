// An acquisition that flushes ten times a second, and four readers that follow it. Every block carries the number of
// the flush, so that a mixture shows.
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <thread>

#include "../report.h"
#include "fault_support.h"
#include "generation.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kBetweenFlushes = std::chrono::milliseconds(100);
constexpr auto kBetweenLooks = std::chrono::milliseconds(2);

/// Seen by all processes.
struct Board {
  std::atomic<LONG> acknowledged{0};
  std::atomic<bool> is_over{false};
  std::atomic<long> looks{0}, taken_over{0}, faults{0};
};

Board& board() {
  return reliability::shared<Board>();
}

bool expect(bool holds, const std::string& what) {
  if (!holds) ++board().faults;
  if (!holds) std::cout << "  " + what + "\n" << std::flush;
  return holds;
}

bool isDone(ULONG status, const char* what) {
  return expect(status == AIO_OK, std::string(what) + ": " + AioStatusName(status));
}

void flushTenTimesASecond(const std::string& path, Clock::time_point end) {
  void* handle = nullptr;
  if (!isDone(AioOpen2(&handle, path.c_str(), AIO_READ_WRITE, 0, 0), "open for writing")) return;
  for (auto next = Clock::now(); next < end; next += kBetweenFlushes) {
    std::this_thread::sleep_until(next);
    const LONG number = board().acknowledged + 1;
    if (!expect(faults::writeGeneration(handle, number), "put")) break;
    const ULONG status = AioFlush(handle);
    if (status == AIO_BUSY) continue;  // a reader holds it: tried again with the next
    if (!isDone(status, "flush")) break;
    board().acknowledged = number;
  }
  AioClose2(handle, AIO_CLOSE_NOFLUSH);
}

/// The one number of all blocks; -1 when there are several, or something cannot be read.
LONG numberIn(void* handle) {
  std::string mixture;
  const LONG number = faults::readGeneration(handle, mixture);
  return expect(mixture.empty(), "a mixture: " + mixture) ? number : -1;
}

void follow(const std::string& path) {
  void* handle = nullptr;
  if (!isDone(AioOpen2(&handle, path.c_str(), AIO_READ_ONLY, 0, 0), "open for reading")) return;
  ULONGLONG former = 0;
  LONG shown = 0;
  for (; !board().is_over; std::this_thread::sleep_for(kBetweenLooks)) {
    const LONG acknowledged = board().acknowledged;
    ULONGLONG state = 0;
    if (!isDone(AioGetState(handle, &state), "look")) break;
    ++board().looks;
    if (state == former) {
      expect(shown >= acknowledged, "a flush that does not show in the state");
      continue;
    }
    const ULONG status = AioFollow(handle);
    if (status == AIO_BUSY) continue;
    if (!isDone(status, "follow")) break;
    former = state;
    ++board().taken_over;
    const LONG number = numberIn(handle);
    expect(number >= acknowledged && number >= shown, "an older state than the last flush");
    shown = number;
    std::this_thread::sleep_for(kBetweenLooks);
    expect(numberIn(handle) == number, "a state that moves by itself");
  }
  AioClose2(handle, AIO_CLOSE_NOFLUSH);
}

bool make(const std::string& path) {
  void* handle = nullptr;
  bool is_made = isDone(AioCreate(&handle, path.c_str(), 0, nullptr, nullptr, nullptr), "create");
  is_made = is_made && expect(faults::writeGeneration(handle, 1), "put") && isDone(AioFlush(handle), "flush");
  board().acknowledged = 1;
  return isDone(AioClose2(handle, AIO_CLOSE_NOFLUSH), "close") && is_made;
}

}  // namespace

int main() {
  const std::string path = (std::filesystem::temp_directory_path() / ("watch-" + std::to_string(getpid()))).string();
  const int seconds = reliability::byLength(3, 60, 600);
  if (!make(path)) return 1;
  const auto begin = Clock::now();
  for (int i = 0; i < 2; ++i) {
    if (fork() != 0) continue;
    follow(path);
    _exit(0);
  }
  std::thread first(follow, path), second(follow, path);
  flushTenTimesASecond(path, begin + std::chrono::seconds(seconds));
  board().is_over = true;
  first.join();
  second.join();
  while (wait(nullptr) > 0) {
  }
  std::filesystem::remove(path);
  const long flushes = board().acknowledged;
  expect(flushes > 5 * seconds && board().taken_over > flushes, "too little was done to tell anything");
  const std::string figure = std::to_string(flushes) + " flushes, " + std::to_string(board().looks) + " looks, " +
                             std::to_string(board().taken_over) + " states taken over";
  std::cout << figure << "\n";
  const std::chrono::duration<double> time = Clock::now() - begin;
  reliability::report("a writer that flushes ten times a second and four readers", figure, board().faults, time.count(),
                      "make reliability PARTS=watch");
  return board().faults == 0 ? 0 : 1;
}
