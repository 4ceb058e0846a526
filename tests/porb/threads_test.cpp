// Several threads on one handle and on many, several writers and readers of one file.
#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <set>
#include <thread>

#include "service_fixture.h"

using namespace porbtest;

namespace {

// ---- States of a file that differ in every block, so that a mixture of two shows

constexpr USHORT kGenerationClasses[] = {0x2006, 0x2008, 0x2009};
constexpr ULONG kGenerationChannels = 64;

/// Puts the number into every block: as header value, into a number of records that depends on it, and into a
/// spectrum. Nothing is flushed.
ULONG putGeneration(void* handle, LONG generation) {
  const USHORT size = sizeof generation;
  ULONG status = AIO_OK;
  for (const USHORT cls : kGenerationClasses) {
    const ULONG code = static_cast<ULONG>(cls) << 16;
    if (status == AIO_OK) status = AioPutParam(handle, code, 0, 0, &generation, &size);
    for (USHORT record = 1; record <= 5 && status == AIO_OK; ++record)
      status = AioPutParam(handle, code + 1, record, 0, &generation, &size);
    if (status == AIO_OK) status = AioDelete(handle, cls, static_cast<USHORT>(1 + generation % 5), 0);
  }
  LONG channels[kGenerationChannels];
  for (LONG& channel : channels) channel = generation;
  if (status == AIO_OK) AioCreatePHA(handle, 1, kGenerationChannels, 1);
  return status == AIO_OK ? AioWriteSpectrum2(handle, channels, AIO_FORMAT_LONG, kGenerationChannels, 1, 1, 1) : status;
}

/// All numbers of a class, or of the spectrum.
ULONG getGeneration(void* handle, USHORT cls, std::set<LONG>& numbers) {
  if (cls == ORB_CLS_SPECTRUM) {
    LONG channels[kGenerationChannels];
    const ULONG status = AioReadSpectrum2(handle, channels, AIO_FORMAT_LONG, kGenerationChannels, 1, 1, 1);
    if (status == AIO_OK) numbers.insert(channels, channels + kGenerationChannels);
    return status;
  }
  const ULONG code = static_cast<ULONG>(cls) << 16;
  LONG number = 0;
  USHORT size = sizeof number;
  ULONG status = AioGetParam(handle, code, 0, 0, &number, &size);
  if (status == AIO_OK) numbers.insert(number);
  for (USHORT record = 1; record <= 4 && status == AIO_OK; ++record) {
    status = AioGetParam(handle, code + 1, record, 0, &number, &size);
    if (status == AIO_OK) numbers.insert(number);
  }
  return status;
}

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

}  // namespace
