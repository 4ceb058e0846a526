/// Standard output and standard error of a command.
#pragma once
#include <string>
#include <string_view>

#include "parts.h"

namespace orb::tool {

/// The reader of standard output has gone away. Nobody is left to tell, so the command just ends.
struct OutputClosed {};

/// Data goes to standard output through a buffer of its own, so that a full disk is noticed; messages go to standard
/// error at once, behind the data that was written before them.
class Console {
 public:
  Console() = default;
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  /// Writes data as it is. @throws Failure, OutputClosed
  void write(std::string_view data);
  /// Writes data and a line break.
  void line(std::string_view data = {});
  /// Sends on what is buffered. @throws Failure, OutputClosed
  void flush();
  /// Whether standard output is a terminal.
  bool isTerminal() const;

  /// "orb: TEXT" on standard error; control characters are escaped.
  void note(std::string_view text);

  /// Routes the log of the libraries: to standard error with `verbose`, otherwise nowhere.
  void setVerbose(bool verbose);
  /// What it was set to last.
  static bool isVerbose();

 private:
  std::string buffer_;
};

}  // namespace orb::tool
