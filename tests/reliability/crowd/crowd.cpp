// Many processes and threads use one data file through the file object for a while; writers fork; files are replaced,
// deleted, truncated and linked under open objects. Every block of a file carries one
// number, so that a mixture shows.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <set>
#include <thread>

#include "../report.h"
#include "FileAccess.h"
#include "aiolib.h"

namespace fs = std::filesystem;
using namespace com::norvale::orb;
using com::norvale::datatypes::Variant;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::uint32_t kLiveTime = 0x20000005;
constexpr std::uint32_t kPeakEnergy = 0x20060007;
constexpr std::uint32_t kOptions = 0x2010006F;

/// Seen by all processes.
struct Board {
  std::atomic<int> begun{1}, acknowledged{1};  ///< flushes
  std::atomic<long> flushes{0}, looks{0}, refusals{0}, faults{0};
};

Board& board() {
  return reliability::shared<Board>();
}

void fault(const std::string& what) {
  ++board().faults;
  std::cout << "  " + what + "\n" << std::flush;
}

std::string nameOf(std::uint32_t code) {
  char text[12];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(code));
  return text;
}

bool isBusy(std::uint32_t code) {
  return code == convertReturnCode(AIO_LOCKED) || code == convertReturnCode(AIO_BUSY);
}

/// Puts the number into four blocks: a value, a text, records and a spectrum.
std::uint32_t putNumber(FileAccess& file, int number) {
  std::uint32_t code = file.setParameter(kLiveTime, Variant(double(number)), 0, 0);
  for (std::uint16_t record = 1; record <= 3 && code == 0; ++record)
    code = file.setParameter(kPeakEnergy, Variant(double(number)), record, 0);
  if (code == 0) code = file.setParameter(kOptions, Variant(std::to_string(number)), 1, 0);
  return code != 0 ? code : file.setSpectrum(std::vector<int>(256, number), 1, 1);
}

/// The one number of a file; 0 when something cannot be read, with the code of that, or when a flush came between two
/// calls. Any other mixture is a fault.
int numberIn(const FileAccess& file, std::uint32_t& code) {
  const int acknowledged = board().acknowledged;
  std::set<int> numbers;
  Variant value;
  const auto take = [&](std::uint32_t parameter, std::uint16_t record) {
    code = file.getParameter(parameter, value, record, 0);
    if (code == 0) numbers.insert(std::stoi(value.toString()));
    return code == 0;
  };
  std::vector<int> channels;
  if (!take(kLiveTime, 0) || !take(kPeakEnergy, 1) || !take(kPeakEnergy, 3) || !take(kOptions, 1)) return 0;
  if ((code = file.getSpectrum(channels, 1, 1)) != 0) return 0;
  numbers.insert(channels.begin(), channels.end());
  if (numbers.size() == 1) return *numbers.begin();
  if (board().begun == acknowledged) fault("a mixture of " + std::to_string(numbers.size()) + " states was read");
  return 0;
}

void make(const std::string& path, int number) {
  FileAccess file;
  if (file.open(path, CREATE) != 0 || putNumber(file, number) != 0 || file.flush() != 0)
    throw std::runtime_error("cannot make " + path);
}

// ---- Many on one file ---------------------------------------------------------------------------------------

/// Whoever may write finds the state that was acknowledged last, and brings the next one.
void writeOnce(const std::string& path, std::mt19937& random) {
  FileAccess file;
  const std::uint32_t opened = file.open(path, READWRITE);
  if (opened != 0) return isBusy(opened) ? void(++board().refusals) : fault("writer: open " + nameOf(opened));
  std::uint32_t status = 0;
  const int number = numberIn(file, status);
  int expected = board().acknowledged;
  if (number != expected) fault("writer: found " + std::to_string(number) + " behind " + std::to_string(expected));
  if (putNumber(file, number + 1) != 0) fault("writer: change");
  if (random() % 4 == 0) return;  // dropped
  board().begun = number + 1;
  const std::uint32_t flushed = file.flush();
  if (flushed != 0) return fault("writer: flush " + nameOf(flushed));
  if (!board().acknowledged.compare_exchange_strong(expected, number + 1)) fault("two writers at once");
  ++board().flushes;
}

