#include "operations.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "library_operations.h"

int orb_main(int argc, char** argv);

namespace content {
namespace {

namespace fs = std::filesystem;

const std::vector<Operation> kOperations = {
    {"read by the service", 100, readByService},
    {"info F"},
    {"check F"},
    {"dump F", 50},
    {"dump F --json", 50},
    {"info F --json"},
    {"nuclides F --limits"},
    {"nuclides F --limits --json"},
    {"sequence show F"},
    {"sequence show F --json", 30},
    {"get F ORB_T_CTITLE", 30},
    {"plot F", 50},
    {"plot F --log --range 100:700keV", 30},
    {"plot F -o O.svg", 50},
    {"plot F --log -o O.html --range 3:90", 30},
    {"report F -o O.html"},
    {"export F O.spe", 50},
    {"export F O.n42", 50},
    {"export F O.csv", 50},
    {"export F - --format json", 50},
    {"diff F G", 40},
    {"diff G F --json", 40},
    {"eval F energy 100", 20},
    {"eval F channel 661.66 --json", 20},
    {"eval F fwhm 661.66", 20},
    {"eval F tail 661.66", 20},
    {"eval F efficiency 661.66", 20},
    {"eval F efficiency 100 --model interpolated", 20},
    {"eval F peak-to-total 661.66", 20},
    {"region F --energy 661.66", 30},
    {"region F --channel 300 --from-counts --json", 30},
    {"copy F O.dat --all", 40},
    {"copy F H --class 0x2006", 30},
    {"copy F H --class 0x2005", 30},
    {"copy F H --calibrations all", 30},
    {"analyze F -o O.dat --report O.html --limits"},
    {"analyze W --json", 60},
    {"peaks W", 50},
    {"peaks W --threshold 1 --range 50:300keV --json", 30},
    {"fit W --start 150 --end 260 --continuum step", 30},
    {"fit W --start 290 --end 340 --free-fwhm 3 --json", 30},
    {"calibrate W --auto Cs-137,Co-60", 40},
    {"calibrate W --energy 100:200 --energy 300:600 --energy 500:1000:0.1", 30},
    {"calibrate W --efficiency 100:0.01:0.001 --efficiency 600:0.002 --efficiency 1300:0.001", 30},
    {"run W", 20},
    {"run H --sequence F", 40},
    {"run W --sequence F --skip-errors --json", 40},
    {"sequence add W peak --at 2", 20},
    {"nuclides --library F --energy 661.66", 40},
    {"nuclides --library F --name Cs-137 --json", 40},
    {"calibrate H --auto Cs-137 --library F", 30},
    {"simulate O.dat --library F --nuclides Cs-137:500 --channels 300", 30},
    {"analyze L -o O.dat", 40},
    {"analyze file object", 100, analyseByFileObject},
    {"change by file object", 60, changeByFileObject},
};

struct Place {
  ino_t inode;
  off_t size;
  std::int64_t modified_ns;
  friend bool operator==(const Place&, const Place&) = default;
};

std::map<std::string, Place> folder() {
  std::map<std::string, Place> found;
  for (const auto& entry : fs::directory_iterator(".")) {
    struct stat state {};
    lstat(entry.path().c_str(), &state);
    const std::int64_t modified = state.st_mtim.tv_sec * 1'000'000'000 + state.st_mtim.tv_nsec;
    found[entry.path().filename()] = {state.st_ino, state.st_size, modified};
  }
  return found;
}

std::string read(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

/// Words of a command with names in place of the letters.
std::vector<std::string> wordsOf(const std::string& text) {
  static const std::map<std::string, std::string> kNames = {
      {"F", kHostile}, {"W", kHostileCopy}, {"G", kGood}, {"H", kGoodCopy}, {"L", kWithLibrary}};
  std::istringstream in(text);
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(kNames.count(word) != 0 ? kNames.at(word) : word);
  return words;
}

/// Sends what is written to a descriptor into a file, to the end of a scope.
class Redirection {
 public:
  Redirection(int descriptor, const char* path) : descriptor_(descriptor), kept_(dup(descriptor)) {
    const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    dup2(file, descriptor);
    close(file);
  }
  ~Redirection() {
    dup2(kept_, descriptor_);
    close(kept_);
  }
  Redirection(const Redirection&) = delete;
  Redirection& operator=(const Redirection&) = delete;

 private:
  int descriptor_;
  int kept_;
};

int runCaptured(const std::vector<std::string>& words, std::string& out, std::string& err) {
  int status = 0;
  {
    const Redirection to_out(STDOUT_FILENO, "../out");
    const Redirection to_err(STDERR_FILENO, "../err");
    status = runTool(words);
  }
  out = read("../out");
  err = read("../err");
  return status;
}

/// Neither characters that a terminal would obey nor bytes that are no UTF-8.
bool isPrintable(const std::string& text) {
  const bool controls = std::any_of(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t') || c == 0x7F;
  });
  if (controls || text.find("\xC2\x9B") != std::string::npos || text.find("\xE2\x80\xAE") != std::string::npos)
    return false;
  try {
    nlohmann::json(text).dump();
    return true;
  } catch (const nlohmann::json::type_error&) {
    return false;
  }
}

std::string checkCommand(const std::vector<std::string>& words) {
  const bool in_json = words.back() == "--json" || words.back() == "json";
  const std::string before = read(kHostileCopy);
  std::string out;
  std::string err;
  const int status = runCaptured(words, out, err);
  if (status < 0 || status > 2) return "exit status " + std::to_string(status);
  const bool differs = words.front() == "diff" && status == 1;
  if (status != 0 && !differs && err.find("orb: ") == std::string::npos) return "failed without a message";
  if (!isPrintable(err) || !isPrintable(out)) return "raw control characters or bytes in the output";
  if (status != 0) {
    for (const auto& [name, place] : folder())
      if (name.rfind("O.", 0) == 0) return "failed, and left " + name;
    if (words.front() == "analyze" && read(kHostileCopy) != before) return "failed, and changed its file";
    return {};
  }
  if (in_json && !nlohmann::json::accept(out)) return "no JSON: " + out.substr(0, 200);
  for (const char* const name : {"O.spe", "O.n42", "O.csv", "O.dat"}) {
    if (fs::exists(name) && runCaptured({"info", name}, out, err) != 0)
      return std::string(name) + " is unreadable: " + err;
  }
  return {};
}

/// The files as an operation finds them, whatever the last one left: it may have been killed.
void restore() {
  for (const auto& [name, place] : folder())
    if (name != kHostile && name != kGood && name != kWithLibrary) fs::remove_all(name);
  constexpr auto over = fs::copy_options::overwrite_existing;
  fs::copy_file(kHostile, kHostileCopy, over);
  fs::copy_file(kGood, kGoodCopy, over);
}

}  // namespace

const std::vector<Operation>& operations() {
  return kOperations;
}

int runTool(const std::vector<std::string>& words) {
  std::vector<std::string> kept{"orb"};
  kept.insert(kept.end(), words.begin(), words.end());
  std::vector<char*> arguments;
  for (std::string& word : kept) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  const int status = orb_main(static_cast<int>(kept.size()), arguments.data());
  std::fflush(nullptr);
  return status;
}

std::string run(const Operation& operation) {
  restore();
  const std::vector<std::string> words = wordsOf(operation.text);
  const auto before = folder();
  std::string wrong;
  if (operation.call != nullptr)
    operation.call();
  else
    wrong = checkCommand(words);
  if (!wrong.empty()) return wrong;
  auto after = folder();
  for (const auto& [name, place] : before) {
    if (name == kHostileCopy || name == kGoodCopy) continue;
    if (after.count(name) == 0) return name + " is gone";
    if (!(after[name] == place)) return name + " was changed";
  }
  for (const auto& [name, place] : after)
    if (before.count(name) == 0 && name.rfind("O.", 0) != 0) return name + " was left behind";
  return {};
}

}  // namespace content
