#include "writelog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace {

using com::norvale::application::vyx::formatLogLine;
using com::norvale::application::vyx::LogLine;
using com::norvale::application::vyx::LogSink;
using com::norvale::application::vyx::routeLog;
using com::norvale::application::vyx::writelog;
using testing::ElementsAre;
using testing::Pair;

// What the library gave to the system log, as (priority with facility, text).
std::mutex system_log_mutex;
std::vector<std::pair<int, std::string>> system_log;

void record(int priority, const char* format, va_list arguments) {
  char text[512];
  std::vsnprintf(text, sizeof text, format, arguments);
  const std::lock_guard lock(system_log_mutex);
  system_log.emplace_back(priority, text);
}

}  // namespace

// Stand in front of the C library's own, under the plain name and the one of hardened builds.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
__attribute__((visibility("default"), format(printf, 2, 3))) void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  record(priority, format, arguments);
  va_end(arguments);
}
__attribute__((visibility("default"), format(printf, 3, 4))) void __syslog_chk(int priority, int, const char* format,
                                                                               ...) {
  va_list arguments;
  va_start(arguments, format);
  record(priority, format, arguments);
  va_end(arguments);
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

constexpr int kUserFacility = 8;

class WritelogTest : public testing::Test {
 protected:
  void SetUp() override {
    routeLog(nullptr);
    system_log.clear();
  }
  void TearDown() override { routeLog(nullptr); }
};

TEST_F(WritelogTest, LineGoesToTheSystemLogWithItsPriority) {
  for (int priority = 0; priority <= 7; ++priority) {
    system_log.clear();
    writelog("FileAccess::close", priority, "File is 100%s closed", 0xEBE81389u);
    EXPECT_THAT(system_log,
                ElementsAre(Pair(kUserFacility | priority, "FileAccess::close: File is 100%s closed (0xEBE81389)")));
  }
}

TEST_F(WritelogTest, UnknownPriorityIsAnError) {
  std::vector<int> seen;
  for (const int priority : {-1, 8, 11, 1 << 20, -2147483647}) writelog("w", priority, "m", 0);
  routeLog([&](const LogLine& line) { seen.push_back(line.priority); });
  for (const int priority : {-1, 0, 7, 8}) writelog("w", priority, "m", 0);
  for (const auto& line : system_log) EXPECT_EQ(line.first, kUserFacility | 3);
  EXPECT_EQ(system_log.size(), 5u);
  EXPECT_THAT(seen, ElementsAre(3, 0, 7, 3));
}

TEST_F(WritelogTest, OneCallIsOneLineOfText) {
  const struct {
    std::string where, message;
    unsigned code;
    std::string text;
  } cases[] = {
      {"w", "m", 0, "w: m (0x00000000)"},
      {"", "", 0xFFFFFFFFu, ":  (0xFFFFFFFF)"},
      {"w", "a\nb\r\nc\t", 0x1Au, "w: a\\nb\\r\\nc\\t (0x0000001A)"},
      {"w\n", "\x1B[1m\x7F", 1, "w\\n: \\x1B[1m\\x7F (0x00000001)"},
      {"w", std::string("a\0b", 3), 1, "w: a\\x00b (0x00000001)"},
      {"w", "\xC2\xB5s \\n", 1, "w: \xC2\xB5s \\n (0x00000001)"},
      {"w", "\xC2\x9B \xE2\x80\xAE \xFF", 1, "w: \\x9B \\u202E \\xFF (0x00000001)"},
      {"w", std::string(100000, 'x'), 1, "w: " + std::string(100000, 'x') + " (0x00000001)"},
  };
  for (const auto& c : cases) EXPECT_EQ(formatLogLine({c.where, 3, c.message, c.code}), c.text);
}

TEST_F(WritelogTest, SinkGetsTheLineAsGivenUntilReplaced) {
  std::vector<std::string> first;
  std::vector<std::string> second;
  EXPECT_FALSE(routeLog([&](const LogLine& line) { first.push_back(line.where + '|' + line.message); }));
  writelog("w", 5, "one\n", 1);
  const LogSink old = routeLog([&](const LogLine& line) { second.push_back(line.message); });
  writelog("w", 5, "two", 2);
  ASSERT_TRUE(old);
  EXPECT_TRUE(routeLog(old));
  writelog("w", 5, "three", 3);
  EXPECT_TRUE(routeLog(nullptr));
  EXPECT_FALSE(routeLog(nullptr));
  writelog("w", 5, "four", 4);
  EXPECT_THAT(first, ElementsAre("w|one\n", "w|three"));
  EXPECT_THAT(second, ElementsAre("two"));
  EXPECT_THAT(system_log, ElementsAre(Pair(kUserFacility | 5, "w: four (0x00000004)")));
}

TEST_F(WritelogTest, SinkThatLogsOrThrowsHarmsNobody) {
  int calls = 0;
  routeLog([&](const LogLine&) {
    ++calls;
    writelog("sink", 4, "inner", 7);
    throw std::runtime_error("sink is broken");
  });
  writelog("w", 3, "outer", 1);
  writelog("w", 3, "outer", 1);
  EXPECT_EQ(calls, 2);
  EXPECT_THAT(system_log, ElementsAre(Pair(kUserFacility | 4, "sink: inner (0x00000007)"),
                                      Pair(kUserFacility | 4, "sink: inner (0x00000007)")));
}

// Logs from its destructor, as an object that a sink owns may do.
struct LogsWhenDestroyed {
  LogsWhenDestroyed() = default;
  LogsWhenDestroyed(const LogsWhenDestroyed&) = delete;
  LogsWhenDestroyed& operator=(const LogsWhenDestroyed&) = delete;
  ~LogsWhenDestroyed() { writelog("destructor", 6, "gone", 0); }
};

TEST_F(WritelogTest, SinkMayReplaceItselfAndDieLogging) {
  std::vector<std::string> lines;
  auto owned = std::make_shared<LogsWhenDestroyed>();
  routeLog([&lines, owned](const LogLine& line) {
    routeLog([&lines](const LogLine& later) { lines.push_back("new: " + later.message); });
    lines.push_back("old: " + line.message + (owned ? "" : " lost"));
  });
  owned.reset();
  writelog("w", 3, "one", 1);
  writelog("w", 3, "two", 1);
  EXPECT_THAT(lines, ElementsAre("old: one", "new: gone", "new: two"));

  auto again = std::make_shared<LogsWhenDestroyed>();
  routeLog([again](const LogLine&) {});
  again.reset();
  routeLog(nullptr);
  EXPECT_THAT(system_log, ElementsAre(Pair(kUserFacility | 6, "destructor: gone (0x00000000)")));
}

TEST_F(WritelogTest, RouteLogReturnsOnlyWhenNobodyIsInsideTheOldSink) {
  std::promise<void> entered;
  std::promise<void> release;
  std::atomic<bool> finished{false};
  routeLog([&](const LogLine&) {
    entered.set_value();
    release.get_future().wait();
    finished = true;
  });
  std::thread writer([] { writelog("w", 6, "line", 0); });
  entered.get_future().wait();
  auto routed = std::async(std::launch::async, [&] {
    routeLog(nullptr);
    return finished.load();
  });
  // Long enough for the other thread to come back, if it is not kept waiting.
  EXPECT_EQ(routed.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  release.set_value();
  EXPECT_TRUE(routed.get());
  writer.join();
}

TEST_F(WritelogTest, SinksMayBeExchangedWhileOthersLogAndTakeOneLineAtATime) {
  std::atomic<bool> stop{false};
  std::atomic<int> received{0};
  std::atomic<bool> late{false}, overlap{false};
  std::atomic<int> inside{0};
  const auto take = [&] {
    if (++inside != 1) overlap = true;
    ++received;
    std::this_thread::yield();
    --inside;
  };
  int sent[2] = {0, 0};
  std::vector<std::thread> threads;
  for (int& count : sent) {
    threads.emplace_back([&stop, &count] {
      for (; !stop; ++count) writelog("thread", 6, "line", 0);
    });
  }
  routeLog([&](const LogLine&) { take(); });
  for (int i = 0; i < 200; ++i) {
    auto alive = std::make_unique<std::atomic<bool>>(true);  // a late call would be a use after free, too
    routeLog([&, flag = alive.get()](const LogLine&) {
      if (!*flag) late = true;
      take();
    });
    std::this_thread::yield();
    routeLog([&](const LogLine&) { take(); });
    *alive = false;
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(late);
  EXPECT_FALSE(overlap);
  EXPECT_EQ(received + static_cast<int>(system_log.size()), sent[0] + sent[1]);
}

// Without the fixture, which would use the log too early. Suites of this kind of name run before all others.
TEST(WritelogDeathTest, LinesAreTakenUntilTheVeryEndOfTheProcess) {
  EXPECT_EXIT(
      {
        // Made before the log is first used, and so destroyed after everything that is made later.
        static const LogsWhenDestroyed last_to_go;
        routeLog([](const LogLine& line) { std::fputs(formatLogLine(line).c_str(), stderr); });
        std::exit(0);
      },
      testing::ExitedWithCode(0), "destructor: gone");
}

}  // namespace
