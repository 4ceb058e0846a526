// orb library: a nuclide library made from a table.
#include <map>
#include <memory>

#include "atomic_file.h"
#include "comdefs.h"
#include "command.h"
#include "failure.h"
#include "nuclide_csv.h"
#include "open_file.h"
#include "orbparams.h"
#include "read_bytes.h"

namespace orb::tool {

namespace {

struct Options {
  std::string table;
  std::string file;
  std::string title;
  bool force = false;
};

void put(FileAccess& file, std::uint32_t code, const Variant& value, std::uint16_t record) {
  const std::uint32_t status = file.setParameter(code, value, record, 0);
  if (status != 0) throw Failure(file.name(), "cannot store the line of record " + std::to_string(record), status);
}

/// What is empty or usual is left out: a value costs every reader of the library the time to read it.
void putLine(FileAccess& file, const NuclideLine& line, std::uint16_t record, int number) {
  put(file, ORB_T_NLNAME, Variant(line.nuclide), record);
  put(file, ORB_D_NLENERGY, Variant(line.energy_keV), record);
  if (line.energy_unc_keV > 0) put(file, ORB_D_NLENERGYUNC, Variant(line.energy_unc_keV), record);
  put(file, ORB_D_NLPROB, Variant(line.probability), record);
  if (line.probability_unc > 0) put(file, ORB_D_NLPROBUNC, Variant(line.probability_unc), record);
  put(file, ORB_D_NLHALFLIFE, Variant(line.half_life_s), record);
  put(file, ORB_L_NLLINE, Variant(number), record);
  if (line.is_key) put(file, ORB_B_NLKEY, Variant(line.is_key), record);
  if (line.type != "gamma") put(file, ORB_T_NLRADTYPE, Variant(line.type), record);
  if (!line.parent.empty()) put(file, ORB_T_NLPARENT, Variant(line.parent), record);
  if (!line.reference.empty()) put(file, ORB_T_NLREFERENCE, Variant(line.reference), record);
}

void fill(FileAccess& file, const std::vector<NuclideLine>& lines, const Options& options) {
  std::map<std::string, int> lines_of_nuclide;
  for (std::size_t i = 0; i < lines.size(); ++i)
    putLine(file, lines[i], static_cast<std::uint16_t>(i + 1), ++lines_of_nuclide[lines[i].nuclide]);
  putValue(file, ORB_T_NLTITLE, Variant(options.title));
  putValue(file, ORB_L_NLNUCLIDES, Variant(static_cast<int>(lines_of_nuclide.size())));
}

int run(const Options& options, Console& console) {
  const auto lines = readNuclideCsv(readBytes(options.table), options.table);
  if (lines.size() > AIO_MAX_RECORDS) throw Failure(options.table, "more lines than a library can hold");
  DraftFile draft(options.file, options.force);
  FileAccess file;
  if (const std::uint32_t status = file.open(draft.path(), com::norvale::orb::CREATE))
    throw Failure(options.file, "cannot create", status);
  fill(file, lines, options);
  draft.write(file);
  draft.publish();
  console.note(options.file + ": " + std::to_string(lines.size()) + " lines");
  return kDone;
}

}  // namespace

void addLibrary(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command =
      app.add_subcommand("library", "Make a nuclide library from a table of gamma lines and X-rays");
  command->add_option("TABLE", options->table, "CSV with one line of a nuclide a row")->required();
  command->add_option("FILE", options->file, "Library to make")->required();
  command->add_option("--title", options->title, "Title of the library")->type_name("TEXT");
  command->add_flag("--force", options->force, "Replace an existing file");
  command->footer(
      "Columns: nuclide, half_life (as 30.05 y), parent, energy_keV, energy_unc_keV, probability_percent,\n"
      "probability_unc, type (gamma, xray, annihilation), key (yes, no), reference.\n\n"
      "Example:\n"
      "  orb library mylines.csv mylines.nlb");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
