// Several threads on one handle and on many, several writers and readers of one file, in one process and in two.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <random>
#include <thread>

#include "generations.h"
#include "service_fixture.h"

using namespace porbtest;

extern char** environ;

namespace {

constexpr ULONG kText = 0x20060002;  // text of 200 in the header
constexpr ULONG kName = 0x20060003;  // text of 60 in records

/// Runs all of them at once, each in a thread of its own.
void together(const std::vector<std::function<void()>>& bodies) {
  std::atomic<std::size_t> n_waiting{bodies.size()};
  std::vector<std::thread> threads;
  for (const auto& body : bodies)
    threads.emplace_back([&] {
      --n_waiting;
      while (n_waiting != 0) std::this_thread::yield();
      body();
    });
  for (std::thread& thread : threads) thread.join();
}

/// A text whose characters are all the same shows when two puts mix.
bool isWhole(const std::string& text) {
  return text.find_first_not_of(text.front()) == std::string::npos;
}

class ThreadsTest : public ServiceTest {
 protected:
  void SetUp() override {
    std::vector<ParameterLine> lines;
    for (const USHORT cls : kGenerationClasses) {
      lines.push_back({ULONG{cls} << 16, AIO_IN_HEADER, AIO_T_INT32});
      lines.push_back({(ULONG{cls} << 16) + 1, AIO_IN_RECORD, AIO_T_INT32});
      if (cls != 0x2006) continue;
      lines.push_back({kText, AIO_IN_HEADER, AIO_T_TEXT, 200});
      lines.push_back({kName, AIO_IN_RECORD, AIO_T_NAME, 60});
    }
    useDictionary(lines);
  }
};

TEST_F(ThreadsTest, TwoThreadsOnOneHandleNeverSeeHalfAValue) {
  File file = File::create(path());
  const auto write = [&](char first) {
    for (int i = 0; i < 3000; ++i) {
      const auto c = static_cast<char>(first + i % 26);
      ASSERT_STATUS(AIO_OK, put(file, kText, 0, 0, std::string(9u + static_cast<unsigned>(i) % 190, c)));
      ASSERT_STATUS(AIO_OK, put(file, kName, 1, 0, std::string(60, c)));
      if (i % 3 == 0) AioInsertRecord(file, 0x2006, 0);  // the name moves to the next record
      if (i % 3 == 1) AioDelete(file, 0x2006, 1, 0);
      if (i % 300 == 0) {
        EXPECT_STATUS(AIO_OK, AioFlush(file));
      }
      const auto text = got<std::string>(file, kText);
      ASSERT_TRUE(isWhole(text)) << text;
      std::string name;
      const ULONG status = get(file, kName, static_cast<USHORT>(1 + i % 2), 0, name);
      ASSERT_TRUE(status == AIO_NOVALUE || (status == AIO_OK && isWhole(name))) << Named{status} << name;
    }
  };
  together({[&] { write('A'); }, [&] { write('a'); }});
  ASSERT_STATUS(AIO_OK, AioFlush(file));
  EXPECT_STATUS(AIO_OK, AioCheck(file, nullptr, nullptr));
}

TEST_F(ThreadsTest, SixteenThreadsOnSixteenHandlesDoNotMeet) {
  std::vector<std::function<void()>> bodies;
  for (LONG thread = 0; thread < 16; ++thread)
    bodies.emplace_back([this, thread] {
      const std::string name = path("file" + std::to_string(thread));
      for (LONG round = 0; round < 10; ++round) {
        File file = round == 0 ? File::create(name) : File::open(name);
        std::set<LONG> numbers;
        if (round != 0) {
          ASSERT_STATUS(AIO_OK, getGeneration(file, 0x2008, numbers));
          ASSERT_THAT(numbers, testing::ElementsAre(100 * thread + round - 1));
        }
        ASSERT_STATUS(AIO_OK, putGeneration(file, 100 * thread + round));
        ASSERT_STATUS(AIO_OK, file.close(AIO_CLOSE_FLUSH));
      }
    });
  together(bodies);
}

TEST_F(ThreadsTest, CopiesBothWaysAtOnceEndAndAreWhole) {
  File a = File::create(path("a")), b = File::create(path("b"));
  ASSERT_STATUS(AIO_OK, putGeneration(a, 1));
  ASSERT_STATUS(AIO_OK, putGeneration(b, 2));
  const auto copy = [](void* from, void* to) {
    for (USHORT i = 0; i < 400; ++i) {
      EXPECT_STATUS(AIO_OK, AioCopy(from, to, 0x2006));
      EXPECT_STATUS(AIO_OK, AioMoveRecord(0x2008, from, 1, to, 2));
      EXPECT_STATUS(AIO_OK, AioDupFile(from, to));
      if (i % 100 == 0) {
        EXPECT_STATUS(AIO_OK, AioFlush(to));
      }
    }
  };
  together({[&] { copy(a, b); }, [&] { copy(b, a); }, [&] { copy(a, a); }});
  for (void* handle : {static_cast<void*>(a), static_cast<void*>(b)}) {
    ASSERT_STATUS(AIO_OK, AioFlush(handle));
    EXPECT_STATUS(AIO_OK, AioCheck(handle, nullptr, nullptr));
    for (const USHORT cls : kGenerationClasses) {
      std::set<LONG> numbers;
      EXPECT_STATUS(AIO_OK, getGeneration(handle, cls, numbers));
      for (const LONG number : numbers) EXPECT_TRUE(number == 1 || number == 2) << number;
    }
  }
}

TEST_F(ThreadsTest, CloseWhileOthersCallKeepsEveryPutThatWasAnswered) {
  for (int round = 0; round < 25; ++round) {
    const std::string name = path("round" + std::to_string(round));
    void* handle = nullptr;
    ASSERT_STATUS(AIO_OK, AioCreate(&handle, name.c_str(), 0, nullptr, nullptr, nullptr));
    File other = File::create(name + "other");
    ASSERT_STATUS(AIO_OK, putGeneration(handle, 1));
    std::atomic<LONG> last{1};
    const auto until_closed = [&](const std::function<ULONG()>& call) {
      for (ULONG status = AIO_OK; status != AIO_BADHANDLE;) {
        status = call();
        ASSERT_TRUE(status == AIO_OK || status == AIO_BADHANDLE) << Named{status};
      }
    };
    together({[&] {
                LONG next = 1;
                until_closed([&] {
                  const ULONG status = put(handle, 0x20060000, 0, 0, ++next);
                  if (status == AIO_OK) last = next;
                  return status;
                });
              },
              [&] {
                LONG value = 0;
                until_closed([&] { return get(handle, 0x20080000, 0, 0, value); });
              },
              [&] { until_closed([&] { return AioDupFile(handle, other); }); },
              [&] { until_closed([&] { return AioIsOpen(handle) != 0 ? AioFlush(handle) : ULONG{AIO_BADHANDLE}; }); },
              [&] {
                while (last < 50 + round) std::this_thread::yield();
                EXPECT_STATUS(AIO_OK, AioClose2(handle, AIO_CLOSE_FLUSH));
              }});
    EXPECT_EQ(got<LONG>(File::open(name, AIO_READ_ONLY), 0x20060000), last);
  }
}

TEST_F(ThreadsTest, ManyThreadsCloseOneHandleAndOneOfThemSucceeds) {
  for (int round = 0; round < 30; ++round) {
    void* handle = nullptr;
    ASSERT_STATUS(AIO_OK, AioCreate(&handle, path(std::to_string(round)).c_str(), 0, nullptr, nullptr, nullptr));
    std::atomic<int> n_closed{0};
    const std::function<void()> close = [&] {
      const ULONG status = AioClose2(handle, AIO_CLOSE_FLUSH);
      n_closed += status == AIO_OK ? 1 : 0;
      EXPECT_TRUE(status == AIO_OK || status == AIO_BADHANDLE) << Named{status};
    };
    together({close, close, close, close});
    EXPECT_EQ(n_closed, 1);
  }
}

// ---- Several openers of one file --------------------------------------------------------------------------------

/// The program other_writer on a file.
class OtherProcess {
 public:
  OtherProcess(const char* what, const std::string& file) {
    int to[2], from[2];
    if (pipe2(to, O_CLOEXEC) != 0 || pipe2(from, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, to[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, from[1], STDOUT_FILENO);
    std::string program = PORB_OTHER_WRITER, mode = what, name = file;
    char* arguments[] = {program.data(), mode.data(), name.data(), nullptr};
    if (posix_spawn(&pid_, program.c_str(), &actions, nullptr, arguments, environ) != 0)
      throw std::runtime_error("cannot start " + program);
    posix_spawn_file_actions_destroy(&actions);
    ::close(to[0]);
    ::close(from[1]);
    to_ = to[1];
    from_ = fdopen(from[0], "r");
  }
  ~OtherProcess() {
    end();
    std::fclose(from_);
  }
  OtherProcess(const OtherProcess&) = delete;
  OtherProcess& operator=(const OtherProcess&) = delete;

  /// The next status that it reports.
  ULONG next() {
    unsigned status = ~0u;
    EXPECT_EQ(std::fscanf(from_, "%u", &status), 1) << "it has ended";
    return status;
  }
  void kill() {
    ::kill(pid_, SIGKILL);
    wait();
  }
  /// Lets it finish. @return its exit code
  int end() {
    if (to_ >= 0) ::close(to_);
    to_ = -1;
    while (std::fgetc(from_) != EOF) {
    }
    return wait();
  }

 private:
  int wait() {
    int result = 0;
    if (pid_ > 0) waitpid(pid_, &result, 0);
    pid_ = -1;
    return WIFEXITED(result) ? WEXITSTATUS(result) : -1;
  }
  pid_t pid_ = -1;
  int to_ = -1;
  std::FILE* from_ = nullptr;
};

class SharingTest : public ThreadsTest {
 protected:
  void SetUp() override {
    ThreadsTest::SetUp();
    File file = File::create(path());
    ASSERT_STATUS(AIO_OK, putGeneration(file, 1));
    ASSERT_STATUS(AIO_OK, file.close(AIO_CLOSE_FLUSH));
  }

  /// Reads as fast as it can, and sees every state whole and none older than one that it has seen before.
  void readWhile(const std::function<bool()>& more) {
    const File kept = File::open(path(), AIO_READ_ONLY);
    LONG newest = 0, newest_kept = 0;
    do {
      {
        // A copy of the whole file is one state.
        File copy = File::create(path("copy"));
        ASSERT_STATUS(AIO_OK, AioDupFile(kept, copy));
        std::set<LONG> numbers;
        for (const USHORT cls : {USHORT{0x2006}, USHORT{0x2008}, USHORT{0x2009}, USHORT{0x2005}})
          ASSERT_STATUS(AIO_OK, getGeneration(copy, cls, numbers));
        ASSERT_EQ(numbers.size(), 1u) << testing::PrintToString(numbers);
        ASSERT_GE(*numbers.begin(), newest_kept);
        newest_kept = *numbers.begin();
        ASSERT_STATUS(AIO_OK, copy.close(AIO_CLOSE_DELETE));
      }
      // Between two loads the reader may move on as a whole; when the first block is still the one it was, it did not.
      const File reader = File::open(path(), AIO_READ_ONLY);
      std::set<LONG> first, others, again;
      ASSERT_STATUS(AIO_OK, getGeneration(reader, 0x2006, first));
      for (const USHORT cls : {USHORT{0x2005}, USHORT{0x2008}, USHORT{0x2009}})
        ASSERT_STATUS(AIO_OK, getGeneration(reader, cls, others));
      ASSERT_STATUS(AIO_OK, getGeneration(reader, 0x2006, again));
      ASSERT_EQ(first.size(), 1u) << testing::PrintToString(first);
      ASSERT_EQ(again.size(), 1u) << testing::PrintToString(again);
      ASSERT_GE(*again.begin(), *first.begin());
      ASSERT_GE(*first.begin(), newest);
      newest = *again.begin();
      if (first == again) {
        ASSERT_EQ(others, first);
        ++n_whole_;
      }
    } while (more());
  }
  int n_whole_ = 0;
};

TEST_F(SharingTest, ReaderInThisProcessSeesOldOrNewStateAndNeverAMixture) {
  File file = File::open(path());
  std::atomic<bool> is_done{false};
  together({[&] {
              for (LONG generation = 2; generation <= 150; ++generation) {
                ASSERT_STATUS(AIO_OK, putGeneration(file, generation));
                ASSERT_STATUS(AIO_OK, AioFlush(file));
                // What is acknowledged is what the next reader sees.
                EXPECT_EQ(got<LONG>(File::open(path(), AIO_READ_ONLY), 0x20080000), generation);
              }
              is_done = true;
            },
            [&] { readWhile([&] { return !is_done; }); }});
  EXPECT_GT(n_whole_, 0);
}

TEST_F(SharingTest, ReaderOfAnotherProcessSeesOldOrNewStateAndNeverAMixture) {
  OtherProcess writer("generations", path());
  ASSERT_STATUS(AIO_OK, writer.next());
  int n_flushes = 0;
  readWhile([&] {
    EXPECT_STATUS(AIO_OK, writer.next());
    return ++n_flushes < 100 && !HasFailure();
  });
  EXPECT_EQ(writer.end(), 0);
  EXPECT_GT(n_whole_, 0);
}

TEST_F(SharingTest, SecondWriterOfThisProcessIsLockedOutByWhateverNameAndReadersAreNot) {
  std::filesystem::create_symlink(path(), path("link"));
  std::filesystem::create_directory_symlink(dir_.path(), path("folder"));
  const std::string names[] = {path(), path("link"), path("folder") + "/file.orb", path("./file.orb")};
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    File writer = File::open(name);
    for (const std::string& other : names) {
      EXPECT_STATUS(AIO_LOCKED, File::tryOpen(other)) << other;
      EXPECT_STATUS(AIO_OK, File::tryOpen(other, AIO_READ_ONLY)) << other;
    }
    EXPECT_STATUS(AIO_FILEEXISTS, AioCreate(std::vector<void*>(1).data(), name.c_str(), 0, nullptr, nullptr, nullptr));
    ASSERT_STATUS(AIO_OK, put(writer, 0x20060000, 0, 0, LONG{5}));
    EXPECT_STATUS(AIO_OK, AioFlush(writer)) << "the attempts have taken something from the writer";
    EXPECT_STATUS(AIO_LOCKED, File::tryOpen(path()));
  }
  EXPECT_STATUS(AIO_OK, File::tryOpen(path())) << "the lock goes with the writer";
  EXPECT_THAT(path() + "-lock",
              testing::Not(testing::Truly([](const std::string& name) { return std::filesystem::exists(name); })));
}

TEST_F(SharingTest, OfManyThreadsOneBecomesTheWriter) {
  for (int round = 0; round < 30; ++round) {
    std::atomic<int> n_open{0}, n_tried{0};
    const std::function<void()> open = [&] {
      void* handle = nullptr;
      const ULONG status = AioOpen2(&handle, path().c_str(), AIO_READ_WRITE, 0, 0);
      EXPECT_TRUE(status == AIO_OK || status == AIO_LOCKED) << Named{status};
      n_open += status == AIO_OK ? 1 : 0;
      ++n_tried;
      while (n_tried < 4) std::this_thread::yield();
      if (status == AIO_OK) {
        EXPECT_STATUS(AIO_OK, AioClose2(handle, AIO_CLOSE_FLUSH));
      }
    };
    together({open, open, open, open});
    EXPECT_EQ(n_open, 1);
  }
}

TEST_F(SharingTest, WriterOfAnotherProcessLocksUntilItEndsOrIsKilled) {
  for (const bool killed : {false, true}) {
    SCOPED_TRACE(killed ? "killed" : "ended");
    OtherProcess writer("hold", path());
    ASSERT_STATUS(AIO_OK, writer.next());
    EXPECT_STATUS(AIO_LOCKED, File::tryOpen(path()));
    EXPECT_EQ(got<LONG>(File::open(path(), AIO_READ_ONLY), 0x20060000), 1);
    if (killed)
      writer.kill();
    else
      EXPECT_EQ(writer.end(), 0);
    const File file = File::open(path());
    EXPECT_EQ(got<LONG>(file, 0x20060000), 1) << "what was never flushed";
    OtherProcess second("hold", path());
    EXPECT_STATUS(AIO_LOCKED, second.next());
    EXPECT_EQ(second.end(), 1);
  }
}

}  // namespace
