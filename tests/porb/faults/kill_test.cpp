// A writing process is killed at random moments. The file then holds the last flush that was acknowledged or the one
// in flight, and the next writer gets it at once.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <random>
#include <set>

#include "fault_support.h"
#include "generation.h"

using namespace faults;

namespace {

constexpr int kKills = 240;

/// A writer process, and what it acknowledged.
class Writer {
 public:
  Writer(const std::string& mode, const std::string& path) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("pipe");
    pid_ = fork();
    if (pid_ == 0) {
      dup2(ends[1], STDOUT_FILENO);
      close(ends[0]);
      close(ends[1]);
      execl(ORB_KILL_WRITER, ORB_KILL_WRITER, mode.c_str(), path.c_str(), nullptr);
      _exit(127);
    }
    close(ends[1]);
    from_ = ends[0];
  }
  ~Writer() { close(from_); }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  /// Waits for the next acknowledged number; false when the process has ended.
  bool next(LONG& number) {
    LONG read_number = 0;
    if (read(from_, &read_number, sizeof read_number) != sizeof read_number) return false;
    number = read_number;
    return true;
  }

  /// Kills it. @return the last number acknowledged, or `otherwise`
  LONG kill(LONG otherwise) {
    ::kill(pid_, SIGKILL);
    int result = 0;
    waitpid(pid_, &result, 0);
    EXPECT_TRUE(WIFSIGNALED(result) && WTERMSIG(result) == SIGKILL) << "the writer ended by itself: " << result;
    while (next(otherwise)) {
    }
    return otherwise;
  }

 private:
  pid_t pid_ = -1;
  int from_ = -1;
};

class Kill : public testing::Test {
 protected:
  void pause(unsigned longest_us) { usleep(std::uniform_int_distribution<unsigned>(0, longest_us)(random_)); }

  ScratchDir dir_{ScratchDir::OnDisk};
  std::mt19937 random_{4711};
};

/// How long the writer takes from one acknowledgement to the next [us], within bounds, so that kills fall into flushes
/// on fast and on slow machines alike.
unsigned timeOfFlush(const std::string& path) {
  constexpr int kFlushes = 10;
  Writer writer("flush", path);
  LONG number = 0;
  EXPECT_TRUE(writer.next(number));
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < kFlushes; ++i) EXPECT_TRUE(writer.next(number));
  const auto time = std::chrono::steady_clock::now() - begin;
  writer.kill(number);
  const auto each = std::chrono::duration_cast<std::chrono::microseconds>(time).count() / kFlushes;
  return static_cast<unsigned>(std::clamp<long long>(each, 500, 12000));
}

struct Tally {
  int in_flight = 0;  // the flush that was not acknowledged is there
  int journals = 0;   // it had begun to change the file
  int rolled_back = 0;
};

/// Looks at the file after a kill. A reader may be the first to come, then it completes the recovery.
LONG inspect(const std::string& path, ULONG access, LONG acknowledged, Tally& tally) {
  const bool had_journal = !readBytes(path + "-journal").empty();
  const File file(path, access);
  EXPECT_EQ(nameOf(file.status()), "AIO_OK");
  std::string mixture;
  const LONG found = readGeneration(file, mixture);
  EXPECT_EQ(mixture, "");
  EXPECT_TRUE(found == acknowledged || found == acknowledged + 1) << found << " after " << acknowledged;
  EXPECT_EQ(nameOf(AioCheck(file, nullptr, nullptr)), "AIO_OK");
  tally.in_flight += found > acknowledged ? 1 : 0;
  tally.journals += had_journal ? 1 : 0;
  tally.rolled_back += had_journal && found == acknowledged ? 1 : 0;
  return found;
}

TEST_F(Kill, LeavesTheLastFlushOrTheOneInFlight) {
  const std::string path = dir_ / "file";
  {
    File file;
    ASSERT_EQ(nameOf(AioCreate(file.out(), path.c_str(), 0, nullptr, nullptr, nullptr)), "AIO_OK");
  }
  const unsigned flush_us = timeOfFlush(path);
  std::string mixture;
  LONG generation = readGeneration(File(path, AIO_READ_ONLY), mixture);
  ASSERT_EQ(mixture, "");
  Tally tally;
  for (int round = 0; round < kKills && !HasFailure(); ++round) {
    SCOPED_TRACE("kill " + std::to_string(round));
    Writer writer("flush", path);
    LONG acknowledged = generation;
    if (round % 8 != 0) {  // otherwise the kill may also hit the opening
      ASSERT_TRUE(writer.next(acknowledged));
      EXPECT_EQ(acknowledged, generation);
    }
    pause(5 * flush_us / 2);
    acknowledged = writer.kill(acknowledged);
    generation = inspect(path, round % 2 == 0 ? AIO_READ_ONLY : AIO_READ_WRITE, acknowledged, tally);
  }
  std::cout << "[    kills ] " << kKills << ", pauses up to " << 5 * flush_us / 2 << " us, generations " << generation
            << ", in flight and there " << tally.in_flight << ", with a journal " << tally.journals
            << ", of them rolled back " << tally.rolled_back << "\n";
  EXPECT_GT(generation, kKills / 8);
  EXPECT_GE(tally.in_flight + tally.journals, 10);
  EXPECT_GE(tally.rolled_back, 5);
}

TEST_F(Kill, OfACreatorLeavesAWholeFileOrNone) {
  std::set<LONG> made;
  for (int round = 0; round < 40 && !HasFailure(); ++round) {
    SCOPED_TRACE("kill " + std::to_string(round));
    Writer writer("create", dir_.path());
    LONG last = 0;
    if (round % 4 != 0) {
      ASSERT_TRUE(writer.next(last));
      made.insert(last);
    }
    pause(4000);
    while (writer.next(last)) {
      made.insert(last);
      if (made.size() % 7 == 0) break;
    }
    last = writer.kill(last);
    for (LONG number = 1; number <= last + 1; ++number) {
      const std::string path = dir_ / std::to_string(number);
      if (number == last + 1 && !exists(path)) continue;
      EXPECT_EQ(nameOf(File(path).status()), "AIO_OK") << number;
    }
  }
  // What was half made is in nobody's way: the next creator of the same name succeeds.
  LONG next = 1;
  while (exists(dir_ / std::to_string(next))) ++next;
  File file;
  EXPECT_EQ(nameOf(AioCreate(file.out(), (dir_ / std::to_string(next)).c_str(), 0, nullptr, nullptr, nullptr)),
            "AIO_OK");
  EXPECT_GT(next, 40);
}

}  // namespace
