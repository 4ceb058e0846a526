// A process that changes data files through the file object, for whoever kills it, takes its power or fails its calls.
//   workload donor FILE            makes the file from which the changes copy
//   workload write FILE DONOR N    N flushes more, each of many kinds of changes; each number is told after its flush
//   workload create DIR N          N new files DIR/1, DIR/2, ... that are not there yet, each told after its flush
//   workload reference FILE DONOR N  the content after each of N flushes, as a hash
//   workload look                  for each path on standard input: its number and the hash of its content, or why not
// What a flush changes depends on its number alone, so the content after it is known from a run that nobody disturbed.
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <iostream>
#include <random>
#include <string>

#include "FileAccess.h"
#include "fault_support.h"
#include "writelog.h"

using namespace com::norvale::orb;
using com::norvale::datatypes::Variant;

namespace {

constexpr std::uint32_t kTitle = 0x20000002;
constexpr unsigned kChannels = 512;
const std::string kTitleStart = "flush ";

[[noreturn]] void stop(const char* what, std::uint32_t code) {
  std::fprintf(stderr, "workload: %s: 0x%08X\n", what, static_cast<unsigned>(code));
  std::exit(1);
}

void must(const char* what, std::uint32_t code) {
  if (code != 0) stop(what, code);
}

/// One write, so that nobody sees half of a number.
void tell(unsigned number) {
  const std::string line = std::to_string(number) + "\n";
  if (write(STDOUT_FILENO, line.data(), line.size()) < 0) std::exit(1);
}

/// Some operations pass over the failure of a single value, but not without a line in the log.
std::atomic<std::uint32_t> g_logged_failure{0};

bool isFailureOfTheMachine(std::uint32_t code) {
  for (const unsigned status : {AIO_IOERROR, AIO_DISKFULL, AIO_NOMEMORY, AIO_CORRUPT, AIO_BUSY, AIO_INTERNAL})
    if (code == convertReturnCode(status)) return true;
  return false;
}

/// Ends the process for a failure of disk or memory; what the state of the file does not allow is no failure.
void checked(std::uint32_t code) {
  if (isFailureOfTheMachine(code)) stop("change", code);
}

/// Changes of one flush. What a change answers does not matter as long as it is no failure of disk or memory: to delete
/// a record that is not there is refused each time.
class Changes {
 public:
  Changes(FileAccess& file, const FileAccess& donor, unsigned number) : file_(file), donor_(donor), random_(number) {}

  void make() {
    for (int i = 0; i < 12; ++i) makeOne(upTo(13));
  }

 private:
  unsigned upTo(unsigned n) { return static_cast<unsigned>(random_() % n); }
  std::uint16_t record() { return static_cast<std::uint16_t>(1 + upTo(8)); }
  std::string text() { return std::string(upTo(900), static_cast<char>('a' + upTo(26))); }

  void makeOne(unsigned kind) {
    switch (kind) {
      case 0:
        return checked(file_.setParameter(0x20000005, Variant(static_cast<double>(random_())), 0, 0));
      case 1:
        return checked(file_.setParameter(0x2010006F, Variant(text()), record(), 0));
      case 2:
        return checked(file_.setParameter(0x20060007, Variant(upTo(4000) / 8.0), record(), 0));
      case 3:
        return checked(file_.insertItem(0x20060000, record(), 0));
      case 4:
        return checked(file_.deleteItem(0x20060000, record(), 0));
      case 5:
        return checked(file_.setParameter(0x20080021, Variant(static_cast<int>(upTo(99))), record(), record()));
      case 6:
        return checked(file_.deleteItem(0x20080000, record(), record()));
      case 7:
        return upTo(2) ? checked(file_.createBlock(0x20130000, 0, 1, 1)) : checked(file_.deleteBlock(0x20130000));
      case 8:
        return setSpectrum();
      case 9:
        return checked(donor_.copyTo(file_, upTo(2) ? 0x20090000 : 0x20060000));
      case 10:
        return checked(donor_.moveTo(file_, 0x2006, record(), record()));
      case 11:
        return upTo(2) ? checked(donor_.copySequenceTo(file_))
                       : checked(donor_.copyCalibrationsTo(file_, CopyCalibrationOptions(15)));
      default:
        return upTo(4) == 0 ? checked(donor_.duplicateTo(file_)) : setSpectrum();
    }
  }

