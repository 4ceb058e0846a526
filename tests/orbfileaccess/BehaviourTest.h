/// Tests of the file object on real files: a scratch folder and a record of the log.
#pragma once
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "FileAccess.h"
#include "aiostatus.h"
#include "scratch_folder.h"
#include "writelog.h"

namespace orbtest {

using com::norvale::datatypes::ByteStream;
using com::norvale::datatypes::Variant;
using com::norvale::datatypes::xtime_t;
using com::norvale::orb::FileAccess;
using com::norvale::orb::ParameterMap;

constexpr std::uint32_t kChannels = 0x20000007;
constexpr std::uint32_t kLiveTime = 0x20000005;
constexpr std::uint32_t kEnergySlope = 0x20000021;

class BehaviourTest : public ::testing::Test {
 protected:
  BehaviourTest() {
    ::unsetenv("ORBDB");
    namespace vyx = com::norvale::application::vyx;
    previous_sink_ = vyx::routeLog([this](const vyx::LogLine& line) { log.push_back(vyx::formatLogLine(line)); });
  }

  ~BehaviourTest() override { com::norvale::application::vyx::routeLog(previous_sink_); }

  std::string path(const std::string& name) const { return folder_ / name; }

  /// A new spectrum file of 4096 channels, open for writing.
  void create(FileAccess& file, const std::string& name) const { ASSERT_EQ(file.create(path(name), 4096, false), 0u); }

  /// Flushes, closes and opens the file again for reading.
  static void reopen(FileAccess& file) {
    const std::string name = file.name();
    ASSERT_EQ(file.close(com::norvale::orb::FLUSH), 0u);
    ASSERT_EQ(file.open(name, com::norvale::orb::READONLY), 0u);
  }

  /// A value that must be there; empty after a failure.
  static Variant get(const FileAccess& file, std::uint32_t code, std::uint16_t record = 0, std::uint16_t entry = 0) {
    Variant value;
    EXPECT_EQ(file.getParameter(code, value, record, entry), 0u) << std::hex << code;
    return value;
  }

  static std::uint16_t count(const FileAccess& file, std::uint32_t code, std::uint16_t record = 0) {
    std::uint16_t n = 0;
    EXPECT_EQ(file.countItems(code, n, record), 0u);
    return n;
  }

  std::vector<std::string> log;

 private:
  ScratchFolder folder_;
  com::norvale::application::vyx::LogSink previous_sink_;
};

}  // namespace orbtest
