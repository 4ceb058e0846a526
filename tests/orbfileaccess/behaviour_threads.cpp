// Several threads on one file object, and on two objects of one source. Meant to run under the thread sanitizer too.
#include <atomic>
#include <numeric>
#include <thread>

#include "BehaviourTest.h"

namespace orbtest {
namespace {

using namespace com::norvale::orb;

using ThreadsTest = BehaviourTest;

constexpr std::uint32_t kRealTime = 0x20000006;
constexpr int kRounds = 200;

void runAll(const std::vector<std::function<void()>>& bodies) {
  std::vector<std::thread> threads;
  for (const auto& body : bodies) threads.emplace_back(body);
  for (std::thread& thread : threads) thread.join();
}

TEST_F(ThreadsTest, MapsAreNeverSeenHalfWritten) {
  FileAccess file;
  create(file, "a.dat");
  ASSERT_EQ(file.setParameters({{kLiveTime, Variant(0.0)}, {kRealTime, Variant(0.0)}}, 0, 0, false), 0u);
  std::atomic<int> torn{0};
  const auto write = [&] {
    for (int i = 0; i < kRounds; ++i) {
      file.setParameters({{kLiveTime, Variant(double(i))}, {kRealTime, Variant(double(i))}}, 0, 0, false);
    }
  };
  const auto read = [&] {
    for (int i = 0; i < kRounds; ++i) {
      ParameterMap map{{kLiveTime, Variant()}, {kRealTime, Variant()}};
      if (file.getParameters(map, 0, 0, false) != 0 || map[kLiveTime] != map[kRealTime]) ++torn;
    }
  };
  runAll({write, write, read, read});
  EXPECT_EQ(torn, 0);
}

TEST_F(ThreadsTest, EveryOperationMayMeetEveryOther) {
  FileAccess file;
  create(file, "a.dat");
  std::atomic<int> failures{0};
  const auto check = [&](std::uint32_t code) {
    if (code != 0) ++failures;
  };
  const auto spectra = [&](int value) {
    return [&, value] {
      for (int i = 0; i < kRounds / 10; ++i) {
        check(file.setSpectrum(std::vector<int>(1024, value), 1, 1));
        std::vector<int> counts;
        check(file.getSpectrum(counts, 1, 1));
        // Whole spectra only: all channels come from one write.
        if (counts != std::vector<int>(1024, counts[0])) ++failures;
      }
    };
  };
  const auto structure = [&] {
    for (int i = 0; i < kRounds; ++i) {
      const std::lock_guard<std::recursive_mutex> hold(file.mutex());
      check(file.createBlock(0x2006, 0, 1, 1));
      check(file.insertItem(0x2006, 0, 0));
      std::uint16_t n = 0;
      check(file.countItems(0x2006, n, 0));
      check(file.deleteLevel(20));
      if (n != 1) ++failures;
    }
  };
  const auto flags = [&] {
    for (int i = 0; i < kRounds; ++i) file.setModified(!file.hasBeenModified());
  };
  const auto flushes = [&] {
    for (int i = 0; i < 5; ++i) check(file.flush());
  };
  runAll({spectra(1), spectra(2), structure, flags, flushes});
  EXPECT_EQ(failures, 0);
}

TEST_F(ThreadsTest, ManyFilesTakeCopiesOfOneSource) {
  FileAccess source;
  create(source, "source.dat");
  FileAccess destinations[3];
  for (int i = 0; i < 3; ++i) create(destinations[i], "dest" + std::to_string(i));
  std::atomic<int> failures{0};
  std::vector<std::function<void()>> bodies;
  for (FileAccess& dest : destinations) {
    bodies.push_back([&] {
      for (int i = 0; i < 20; ++i) {
        if (source.copyTo(dest, 0x2000) != 0 || source.copyCalibrationsTo(dest, EFFICIENCY) != 0) ++failures;
        Variant slope;
        if (dest.getParameter(kEnergySlope, slope, 0, 0) != 0 || slope != Variant(0.5)) ++failures;
      }
    });
  }
  runAll(bodies);
  EXPECT_EQ(failures, 0);
}

}  // namespace
}  // namespace orbtest