  void setSpectrum() {
    // A spectrum that cannot be written for whatever reason is written into a new block, so the old one is read first:
    // a block that cannot be read must not come to that.
    std::vector<int> old;
    checked(file_.getSpectrum(old, 1, 1));
    if (upTo(3) == 0)
      return checked(file_.setSpectrum(std::vector<float>(kChannels, static_cast<float>(upTo(999)) / 4), 1, 1));
    std::vector<unsigned> counts(upTo(8) == 0 ? kChannels * 2 : kChannels);
    for (unsigned& channel : counts) channel = upTo(100000);
    checked(file_.setSpectrum(counts, 1, 1));
  }

  FileAccess& file_;
  const FileAccess& donor_;
  std::mt19937 random_;
};

unsigned count(const std::string& text) {
  return static_cast<unsigned>(std::stoul(text));
}

unsigned numberOf(const FileAccess& file) {
  Variant title;
  const std::uint32_t code = file.getParameter(kTitle, title, 0, 0);
  checked(code);
  if (code != 0) return 0;
  const std::string text = title.toString();
  return text.rfind(kTitleStart, 0) == 0 ? count(text.substr(kTitleStart.size())) : 0;
}

void change(FileAccess& file, const FileAccess& donor, unsigned number) {
  Changes(file, donor, number).make();
  must("title", file.setParameter(kTitle, Variant(kTitleStart + std::to_string(number)), 0, 0));
  must("a line in the log", g_logged_failure);
}

std::string contentHash(void* handle) {
  std::string all;
  const faults::Content content = faults::contentOf(handle);
  for (const auto& [cls, block] : content.blocks) {
    if (block.status != AIO_OK) return faults::nameOf(block.status);
    all += std::to_string(cls) + block.text;
  }
  return content.status != AIO_OK ? faults::nameOf(content.status) : std::to_string(std::hash<std::string>{}(all));
}

void makeDonor(const std::string& path) {
  FileAccess file;
  must("create", file.open(path, CREATE));
  faults::writeStateA(file.handle());
  must("flush", file.flush());
}

void writeFlushes(const std::string& path, const std::string& donor_path, unsigned n, bool is_reference) {
  FileAccess donor, file;
  must("open donor", donor.open(donor_path, READONLY));
  if (access(path.c_str(), F_OK) == 0)
    must("open", file.open(path, READWRITE));
  else
    must("create", file.create(path, kChannels, false));
  if (numberOf(file) == 0) {
    // A new file has the time of its creation in it.
    must("start", file.setParameter(0x20000001, Variant(5.1e16), 0, 0));
    must("flush", file.flush());
  }
  if (is_reference) std::cout << numberOf(file) << " " << contentHash(file.handle()) << "\n";
  for (unsigned i = 0; i < n; ++i) {
    const unsigned number = numberOf(file) + 1;
    change(file, donor, number);
    must("flush", file.flush());
    if (is_reference)
      std::cout << number << " " << contentHash(file.handle()) << "\n";
    else
      tell(number);
  }
}

void createFiles(const std::string& folder, unsigned n) {
  for (unsigned number = 1; n > 0; ++number) {
    const std::string path = folder + "/" + std::to_string(number);
    if (access(path.c_str(), F_OK) == 0) continue;
    FileAccess file;
    must("create", file.create(path, kChannels, false));
    must("flush", file.flush());
    tell(number);
    --n;
  }
}

std::string look(const std::string& path) {
  FileAccess file;
  if (access(path.c_str(), F_OK) != 0) return "none";
  const std::uint32_t code = file.open(path, READWRITE);
  if (code != 0) return "refused " + std::to_string(code);
  const ULONG status = AioCheck(file.handle(), nullptr, nullptr);
  if (status != AIO_OK) return "damaged " + faults::nameOf(status);
  return std::to_string(numberOf(file)) + " " + contentHash(file.handle());
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (words.empty()) return 2;
  com::norvale::application::vyx::routeLog([](const com::norvale::application::vyx::LogLine& line) {
    if (isFailureOfTheMachine(line.code)) g_logged_failure = line.code;
  });
  if (words[0] == "donor" && argc == 3) makeDonor(words[1]);
  if (words[0] == "write" && argc == 5) writeFlushes(words[1], words[2], count(words[3]), false);
  if (words[0] == "reference" && argc == 5) writeFlushes(words[1], words[2], count(words[3]), true);
  if (words[0] == "create" && argc == 4) createFiles(words[1], count(words[2]));
  if (words[0] == "look")
    for (std::string path; std::getline(std::cin, path);) std::cout << look(path) << std::endl;
  return 0;
}
