/// The whole analysis of one spectrum.
#pragma once
#include <string>

#include "engine_set.h"
#include "import_spectrum.h"

namespace com::norvale::measurement {

struct AnalysisRequest {
  std::string input;       ///< data file, or a spectrum in a text format
  std::string detector;    ///< for a text: hpge or nai; empty: guessed
  std::size_t number = 0;  ///< for a text: which spectrum, from 1; 0: the first
  std::string sequence;    ///< empty: the standard sequence
  std::string library;     ///< nuclide library in place of the file's, or of that of the sequence if one is named
  EngineSet engines;
};

/// Copies the input to `target`, where nothing lies yet, or imports it, and runs the sequence on it. A file that is
/// open already is the input itself and stays where it is. The file is open afterwards and not flushed.
/// @param shown_name  by which messages call the target
/// @throws Failure naming the step that failed; the target is then not complete
void analyse(const AnalysisRequest& request, FileAccess& file, const std::string& target, const std::string& shown_name,
             const Note& note);

/// Runs a sequence on an open file, the steps told to the file's observer.
/// @return what executeSequence answered
/// @throws Failure when the sequence cannot be opened
std::uint32_t runSequence(FileAccess& file, const std::string& sequence, const EngineSet& engines, bool skip_errors);

}  // namespace com::norvale::measurement
