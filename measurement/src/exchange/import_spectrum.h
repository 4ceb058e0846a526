/// A spectrum in a text format made into a data file.
#pragma once
#include <string>

#include "spectrum_file.h"
#include "spectrum_to_file.h"

namespace com::norvale::measurement {

struct ImportRequest {
  std::string spectrum;    ///< path of the text
  std::string detector;    ///< hpge or nai; empty: guessed from the widths
  std::size_t number = 0;  ///< which spectrum of the text, from 1; 0: the first, and the user is told of others
};

/// Makes a data file where nothing lies yet, and leaves it open and not flushed. What could not be carried over goes to
/// `note`.
/// @param shown_name  by which messages call the data file
/// @throws Failure
void importSpectrum(const ImportRequest& request, FileAccess& file, const std::string& target,
                    const std::string& shown_name, const Note& note);

/// The same of a text that is read already.
void importSpectrum(const SpectrumFile& source, const ImportRequest& request, FileAccess& file,
                    const std::string& target, const std::string& shown_name, const Note& note);

}  // namespace com::norvale::measurement
