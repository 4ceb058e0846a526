#include "attack.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "operations.h"

namespace content {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kHang = std::chrono::minutes(30);
// Beside the folder: what a process prints outside the commands, and what was wrong with the outcome.
constexpr const char* kReport = "../report";
constexpr const char* kWrong = "../wrong";

void limit(__rlimit_resource resource, rlim_t most) {
  const rlimit limits{most, most};
  setrlimit(resource, &limits);
}

[[noreturn]] void runChild(const std::filesystem::path& folder, const Operation& operation, const Bounds& bounds) {
  limit(RLIMIT_CORE, 0);
  limit(RLIMIT_FSIZE, 1u << 30);
  limit(RLIMIT_CPU, static_cast<rlim_t>(std::ceil(bounds.cpu_s)));
  if (chdir(folder.c_str()) != 0) _exit(9);
  const int report = open(kReport, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600);
  dup2(report, STDOUT_FILENO);
  dup2(report, STDERR_FILENO);
  const std::string wrong = run(operation);
  std::ofstream(kWrong) << wrong;
  _exit(wrong.empty() ? 0 : 8);
}

std::size_t residentMb(pid_t child) {
  std::ifstream in("/proc/" + std::to_string(child) + "/statm");
  std::size_t total = 0;
  std::size_t resident = 0;
  in >> total >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) >> 20;
}

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

/// Waits for the end of a child, and makes one when a bound is passed.
/// @param slowest_s  in, out: raised to the processor time that it took
/// @return what ended it; empty when nothing was wrong
std::string waitFor(pid_t child, const Bounds& bounds, double& slowest_s) {
  const auto end = Clock::now() + kHang;
  std::string killed;
  int status = 0;
  rusage usage{};
  while (wait4(child, &status, WNOHANG, &usage) == 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (!killed.empty()) continue;
    if (Clock::now() > end) killed = "hangs";
    if (residentMb(child) > bounds.memory_mb) killed = "took more than " + std::to_string(bounds.memory_mb) + " MB";
    if (!killed.empty()) kill(child, SIGKILL);
  }
  slowest_s = std::max(slowest_s, seconds(usage.ru_utime) + seconds(usage.ru_stime));
  if (!killed.empty() || status == 0) return killed;
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)  // by the system
    return "took more than " + std::to_string(static_cast<int>(bounds.cpu_s)) + " s";
  return "ended by itself";
}

std::string readText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

/// The line of a report that says most; empty when none does.
std::string summary(const std::string& report) {
  for (const char* const mark : {"SUMMARY: ", "runtime error: ", "does not hold: ", "ERROR: "}) {
    const auto at = report.find(mark);
    if (at != std::string::npos) return report.substr(at, report.find('\n', at) - at);
  }
  return {};
}

}  // namespace

std::vector<Find> attack(const std::filesystem::path& folder, const std::vector<std::size_t>& numbers,
                         const Bounds& bounds, std::vector<double>& slowest_s) {
  std::vector<Find> finds;
  const std::filesystem::path beside = folder / "..";
  for (const std::size_t number : numbers) {
    for (const char* const name : {"report", "wrong", "err"}) std::filesystem::remove(beside / name);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("fork failed");
    if (child == 0) runChild(folder, operations()[number], bounds);
    std::string what = waitFor(child, bounds, slowest_s[number]);
    if (what.empty()) continue;
    const std::string report = readText(beside / "report") + readText(beside / "err");
    const std::string wrong = readText(beside / "wrong") + summary(report);
    if (what == "ended by itself" && !wrong.empty()) what = wrong;
    finds.push_back({operations()[number].text, what, report});
  }
  return finds;
}

}  // namespace content
