#include "measurement.h"

#include <istream>
#include <iterator>

#include "analysis.h"
#include "atomic_file.h"
#include "blocks.h"
#include "calibration_text.h"
#include "failure.h"
#include "file_to_spectrum.h"
#include "import_spectrum.h"
#include "nuclide_results.h"
#include "open_file.h"
#include "peak_results.h"
#include "summary.h"
#include "temporary_file.h"

namespace com::norvale::measurement {

struct Measurement::State {
  std::string name;
  std::unique_ptr<TemporaryFile> place;  // of a file of its own; none as long as a user's data file is only read
  std::unique_ptr<FileAccess> file = std::make_unique<FileAccess>();  // closed before its place goes
  std::vector<std::string> notes;

  Note noting() {
    return [this](const std::string& note) { notes.push_back(note); };
  }
};

namespace {

void copyInto(const FileAccess& from, FileAccess& to, const std::string& path, const std::string& shown_name) {
  require(to.open(path, orb::CREATE), shown_name, "cannot create");
  require(from.duplicateTo(to), shown_name, "cannot copy");
}

}  // namespace

Measurement::Measurement(std::unique_ptr<State> state) noexcept : state_(std::move(state)) {}
Measurement::Measurement(Measurement&&) noexcept = default;
Measurement& Measurement::operator=(Measurement&&) noexcept = default;
Measurement::~Measurement() = default;

Measurement Measurement::open(const std::string& path, const OpenOptions& options) {
  auto state = std::make_unique<State>();
  state->name = path;
  if (looksLikeDataFile(path)) {
    openForReading(*state->file, path);
  } else {
    state->place = std::make_unique<TemporaryFile>();
    importSpectrum({path, options.detector, options.spectrum}, *state->file, state->place->path(), path,
                   state->noting());
  }
  return Measurement(std::move(state));
}

Measurement Measurement::read(std::string_view text, const std::string& name, const OpenOptions& options) {
  auto state = std::make_unique<State>();
  state->name = name;
  state->place = std::make_unique<TemporaryFile>();
  importSpectrum(readSpectrumText(text, name), {name, options.detector, options.spectrum}, *state->file,
                 state->place->path(), name, state->noting());
  return Measurement(std::move(state));
}

Measurement Measurement::read(std::istream& text, const std::string& name, const OpenOptions& options) {
  const std::string bytes{std::istreambuf_iterator<char>(text), std::istreambuf_iterator<char>()};
  if (text.bad()) throw Failure(name, "cannot read");
  return read(bytes, name, options);
}

// On a copy, which takes the place of the file when all has gone well.
void Measurement::analyse(const AnalysisOptions& options) {
  AnalysisRequest request;
  request.input = state_->name;
  request.sequence = options.sequence;
  request.library = options.library;
  request.engines = findEngines({options.catalogue, options.engines});
  auto place = std::make_unique<TemporaryFile>();
  auto copy = std::make_unique<FileAccess>();
  copyInto(*state_->file, *copy, place->path(), state_->name);
  measurement::analyse(request, *copy, place->path(), state_->name, state_->noting());
  state_->file = std::move(copy);
  state_->place = std::move(place);
}

const std::string& Measurement::name() const noexcept {
  return state_->name;
}

std::vector<double> Measurement::counts() const {
  const auto blocks = listBlocks(*state_->file);
  const AioBlockInfo_T* const block = findSpectralBlock(blocks);
  if (block == nullptr) throw Failure(state_->name, "no spectrum", convertReturnCode(AIO_NOBLOCK));
  const Counts stored = readCounts(*state_->file, *block, 1, 1);
  std::vector<double> counts(stored.size());
  for (std::size_t i = 0; i < counts.size(); ++i) counts[i] = stored.at(i);
  return counts;
}

Acquisition Measurement::acquisition() const {
  const Summary summary = summarise(*state_->file);
  return {summary.title, summary.detector, summary.start, summary.live_s, summary.real_s};
}

std::optional<EnergyCalibration> Measurement::energyCalibration() const {
  return readEnergyCalibration(*state_->file);
}

std::optional<FwhmCalibration> Measurement::fwhmCalibration() const {
  return readFwhmCalibration(*state_->file);
}

std::vector<Peak> Measurement::peaks() const {
  return readPeaks(*state_->file);
}

std::vector<Nuclide> Measurement::nuclides() const {
  return readNuclides(*state_->file).nuclides;
}

std::vector<Limit> Measurement::limits() const {
  return readNuclides(*state_->file).not_found;
}

std::vector<double> Measurement::unidentified_keV() const {
  return readNuclides(*state_->file).unidentified;
}

const std::vector<std::string>& Measurement::notes() const noexcept {
  return state_->notes;
}

void Measurement::save(const std::string& path, bool replace) const {
  DraftFile draft(path, replace);
  FileAccess copy;
  copyInto(*state_->file, copy, draft.path(), path);
  draft.write(copy);
  draft.publish();
}

std::string Measurement::text(ExportFormat format) {
  return textOfFile(*state_->file, format, state_->noting());
}

orb::FileAccess& Measurement::file() noexcept {
  return *state_->file;
}

const orb::FileAccess& Measurement::file() const noexcept {
  return *state_->file;
}

}  // namespace com::norvale::measurement
