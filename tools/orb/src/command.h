/// What a command is made of. A command lives in one file, commands/NAME.cpp, which defines add<Name>; a line in the
/// table below makes it part of the program.
#pragma once
#include <CLI/CLI.hpp>
#include <functional>

#include "console.h"

namespace orb::tool {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

/// What the command line asks for.
struct Job {
  /// Runs after the whole line has been read, and returns the exit status.
  std::function<int(Console&)> work;
  /// The exit status of a failure; another one where 1 is an answer.
  int failed = kFailed;
};

/// Describes a command to the parser; its callback sets the job.
using AddCommand = void (*)(CLI::App& app, Job& job);

// clang-format off
// One line a command, in the order of the help.
#define ORB_TOOL_COMMANDS(X) \
  X(Create)                  \
  X(Info)                    \
  X(Get)                     \
  X(Set)                     \
  X(Dump)                    \
  X(Params)                  \
  X(Import)                  \
  X(Export)                  \
  X(Copy)                    \
  X(Diff)                    \
  X(Check)                   \
  X(Explain)                 \
  X(Plot)                    \
  X(Report)                  \
  X(Library)                 \
  X(Calibrate)               \
  X(Peaks)                   \
  X(Fit)                     \
  X(Eval)                    \
  X(Region)                  \
  X(Simulate)                \
  X(Analyze)                 \
  X(Batch)                   \
  X(Nuclides)                \
  X(Run)                     \
  X(Sequence)                \
  X(Engines)
// clang-format on

#define ORB_TOOL_DECLARE(Name) void add##Name(CLI::App& app, Job& job);
ORB_TOOL_COMMANDS(ORB_TOOL_DECLARE)
#undef ORB_TOOL_DECLARE

}  // namespace orb::tool
