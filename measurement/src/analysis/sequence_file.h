/// Analysis sequences: the steps that a data file names.
#pragma once
#include <string>
#include <vector>

#include "open_file.h"

namespace com::norvale::measurement {

struct SequenceStep {
  std::string engine;  ///< name in the engine catalogue
  std::string description;
  std::string options;  ///< NAME=VALUE pairs
};

/// @throws Failure
std::vector<SequenceStep> readSteps(const FileAccess& file);
/// Inserts a step after as many as `after` says. @throws Failure
void insertStep(FileAccess& file, const SequenceStep& step, std::size_t after);
/// Removes a step, counted from 1. @throws Failure
void removeStep(FileAccess& file, std::size_t number);

}  // namespace com::norvale::measurement