/// A reader sees nothing older than what was acknowledged before it looked, and later looks nothing older than that.
void readSome(const std::string& path) {
  FileAccess file;
  int least = board().acknowledged;
  const std::uint32_t opened = file.open(path, READONLY);
  if (opened != 0) return isBusy(opened) ? void(++board().refusals) : fault("reader: open " + nameOf(opened));
  for (int i = 0; i < 4; ++i) {
    std::uint32_t status = 0;
    const int number = numberIn(file, status);
    if (status != 0 && !isBusy(status)) fault("reader: read " + nameOf(status));
    if (number == 0) continue;
    if (number < least) fault("reader: went back to " + std::to_string(number));
    if (number > board().begun) fault("reader: saw what was not written yet");
    least = number;
    ++board().looks;
  }
}

void useFile(const std::string& path, unsigned seed, Clock::time_point end) {
  std::mt19937 random(seed);
  while (Clock::now() < end) random() % 3 == 0 ? writeOnce(path, random) : readSome(path);
}

template <typename Body>
pid_t start(const Body& body) {
  std::cout.flush();
  const pid_t child = fork();
  if (child != 0) return child;
  body();
  std::cout.flush();
  _exit(0);
}

void finish(pid_t child, const std::string& what) {
  int result = 0;
  waitpid(child, &result, 0);
  if (result != 0) fault(what + ": the process ended with " + std::to_string(result));
}

std::string useByMany(const std::string& folder) {
  const std::string path = folder + "/many";
  make(path, 1);
  const auto end = Clock::now() + std::chrono::seconds(reliability::byLength(4, 60, 3600));
  std::vector<pid_t> children;
  for (unsigned process = 0; process < 4; ++process) {
    children.push_back(start([&] {
      std::vector<std::thread> threads;
      for (unsigned i = 0; i < 3; ++i) threads.emplace_back(useFile, path, process * 10 + i, end);
      for (std::thread& thread : threads) thread.join();
    }));
  }
  for (const pid_t child : children) finish(child, "many");
  return "4 processes of 3 threads: " + std::to_string(board().flushes) + " flushes, " + std::to_string(board().looks) +
         " whole looks of readers, " + std::to_string(board().refusals) + " times refused";
}

// ---- Fork -----------------------------------------------------------------------------------------------------

bool mayWrite(const std::string& path) {
  bool& may = reliability::shared<bool>();
  finish(start([&] { may = FileAccess().open(path, READWRITE) == 0; }), "another writer");
  return may;
}

/// What the child of a writer does with its copy takes nothing from the writer.
std::string forkWriters(const std::string& folder) {
  const int rounds = reliability::byLength(10, 300, 10000);
  const std::string path = folder + "/forked";
  make(path, 1);
  for (int number = 2; number < rounds + 2; ++number) {
    FileAccess file;
    if (file.open(path, READWRITE) != 0) fault("fork: open");
    if (putNumber(file, number) != 0) fault("fork: change");
    finish(start([&] {
             if (number % 3 == 0) file.flush();
             if (number % 3 != 2) file.close(number % 2 == 0 ? NOFLUSH : FLUSH);
           }),
           "child of a writer");
    if (mayWrite(path)) fault("fork: another process may write too");
    if (const std::uint32_t code = file.flush()) fault("fork: flush of the parent " + nameOf(code));
    file.close(NOFLUSH);
    std::uint32_t status = 0;
    FileAccess reader;
    if (reader.open(path, READONLY) != 0 || numberIn(reader, status) != number)
      fault("fork: the flush of the parent is lost");
    if (AioCheck(reader.handle(), nullptr, nullptr) != AIO_OK) fault("fork: the file is damaged");
  }
  return std::to_string(rounds) + " forks";
}

// ---- A file that changes under an open object -----------------------------------------------------------------

struct Disturbance {
  const char* name;
  void (*make)(const std::string& path, const std::string& other);
};

