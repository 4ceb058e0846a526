/// Runs programs as a person would, in a scratch folder.
#pragma once
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "scratch_folder.h"

namespace orbtest {

struct Result {
  int status = -1;  ///< exit status; 128 + number when a signal ended the program
  std::string out;
  std::string err;
};

/// Where standard output goes.
enum class Output { kCaptured, kFullDisk, kClosedPipe };

Result runProgram(const std::string& program, const std::vector<std::string>& arguments,
                  Output output = Output::kCaptured);

std::string readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, const std::string& bytes);

/// A test with a folder of its own and the tool at hand. File names without a folder lie there.
class CommandTest : public ::testing::Test {
 protected:
  CommandTest();
  ~CommandTest() override;

  /// Runs orb with arguments, in the scratch folder.
  static Result orb(const std::vector<std::string>& arguments, Output output = Output::kCaptured);
  /// Runs orb, which must succeed without a word on standard error, and gives what it printed.
  static std::string good(const std::vector<std::string>& arguments);
  /// Runs orb with --json and reads what it printed, whatever the exit status.
  static nlohmann::json json(std::vector<std::string> arguments);

  /// A new data file of 1024 channels.
  static void create(const std::string& name) { good({"create", name, "--channels", "1024"}); }
  /// Names of what lies in the scratch folder, sorted.
  std::vector<std::string> folder() const;

 private:
  ScratchFolder folder_{ScratchFolder::OnDisk};
  std::filesystem::path previous_;
};

/// A small spectrum file made by hand.
extern const char* const kSmallSpe;

/// Path of a measured spectrum; empty when there are none on this machine.
std::string measured(const std::string& name);

}  // namespace orbtest
