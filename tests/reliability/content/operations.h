#pragma once
#include <string>
#include <vector>

// What is done with a hostile file. The current folder is the file's own.
namespace content {

/// The names that operations use:
///   F  the hostile file, which nothing may change       W  a copy of it, for commands that write
///   G  a good file                                      H  a copy of it
///   L  a copy of it whose nuclide library is F          O  outputs, O.svg and the like
inline constexpr const char* kHostile = "f.dat";
inline constexpr const char* kHostileCopy = "w.dat";
inline constexpr const char* kGood = "g.dat";
inline constexpr const char* kGoodCopy = "h.dat";
inline constexpr const char* kWithLibrary = "l.dat";

struct Operation {
  std::string text;   ///< words of a command of the tool, or the name of a function
  int percent = 100;  ///< how often it is run
  void (*call)() = nullptr;
};

/// Every reading and analysing operation: commands of the tool, operations of the file object and of the service.
const std::vector<Operation>& operations();

/// Runs an operation in this process, which it may end. @return what is wrong with its outcome; empty when nothing is
std::string run(const Operation& operation);

/// Runs a command of the tool with the standard outputs as they are. @return its exit status
int runTool(const std::vector<std::string>& words);

}  // namespace content
