// orb batch: many spectra, one after the other or several at once.
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <thread>

#include "analysis_options.h"
#include "atomic_file.h"
#include "blocks.h"
#include "command.h"
#include "failure.h"
#include "leftovers.h"
#include "memory_shortage.h"
#include "nuclide_results.h"
#include "peak_results.h"
#include "progress.h"
#include "terminal_text.h"
#include "text.h"

namespace orb::tool {

namespace {

namespace fs = std::filesystem;

struct Options {
  std::vector<std::string> inputs;
  AnalysisRequest request;
  RunOptions engines;
  std::string out;
  std::string csv;
  unsigned jobs = 1;
  bool force = false;
};

/// What became of one spectrum.
struct Outcome {
  std::string input;
  std::string state;    ///< done, kept (from an earlier run), failed or stopped (not begun)
  std::string message;  ///< why it failed, or what there is to note about it
  std::size_t peaks = 0;
  NuclideResults nuclides;
};

/// The whole name of the input stays in that of the output: x.spe and x.csv are two spectra.
std::string outputFor(const std::string& input, const std::string& folder) {
  const fs::path name = fs::path(input).filename();
  return (fs::path(folder) / (name.extension() == ".dat" ? name.string() : name.string() + ".dat")).string();
}

/// The files of a folder in the order of their names. Hidden files and folders are passed over, what is neither file
/// nor folder with a note.
std::vector<std::string> filesOf(const std::string& folder, const std::string& out, const Note& note) {
  std::vector<std::string> files;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    std::error_code dangling;  // a link to nothing is no fault of the folder
    const std::string path = entry->path().string();
    if (entry->path().filename().string().front() == '.' || entry->is_directory(dangling)) continue;
    if (!entry->is_regular_file(dangling))
      note(path + ": passed over, it is no regular file");
    else if (isSameFile(path, outputFor(path, out)))
      note(path + ": passed over, it lies in the folder of the results");
    else
      files.push_back(path);
  }
  if (error) throw Failure(folder, "cannot read the folder: " + error.message());
  if (files.empty()) throw Failure(folder, "there is no spectrum in the folder");
  std::sort(files.begin(), files.end());
  return files;
}

/// The files that are named, and those of the folders.
std::vector<std::string> listInputs(const std::vector<std::string>& named, const std::string& out, const Note& note) {
  std::vector<std::string> inputs;
  for (const std::string& name : named) {
    std::error_code error;
    if (!fs::is_directory(name, error)) {
      inputs.push_back(name);
      continue;
    }
    const std::vector<std::string> inside = filesOf(name, out, note);
    inputs.insert(inputs.end(), inside.begin(), inside.end());
  }
  return inputs;
}

/// Why an input cannot have its output, for each; empty: it can.
std::vector<std::string> clashesOf(const std::vector<std::string>& inputs, const std::string& folder) {
  std::vector<std::string> clashes;
  std::map<std::string, std::string> owners;
  for (const std::string& input : inputs) {
    const auto [place, is_new] = owners.try_emplace(outputFor(input, folder), input);
    if (!is_new)
      clashes.push_back("has the name of " + place->second + "; both would become " + place->first);
    else
      clashes.push_back(isSameFile(input, place->first) ? "lies in the folder of the results" : "");
  }
  return clashes;
}

/// The table must not take the place of what it tells about, nor of any other data file.
void requireFreeTable(const std::string& table, const std::vector<std::string>& inputs) {
  if (looksLikeDataFile(table)) throw Failure(table, "a data file is not replaced by a table");
  for (const std::string& input : inputs)
    if (isSameFile(table, input)) throw Failure(table, "is one of the spectra, and is not replaced by a table");
}

/// A failure names its file first; in a table of files that stands there already.
std::string withoutSubject(const std::string& message, const std::string& input) {
  const std::string subject = escapeLine(input) + ": ";
  return message.rfind(subject, 0) == 0 ? message.substr(subject.size()) : message;
}

class Batch {
 public:
  Batch(const Options& options, std::vector<std::string> inputs)
      : options_(options),
        inputs_(std::move(inputs)),
        clashes_(clashesOf(inputs_, options.out)),
        outcomes_(inputs_.size()),
        progress_("analysing", inputs_.size(), false) {}

  std::vector<Outcome> run() {
    std::vector<std::jthread> workers;
    const std::size_t n_workers = std::min<std::size_t>(options_.jobs, inputs_.size());
    for (std::size_t i = 1; i < n_workers; ++i) workers.emplace_back([this] { work(); });
    work();
    workers.clear();  // waits for them
    return std::move(outcomes_);
  }

 private:
  void work() {
    for (std::size_t i = next_++; i < inputs_.size(); i = next_++) {
      if (!clashes_[i].empty())
        outcomes_[i] = {inputs_[i], "failed", clashes_[i], 0, {}};
      else
        outcomes_[i] = stop_.isAsked() ? Outcome{inputs_[i], "stopped", "", 0, {}} : analyseOne(inputs_[i]);
      const std::lock_guard lock(mutex_);
      progress_.step();
    }
  }

  /// One that fails does not stop the rest.
  Outcome analyseOne(const std::string& input) const {
    forgetMemoryShortage();
    Outcome outcome;
    outcome.input = input;
    try {
      const std::string target = outputFor(input, options_.out);
      if (pathExists(target) && !options_.force) {
        outcome.state = "kept";
        removeDeadDrafts(target);  // whoever published it may have been killed right after that
        FileAccess file;
        openForReading(file, target);
        readResults(file, outcome);
      } else {
        make(input, target, outcome);
        outcome.state = "done";
      }
    } catch (const std::exception& error) {
      outcome.state = "failed";
      outcome.message = withoutSubject(error.what(), input);
    } catch (...) {
      outcome.state = "failed";
      outcome.message = "unknown failure";
    }
    return outcome;
  }

