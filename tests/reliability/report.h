/// What the C++ programs of the reliability campaign share: how long a run may take, and the line of a result.
/// cmake/OrbReliability.cmake tells how a program becomes part of the campaign.
#pragma once
#include <sys/mman.h>

#include <cstdlib>
#include <fstream>
#include <new>
#include <string>

namespace reliability {

/// The value for a run of a few seconds, of a quarter of an hour (all parts together), or of a night.
template <typename T>
T byLength(T seconds, T quarter, T night) {
  const char* const length = std::getenv("ORB_RELIABILITY");
  if (length == nullptr || *length == '\0') return seconds;
  return std::string(length) == "long" ? night : quarter;
}

/// One object in memory that the processes to come share.
template <typename T>
T& shared() {
  static T* const object = [] {
    void* const memory = mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    return new (memory) T;
  }();
  return *object;
}

/// Appends a row to the file of results, if there is one. `command` repeats the run.
/// None of the texts may hold a quotation mark or a backslash.
inline void report(const std::string& row, const std::string& figure, long failures, double seconds,
                   const std::string& command) {
  const char* const path = std::getenv("ORB_RELIABILITY_JSON");
  if (path == nullptr) return;
  std::ofstream(path, std::ios::app) << R"({"row": ")" << row << R"(", "figure": ")" << figure << R"(", "failures": )"
                                     << failures << R"(, "seconds": )" << seconds << R"(, "command": ")" << command
                                     << "\"}\n";
}

}  // namespace reliability
