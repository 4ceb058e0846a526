#include "command_runner.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace orbtest {

namespace {

namespace fs = std::filesystem;

/// Standard output of the child. Without a reader a pipe is broken from the start.
int openOutput(Output output, const char* captured) {
  if (output == Output::kFullDisk) return open("/dev/full", O_WRONLY);
  if (output == Output::kCaptured) return open(captured, O_RDWR | O_CREAT | O_TRUNC, 0600);
  int ends[2];
  if (pipe(ends) != 0) return -1;
  close(ends[0]);
  return ends[1];
}

[[noreturn]] void becomeProgram(const std::string& program, const std::vector<std::string>& arguments, int out,
                                int err) {
  dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
  dup2(out, STDOUT_FILENO);
  dup2(err, STDERR_FILENO);
  std::vector<char*> words{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  execvp(program.c_str(), words.data());
  _exit(127);
}

fs::path scratchFile(const char* name) {
  return fs::temp_directory_path() / (std::string(name) + std::to_string(getpid()));
}

}  // namespace

const char* const kSmallSpe =
    "$SPEC_ID:\nSmall sample\n$DATE_MEA:\n03/01/2024 12:30:00\n$MEAS_TIM:\n600 605\n$DATA:\n0 7\n"
    "1\n2\n3\n4\n5\n6\n7\n8\n$ENER_FIT:\n0.5 2.0\n";

Result runProgram(const std::string& program, const std::vector<std::string>& arguments, Output output) {
  const fs::path out_name = scratchFile("orb_out_");
  const fs::path err_name = scratchFile("orb_err_");
  const int out = openOutput(output, out_name.c_str());
  const int err = openOutput(Output::kCaptured, err_name.c_str());
  const pid_t child = fork();
  if (child == 0) becomeProgram(program, arguments, out, err);
  int status = 0;
  waitpid(child, &status, 0);
  close(out);
  close(err);
  Result result;
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  if (output == Output::kCaptured) result.out = readFile(out_name);
  result.err = readFile(err_name);
  fs::remove(out_name);
  fs::remove(err_name);
  return result;
}

std::string readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const fs::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

CommandTest::CommandTest() : previous_(fs::current_path()) {
  ::unsetenv("ORBDB");
  fs::current_path(folder_.path());
}

CommandTest::~CommandTest() {
  fs::current_path(previous_);
}

Result CommandTest::orb(const std::vector<std::string>& arguments, Output output) {
  return runProgram(ORB_TOOL, arguments, output);
}

std::string CommandTest::good(const std::vector<std::string>& arguments) {
  const Result result = orb(arguments);
  EXPECT_EQ(result.status, 0) << ::testing::PrintToString(arguments);
  EXPECT_EQ(result.err, "") << ::testing::PrintToString(arguments);
  return result.out;
}

nlohmann::json CommandTest::json(std::vector<std::string> arguments) {
  arguments.emplace_back("--json");
  const Result result = orb(arguments);
  const auto document = nlohmann::json::parse(result.out, nullptr, false);
  EXPECT_FALSE(document.is_discarded()) << result.out << result.err;
  return document;
}

std::vector<std::string> CommandTest::folder() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder_.path())) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

std::string measured(const std::string& name) {
  const char* const folder = std::getenv("ORB_TEST_DATA");
  if (folder == nullptr) return {};
  const fs::path path = fs::path(folder) / "spectra" / name;
  return fs::exists(path) ? path.string() : std::string();
}

}  // namespace orbtest