  static void readResults(const FileAccess& file, Outcome& outcome) {
    outcome.peaks = readPeaks(file).size();
    outcome.nuclides = readNuclides(file);
  }

  /// A file that bears its name is whole, so that a batch that was stopped knows what it need not do again.
  void make(const std::string& input, const std::string& target, Outcome& outcome) const {
    AnalysisRequest request = options_.request;
    request.input = input;
    DraftFile draft(target, options_.force);
    FileAccess file;
    analyse(request, file, draft.path(), target,
            [&](const std::string& note) { outcome.message += (outcome.message.empty() ? "" : "; ") + note; });
    readResults(file, outcome);
    draft.write(file);
    draft.publish();
  }

  const Options& options_;
  std::vector<std::string> inputs_;
  std::vector<std::string> clashes_;
  std::vector<Outcome> outcomes_;
  std::atomic<std::size_t> next_{0};
  std::mutex mutex_;
  Progress progress_;
  GentleStop stop_;
};

std::string namesOf(const NuclideResults& results, const char* separator) {
  std::string names;
  for (const Nuclide& row : results.nuclides) names += (names.empty() ? "" : separator) + row.name;
  return names;
}

/// A text as a field that a spreadsheet shows and does not compute.
std::string quoted(const std::string& field) {
  const bool is_formula = !field.empty() && std::string_view("=+-@\t\r").find(field[0]) != std::string_view::npos;
  return formats::quotedField((is_formula ? "'" : "") + escapeLine(field));
}

std::string csvOf(const std::vector<Outcome>& outcomes) {
  std::string text = "file,result,peaks,unidentified,nuclides,message\n";
  for (const Outcome& outcome : outcomes) {
    text += quoted(outcome.input) + "," + outcome.state + "," + std::to_string(outcome.peaks) + "," +
            std::to_string(outcome.nuclides.unidentified.size()) + "," + quoted(namesOf(outcome.nuclides, ";")) + "," +
            quoted(outcome.message) + "\n";
  }
  return text;
}

void print(const std::vector<Outcome>& outcomes, Console& console) {
  std::size_t width = 4;
  for (const Outcome& outcome : outcomes) width = std::max(width, displayWidth(escapeLine(outcome.input)));
  for (const Outcome& outcome : outcomes) {
    const std::string what =
        outcome.state == "failed" ? escapeLine(outcome.message) : escapeLine(namesOf(outcome.nuclides, " "));
    const std::string peaks = outcome.state == "failed" ? "" : std::to_string(outcome.peaks);
    console.line(padRight(escapeLine(outcome.input), width) + "  " + padRight(outcome.state, 7) + padLeft(peaks, 5) +
                 "  " + what);
  }
}

int run(Options options, Console& console) {
  options.request.engines = findEngines(options.engines);
  const std::vector<std::string> inputs =
      listInputs(options.inputs, options.out, [&](const std::string& text) { console.note(escapeLine(text)); });
  std::error_code error;
  fs::create_directories(options.out, error);
  if (error) throw Failure(options.out, "cannot make the folder: " + error.message());
  std::unique_ptr<DraftFile> table;
  if (!options.csv.empty()) {
    requireFreeTable(options.csv, inputs);
    table = std::make_unique<DraftFile>(options.csv, true, DraftFile::Content::kText);
  }
  const bool is_isolated = options.engines.isolated;  // then this process loads no engine
  const auto loaded =
      is_isolated ? decltype(keepLoaded(options.request.engines)){} : keepLoaded(options.request.engines);
  const std::vector<Outcome> outcomes = Batch(options, inputs).run();
  print(outcomes, console);
  if (table) table->write(csvOf(outcomes));
  if (table) table->publish();
  const auto tell = [&](const char* state, const std::string& how) {
    const auto n = std::count_if(outcomes.begin(), outcomes.end(), [&](const Outcome& o) { return o.state == state; });
    if (n > 0) console.note(std::to_string(n) + " of " + std::to_string(outcomes.size()) + how);
    return n > 0;
  };
  const bool any_failed = tell("failed", " failed");
  const bool any_stopped = tell("stopped", " not begun, because the batch was stopped; start it again to go on");
  return any_failed || any_stopped ? kFailed : kDone;
}

}  // namespace

void addBatch(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("batch", "Analyse many spectra");
  command->add_option("FILES", options->inputs, "Spectra, data files, or folders of them")->required();
  command->add_option("-o,--output", options->out, "Folder for the analysed files; made when it is not there")
      ->required()
      ->type_name("OUTDIR");
  command->add_option("--jobs", options->jobs, "Spectra at once")->check(CLI::Range(1, 64))->type_name("N");
  command->add_option("--csv", options->csv, "Summary table to write; an existing one is replaced")->type_name("R.csv");
  addAnalysisOptions(*command, options->request, options->engines);
  command->add_flag("--force", options->force, "Analyse finished files again");
  command->footer(
      "The results of soil.spe go to OUTDIR/soil.spe.dat. A file that is there already is kept as it is, so a batch "
      "that\n"
      "was stopped (Ctrl-C, once) can be started again. One that fails does not stop the rest; exit status 1 tells of "
      "it.\n\n"
      "Example:\n  orb batch spectra -o results --jobs 4 --csv results.csv");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
