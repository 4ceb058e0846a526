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

namespace {

using namespace faults;
using Clock = std::chrono::steady_clock;

constexpr ULONG kNumber = 0x20000007;
constexpr ULONG kTitle = 0x20000002;
constexpr ULONG kPeakFirst = 0x2006001E;
constexpr ULONG kLine = 0x20080021;
constexpr ULONG kOptions = 0x2010006F;
constexpr ULONG kSpectrumChannels = 2048;

LONG peaksOf(LONG generation) {
  return 5 + generation % 9;
}

std::string optionsOf(LONG generation) {
  return std::string(static_cast<std::size_t>(100 + generation % 900), static_cast<char>('a' + generation % 26)) +
         std::to_string(generation);
}

bool writePeaks(void* handle, LONG generation) {
  USHORT n = 0;
  if (AioCount(handle, ORB_CLS_PEAKS, 0, 0, &n) != AIO_OK && AioCreateBlock(handle, ORB_CLS_PEAKS, 0) != AIO_OK)
    return false;
  // One goes at the front and others come in the middle, so that ranks and places move all the time.
  if (n > 0 && AioDelete(handle, ORB_CLS_PEAKS, 1, 0) != AIO_OK) return false;
  for (n = n > 0 ? static_cast<USHORT>(n - 1) : n; n > peaksOf(generation); --n)
    if (AioDelete(handle, ORB_CLS_PEAKS, n, 0) != AIO_OK) return false;
  for (; n < peaksOf(generation); ++n)
    if (AioInsertRecord(handle, ORB_CLS_PEAKS, n / 2) != AIO_OK) return false;
  for (USHORT record = 1; record <= n; ++record)
    if (put(handle, kPeakFirst, record, 0, generation + record) != AIO_OK) return false;
  return true;
}

/// Brings a file to a generation, which carries one number everywhere, so that a mixture of two flushes shows: values,
/// records, a text and a spectrum. @return false when a call fails
bool writeGeneration(void* handle, LONG generation) {
  std::vector<LONG> channels(kSpectrumChannels, generation);
  if (generation == 1 && AioCreatePHA(handle, 1, kSpectrumChannels, 1) != AIO_OK) return false;
  for (USHORT entry = 1; entry <= 3; ++entry)
    if (put(handle, kLine, 1, entry, generation * entry) != AIO_OK) return false;
  return put(handle, kNumber, 0, 0, generation) == AIO_OK &&
         put(handle, kTitle, 0, 0, "generation " + std::to_string(generation)) == AIO_OK &&
         put(handle, kOptions, 1, 0, optionsOf(generation)) == AIO_OK && writePeaks(handle, generation) &&
         AioWriteSpectrum2(handle, channels.data(), AIO_FORMAT_LONG, kSpectrumChannels, 1, 1, 1) == AIO_OK;
}

/// The generation that a file holds, 0 for an empty one.
/// @param mixture  out: what does not belong to it; empty when all parts agree
LONG readGeneration(void* handle, std::string& mixture) {
  LONG generation = 0;
  const ULONG status = get(handle, kNumber, 0, 0, generation);
  AioBlockInfo_T blocks[16];
  ULONG n = 0;
  if (AioListBlocks(handle, blocks, 16, &n) != AIO_OK) mixture += "blocks cannot be listed; ";
  if (status == AIO_NOVALUE) {
    if (n != 0) mixture += "blocks without the number; ";
    return 0;
  }
  if (status != AIO_OK) mixture += "number: " + nameOf(status) + "; ";
  if (n != 5) mixture += std::to_string(n) + " blocks; ";

  char text[1025] = "";
  if (get(handle, kOptions, 1, 0, text) != AIO_OK || text != optionsOf(generation)) mixture += "options; ";
  char title[129] = "";
  if (get(handle, kTitle, 0, 0, title) != AIO_OK || title != "generation " + std::to_string(generation))
    mixture += "title; ";
  LONG value = 0;
  for (USHORT entry = 1; entry <= 3; ++entry)
    if (get(handle, kLine, 1, entry, value) != AIO_OK || value != generation * entry) mixture += "entry; ";
  USHORT peaks = 0;
  if (AioCount(handle, ORB_CLS_PEAKS, 0, 0, &peaks) != AIO_OK || peaks != peaksOf(generation))
    mixture += std::to_string(peaks) + " peaks; ";
  for (USHORT record = 1; record <= peaks; ++record)
    if (get(handle, kPeakFirst, record, 0, value) != AIO_OK || value != generation + record) mixture += "peak; ";
  std::vector<LONG> channels(kSpectrumChannels);
  if (AioReadSpectrum2(handle, channels.data(), AIO_FORMAT_LONG, kSpectrumChannels, 1, 1, 1) != AIO_OK ||
      channels != std::vector<LONG>(kSpectrumChannels, generation))
    mixture += "spectrum; ";
  return generation;
}

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
    if (!expect(writeGeneration(handle, number), "put")) break;
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
  const LONG number = readGeneration(handle, mixture);
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
  is_made = is_made && expect(writeGeneration(handle, 1), "put") && isDone(AioFlush(handle), "flush");
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
