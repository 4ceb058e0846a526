// Hostile content: whole data files are changed by rows and by bytes, and everything that reads or analyses
// a data file is run on them. See --help.
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

#include "attack.h"
#include "operations.h"
#include "report.h"
#include "scratch_folder.h"
#include "strange_values.h"

// Memory that is freed is soon given away again, so that its bound means what is in use.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
  return "quarantine_size_mb=8:detect_leaks=0:max_allocation_size_mb=1024:allocator_may_return_null=0";
}

namespace {

namespace fs = std::filesystem;
using content::Dice;

#ifdef __SANITIZE_ADDRESS__
constexpr const char* kUnderSanitizers = ", under the address and undefined-behaviour sanitizers";
#else
constexpr const char* kUnderSanitizers = "";
#endif

struct Options {
  int count = reliability::byLength(6, 200, 20000);
  std::uint64_t seed = 1;
  std::string json;
  std::string finds = "content-finds";
  std::string replay;
  std::vector<std::string> modes = {"rows", "bytes"};
  content::Bounds bounds;
};

/// The files that are changed, made by the tool. A name in front of a command is what the file is kept as.
constexpr const char* kBases[] = {
    "simulate hpge.dat --nuclides Cs-137:300,Co-60:200,Eu-152:900,Am-241 --detector hpge --channels 2048 --seed 1",
    "calibrate hpge.dat --efficiency 60:0.01:0.001 --efficiency 300:0.02:0.001 --efficiency 700:0.01:0.001 "
    "--efficiency 1400:0.005:0.001",
    "analyze hpge.dat",
    "simulate nai.dat --nuclides Cs-137:500,Co-60 --detector nai --channels 512 --seed 2",
    "analyze nai.dat",
    "simulate raw.dat --nuclides Cs-137:500 --detector hpge --channels 1024 --seed 3",
    "calibrate raw.dat --energy 100:200 --energy 300:600 --energy 500:1000",
    "sequence new steps.dat",
    "copy hpge.dat both.dat --all",
};

std::vector<std::string> words(const std::string& line) {
  std::istringstream in(line);
  return {std::istream_iterator<std::string>(in), {}};
}

void runInChild(const std::vector<std::string>& command) {
  const pid_t child = fork();
  if (child == 0) {
    if (std::freopen("/dev/null", "w", stdout) == nullptr) _exit(9);
    _exit(content::runTool(command));
  }
  int status = 0;
  waitpid(child, &status, 0);  // a failure shows in what is not there
}

void makeBases(const fs::path& folder) {
  const fs::path back = fs::current_path();
  fs::current_path(folder);
  std::ifstream table(CONTENT_NUCLIDES);
  std::ofstream part("lib.csv");
  int n = 0;
  for (std::string line; n < 60 && std::getline(table, line); n += line[0] != '#') part << line << '\n';
  part.close();
  for (const char* const line : kBases) runInChild(words(line));
  runInChild({"library", "lib.csv", "lib.dat"});
  for (const char* const step : {"energy and shape check", "calibration adjustment", "peak location", "peak area",
                                 "nuclide identification", "detection limits"})
    for (const char* const file : {"steps.dat", "both.dat"}) runInChild({"sequence", "add", file, step});
  fs::current_path(back);
}

class Campaign {
 public:
  explicit Campaign(Options options) : options_(std::move(options)), slowest_s_(content::operations().size()) {
    for (const char* const name : {"bases", "mutated", "attack"}) fs::create_directory(scratch_ / name);
    makeBases(scratch_ / "bases");
    for (const char* const name : {"hpge", "nai", "raw", "lib", "steps", "both"})
      if (fs::exists(scratch_ / "bases" / (std::string(name) + ".dat"))) bases_.emplace_back(name);
    if (bases_.size() != 6) throw std::runtime_error("the tool could not make the files to be changed");
    const fs::path home = scratch_ / "attack" / "home";
    fs::create_directory(home);
    fs::copy_file(scratch_ / "bases" / "nai.dat", home / content::kGood);
    fs::copy_file(scratch_ / "bases" / "nai.dat", home / content::kWithLibrary);
    for (const char* const parameter : {"ORB_T_NIDLIBRARY", "ORB_T_LIMLIBRARY"})
      runInChild({"set", (home / content::kWithLibrary).string(), parameter, content::kHostile});
  }

  /// @return number of finds
  std::size_t replay(const std::string& file) {
    std::vector<std::size_t> all(content::operations().size());
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = i;
    attackFile(file, all);
    printSlowest();
    return finds_;
  }

  std::size_t runMode(const std::string& mode) {
    const auto start = std::chrono::steady_clock::now();
    mode_now_ = mode + "-";
    finds_ = 0;
    runs_ = 0;
    constexpr int kBatch = 10;
    for (int done = 0; done < options_.count; done += kBatch)
      attackBatch(mode, bases_[static_cast<std::size_t>(done / kBatch) % bases_.size()],
                  options_.seed + static_cast<unsigned>(done), std::min(kBatch, options_.count - done));
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    report(mode, took.count());
    return finds_;
  }

