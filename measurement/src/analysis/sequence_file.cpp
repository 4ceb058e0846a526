#include "sequence_file.h"

#include "comdefs.h"
#include "failure.h"
#include "orbparams.h"

namespace com::norvale::measurement {

namespace {

std::uint16_t countSteps(const FileAccess& file) {
  std::uint16_t count = 0;
  const std::uint32_t status = file.countItems(ORB_T_ACENGNAME, count, 0);
  if (status == com::norvale::orb::kNoBlock) return 0;
  require(status, file.name(), "cannot count the steps");
  return count;
}

std::string textOf(const FileAccess& file, std::uint32_t code, std::uint16_t record) {
  const auto value = findValue(file, code, record);
  return value ? value->toString() : std::string();
}

void putText(FileAccess& file, std::uint32_t code, const std::string& text, std::uint16_t record) {
  if (!text.empty() || code == ORB_T_ACENGNAME)
    require(file.setParameter(code, Variant(text), record, 0), file.name(), "cannot store the step");
}

}  // namespace

std::vector<SequenceStep> readSteps(const FileAccess& file) {
  std::vector<SequenceStep> steps;
  const std::uint16_t count = countSteps(file);
  for (std::uint32_t i = 1; i <= count; ++i) {
    const auto record = static_cast<std::uint16_t>(i);
    steps.push_back({textOf(file, ORB_T_ACENGNAME, record), textOf(file, ORB_T_ACSTEPDESC, record),
                     textOf(file, ORB_T_ACSTEPOPTS, record)});
  }
  return steps;
}

void insertStep(FileAccess& file, const SequenceStep& step, std::size_t after) {
  const std::size_t count = countSteps(file);
  const auto place = static_cast<std::uint16_t>(std::min(after, count));
  require(file.insertItem(ORB_CLS_ANALCNTL, place, 0), file.name(), "cannot insert the step");
  const auto record = static_cast<std::uint16_t>(place + 1);
  putText(file, ORB_T_ACENGNAME, step.engine, record);
  putText(file, ORB_T_ACSTEPDESC, step.description, record);
  putText(file, ORB_T_ACSTEPOPTS, step.options, record);
}

void removeStep(FileAccess& file, std::size_t number) {
  const std::size_t count = countSteps(file);
  if (number == 0 || number > count)
    throw Failure(file.name(),
                  "there is no step " + std::to_string(number) + "; the sequence has " + std::to_string(count));
  require(file.deleteItem(ORB_CLS_ANALCNTL, static_cast<std::uint16_t>(number), 0), file.name(),
          "cannot remove the step");
}

}  // namespace com::norvale::measurement