const Disturbance kDisturbances[] = {
    {"replaced", [](const std::string& path, const std::string& other) { fs::rename(other, path); }},
    {"deleted", [](const std::string& path, const std::string&) { fs::remove(path); }},
    {"renamed", [](const std::string& path, const std::string& other) { fs::rename(path, other); }},
    {"truncated to nothing", [](const std::string& path, const std::string&) { fs::resize_file(path, 0); }},
    {"truncated to a page", [](const std::string& path, const std::string&) { fs::resize_file(path, 4096); }},
    {"truncated by a byte",
     [](const std::string& path, const std::string&) { fs::resize_file(path, fs::file_size(path) - 1); }},
    {"overwritten", [](const std::string& path, const std::string&) { std::ofstream(path) << std::string(9000, 'x'); }},
    {"overwritten by another data file",
     [](const std::string& path, const std::string& other) {
       std::ofstream(path, std::ios::binary) << std::ifstream(other, std::ios::binary).rdbuf();
     }},
    {"linked",
     [](const std::string& path, const std::string& other) { fs::remove(other), fs::create_hard_link(path, other); }},
    {"without its lock file", [](const std::string& path, const std::string&) { fs::remove(path + "-lock"); }},
};

/// A flush that answers 0 is under the name, whole; whatever is read is a state that the file had.
void disturb(const std::string& folder, const Disturbance& how, OpenOptions access, bool has_read) {
  const std::string what = std::string(how.name) + (access == READONLY ? " under a reader" : " under a writer") +
                           (has_read ? " that has read" : "");
  const std::string path = folder + "/disturbed", other = folder + "/other";
  make(path, 1);
  make(other, 5);
  std::uint32_t status = 0;
  FileAccess file;
  if (file.open(path, access) != 0 || (has_read && numberIn(file, status) != 1)) fault(what + ": open");
  how.make(path, other);
  const int number = numberIn(file, status);
  if (status == 0 && number != 1 && number != 5) fault(what + ": read " + std::to_string(number));
  if (access == READWRITE && putNumber(file, 2) == 0 && file.flush() == 0) {
    FileAccess again;
    if (again.open(path, READONLY) != 0 || numberIn(again, status) != 2)
      fault(what + ": an acknowledged flush is lost");
    if (AioCheck(again.handle(), nullptr, nullptr) != AIO_OK)
      fault(what + ": a flush was acknowledged and the file is damaged");
  }
  file.close(NOFLUSH);
  FileAccess untouched;
  if (how.name == std::string("replaced") && untouched.open(path, READWRITE) == 0 && numberIn(untouched, status) != 5)
    fault(what + ": the file that came was changed");
}

std::string disturbAll(const std::string& folder) {
  int n = 0;
  for (const Disturbance& how : kDisturbances) {
    for (const OpenOptions access : {READONLY, READWRITE}) {
      if (access == READONLY && how.name == std::string("without its lock file")) continue;
      for (const bool has_read : {false, true}) {
        const std::string place = folder + "/" + std::to_string(n++);
        fs::create_directory(place);
        finish(start([&] { disturb(place, how, access, has_read); }), how.name);
      }
    }
  }
  return std::to_string(n) + " cases";
}

}  // namespace

int main() {
  std::string folder = (fs::temp_directory_path() / "orb-crowd-XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) return 1;
  const struct {
    const char* row;
    std::string (*run)(const std::string&);
  } rows[] = {{"many readers and writers of one file", useByMany},
              {"a writer forks, its child closes, flushes or just ends", forkWriters},
              {"a file is replaced, deleted, truncated, overwritten, linked under an open object", disturbAll}};
  long all_faults = 0;
  for (const auto& row : rows) {
    const auto begin = Clock::now();
    board().faults = 0;
    const std::string figure = row.run(folder);
    std::cout << row.row << ": " << figure << ", " << board().faults << " faults\n";
    reliability::report(row.row, figure, board().faults, std::chrono::duration<double>(Clock::now() - begin).count(),
                        "make reliability PARTS=crowd");
    all_faults += board().faults;
  }
  fs::remove_all(folder);
  return all_faults == 0 ? 0 : 1;
}