  void printSlowest() const {
    std::multimap<double, std::string> times;
    for (std::size_t i = 0; i < slowest_s_.size(); ++i) times.emplace(slowest_s_[i], content::operations()[i].text);
    auto slow = times.rbegin();
    for (int i = 0; i < 12 && slow != times.rend(); ++i, ++slow)
      std::printf("%8.2f s at most: %s\n", slow->first, slow->second.c_str());
  }

 private:
  void attackBatch(const std::string& mode, const std::string& base, std::uint64_t seed, int count) {
    const fs::path mutated = scratch_ / "mutated";
    const std::string file = (scratch_ / "bases" / (base + ".dat")).string();
    const std::string command = std::string(CONTENT_MUTATE) + " " + mode + " " + file + " " + mutated.string() + " " +
                                std::to_string(seed) + " " + std::to_string(count);
    if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
    for (int i = 0; i < count; ++i) {
      const std::uint64_t number = seed + static_cast<unsigned>(i);
      const fs::path path = mutated / (std::to_string(number) + ".dat");
      Dice dice(number);
      std::vector<std::size_t> chosen;
      for (std::size_t k = 0; k < content::operations().size(); ++k)
        if (dice.chance(static_cast<unsigned>(content::operations()[k].percent))) chosen.push_back(k);
      attackFile(path, chosen);
      fs::remove(path);
    }
  }

  void attackFile(const fs::path& path, const std::vector<std::size_t>& chosen) {
    const fs::path home = scratch_ / "attack" / "home";
    fs::copy_file(path, home / content::kHostile, fs::copy_options::overwrite_existing);
    runs_ += chosen.size();
    for (const content::Find& find : content::attack(home, chosen, options_.bounds, slowest_s_)) {
      ++finds_;
      std::printf("%s: %s: %s\n", path.filename().c_str(), find.operation.c_str(), find.what.c_str());
      std::fflush(stdout);
      keep(path, find);
    }
  }

  void keep(const fs::path& path, const content::Find& find) {
    fs::create_directories(options_.finds);
    const std::string name = mode_now_ + path.filename().string();
    fs::copy_file(path, fs::path(options_.finds) / name, fs::copy_options::overwrite_existing);
    std::ofstream out(fs::path(options_.finds) / (name + ".txt"), std::ios::app);
    out << "orb " << find.operation << "\n" << find.what << "\n" << find.report << "\n";
  }

  void report(const std::string& mode, double took_s) {
    std::printf("%s: %d files, %zu operations, %zu finds, %.0f s\n", mode.c_str(), options_.count, runs_, finds_,
                took_s);
    const std::string command = "content_campaign --modes " + mode + " --count " + std::to_string(options_.count) +
                                " --seed " + std::to_string(options_.seed);
    reliability::report("Data files changed by " + mode + kUnderSanitizers,
                        std::to_string(options_.count) + " files, " + std::to_string(runs_) + " operations on them",
                        static_cast<long>(finds_), took_s, command);
  }

  Options options_;
  const orbtest::ScratchFolder folder_{orbtest::ScratchFolder::OnDisk};
  const fs::path scratch_ = folder_.path();
  std::vector<std::string> bases_;
  std::vector<double> slowest_s_;
  std::size_t finds_ = 0;
  std::size_t runs_ = 0;
  std::string mode_now_;
};

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app("Changes whole data files and runs everything on them that reads or analyses a data file.");
  app.add_option("--count", options.count, "Files to change in each way")->capture_default_str();
  app.add_option("--seed", options.seed, "Of the random numbers; file N has the seed N")->capture_default_str();
  app.add_option("--modes", options.modes, "rows, bytes")->delimiter(',')->capture_default_str();
  app.add_option("--json", options.json, "File to which a line for each way is appended");
  app.add_option("--finds", options.finds, "Folder for what was found: the file and the report")->capture_default_str();
  app.add_option("--replay", options.replay, "Runs every operation on this file instead");
  app.add_option("--seconds", options.bounds.cpu_s, "Processor time of one operation")->capture_default_str();
  app.add_option("--megabytes", options.bounds.memory_mb, "Memory of a process")->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  if (!options.replay.empty()) options.replay = fs::absolute(options.replay);
  options.finds = fs::absolute(options.finds);
  if (!options.json.empty()) ::setenv("ORB_RELIABILITY_JSON", options.json.c_str(), 1);
  ::setenv("ORB_ENGINES", CONTENT_ENGINES, 0);
  ::setenv("ORB_DATA_DIR", CONTENT_DATA, 0);
  try {
    Campaign campaign(options);
    if (!options.replay.empty()) return campaign.replay(options.replay) == 0 ? 0 : 1;
    std::size_t finds = 0;
    for (const std::string& mode : options.modes) finds += campaign.runMode(mode);
    campaign.printSlowest();
    return finds == 0 ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "content_campaign: %s\n", error.what());
    return 2;
  }
}
