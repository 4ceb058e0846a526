#include "attack.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <new>
#include <stdexcept>
#include <thread>

#include "operations.h"

namespace content {
namespace {

double seconds(clockid_t clock) {
  timespec time{};
  if (clock_gettime(clock, &time) != 0) return 0;
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// What the child tells its parent, in memory that both have.
struct Progress {
  std::size_t at;    ///< place in the list of operations
  bool done;         ///< with the whole list
  double started_s;  ///< processor time of the child
  char wrong[400];   ///< outcome of the operation at `at`
};

class SharedProgress {
 public:
  SharedProgress()
      : memory_(mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {
    if (memory_ == MAP_FAILED) throw std::bad_alloc();
  }
  ~SharedProgress() { munmap(memory_, sizeof(Progress)); }
  SharedProgress(const SharedProgress&) = delete;
  SharedProgress& operator=(const SharedProgress&) = delete;
  volatile Progress& get() { return *static_cast<volatile Progress*>(memory_); }
  std::string wrong() const { return static_cast<const Progress*>(memory_)->wrong; }
  void setWrong(const std::string& text) {
    std::snprintf(static_cast<Progress*>(memory_)->wrong, sizeof(Progress::wrong), "%s", text.c_str());
  }

 private:
  void* memory_;
};

SharedProgress& shared() {
  static SharedProgress progress;
  return progress;
}

constexpr const char* kReport = "../report";  // what the child prints outside the commands

[[noreturn]] void runChild(const std::filesystem::path& folder, const std::vector<std::size_t>& numbers,
                           std::size_t first, double* slowest_s) {
  const rlimit no_core{0, 0};
  const rlimit file_size{1u << 30, 1u << 30};
  setrlimit(RLIMIT_CORE, &no_core);
  setrlimit(RLIMIT_FSIZE, &file_size);
  if (chdir(folder.c_str()) != 0) _exit(9);
  const int report = open(kReport, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600);
  dup2(report, STDOUT_FILENO);
  dup2(report, STDERR_FILENO);
  volatile Progress& progress = shared().get();
  for (std::size_t i = first; i < numbers.size(); ++i) {
    progress.at = i;
    progress.started_s = seconds(CLOCK_PROCESS_CPUTIME_ID);
    const std::string wrong = run(operations()[numbers[i]]);
    slowest_s[numbers[i]] = std::max(slowest_s[numbers[i]], seconds(CLOCK_PROCESS_CPUTIME_ID) - progress.started_s);
    if (wrong.empty()) continue;
    shared().setWrong(wrong);  // the parent writes it down and goes on behind it
    _exit(8);
  }
  progress.done = true;
  _exit(0);
}

std::size_t residentMb(pid_t child) {
  std::ifstream in("/proc/" + std::to_string(child) + "/statm");
  std::size_t total = 0;
  std::size_t resident = 0;
  in >> total >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) >> 20;
}

/// Waits for the end of a child, and makes one when a bound is passed. @return what ended it; empty for itself
std::string waitFor(pid_t child, const Bounds& bounds, int& status) {
  clockid_t clock{};
  const bool has_clock = clock_getcpuclockid(child, &clock) == 0;
  const double deadline_s = seconds(CLOCK_MONOTONIC) + 1800;
  std::string killed;
  while (waitpid(child, &status, WNOHANG) == 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    const double used_s = (has_clock ? seconds(clock) : 0) - shared().get().started_s;
    if (!killed.empty()) continue;
    if (used_s > bounds.cpu_s)
      killed = "took more than " + std::to_string(static_cast<int>(bounds.cpu_s)) + " s";
    else if (seconds(CLOCK_MONOTONIC) > deadline_s)
      killed = "hangs";
    else if (residentMb(child) > bounds.memory_mb)
      killed = "took more than " + std::to_string(bounds.memory_mb) + " MB";
    if (!killed.empty()) kill(child, SIGKILL);
  }
  return killed;
}

std::string readText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

std::string summary(const std::string& report) {
  for (const char* const mark : {"SUMMARY: ", "runtime error: ", "does not hold: ", "ERROR: "}) {
    const auto at = report.find(mark);
    if (at != std::string::npos) return report.substr(at, report.find('\n', at) - at);
  }
  return "ended by itself";
}

double* sharedTimes(std::size_t n) {
  static void* const memory =
      mmap(nullptr, n * sizeof(double), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  return static_cast<double*>(memory);
}

}  // namespace

std::vector<Find> attack(const std::filesystem::path& folder, const std::vector<std::size_t>& numbers,
                         const Bounds& bounds, std::vector<double>& slowest_s) {
  double* const times = sharedTimes(operations().size());
  std::vector<Find> finds;
  volatile Progress& progress = shared().get();
  for (std::size_t first = 0; first < numbers.size(); first = progress.at + 1) {
    shared().setWrong("");
    progress.at = first;
    progress.done = false;
    progress.started_s = 0;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("fork failed");
    if (child == 0) runChild(folder, numbers, first, times);
    int status = 0;
    const std::string killed = waitFor(child, bounds, status);
    if (progress.done) break;
    const std::filesystem::path beside = folder / "..";
    std::string report = readText(beside / "report") + readText(beside / "err");
    std::string what = !killed.empty() ? killed : shared().wrong();
    if (what.empty()) what = summary(report);
    finds.push_back({operations()[numbers[progress.at]].text, what, std::move(report)});
  }
  slowest_s.assign(times, times + operations().size());
  return finds;
}

}  // namespace content
