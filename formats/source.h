#pragma once
#include <cstddef>
#include <string>
#include <string_view>

#include "spectrum_data.h"

namespace orb::formats {

/// Where a number stands when it turns out to be none.
class Complaints {
 public:
  /// @throws FormatError  naming the line (in XML the element too) of the place.
  [[noreturn]] virtual void fail(const char* place, const std::string& what) const = 0;

 protected:
  ~Complaints() = default;
};

/// The text of a file, and the way to complain about a place in it.
class Source final : public Complaints {
 public:
  /// Takes a byte-order mark off. Refuses text that is too long, empty, or not text.
  Source(std::string_view bytes, std::string_view name);

  std::string_view text() const { return text_; }
  /// Of a place inside text(); counts from 1. CR LF and CR CR LF end one line.
  std::size_t lineOf(const char* place) const;
  [[noreturn]] void fail(const char* place, const std::string& what) const override;
  [[noreturn]] void failLine(std::size_t line, const std::string& what) const;
  [[noreturn]] void failFile(const std::string& what) const;
  const std::string& name() const { return name_; }

 private:
  std::string name_;
  std::string_view text_;
  char line_end_;
};

/// Takes a text apart into lines. Where it has no LF at all, a CR ends a line.
class Lines {
 public:
  explicit Lines(std::string_view text);

  /// False at the end. `line` comes without its line end and without blanks at both ends.
  bool next(std::string_view& line);
  /// Of the line that next() gave last; counts from 1.
  std::size_t number() const { return number_; }

 private:
  std::string_view rest_;
  char line_end_;
  std::size_t number_ = 0;
};

/// Reads and checks one count at `p`. The number must end at a blank, at the end or at one of `stops`.
const char* scanCount(const Complaints& complaints, const char* p, const char* end, double& count,
                      std::string_view stops = {});

/// Complains about a count that is no number, not finite or negative.
void checkCount(const Complaints& complaints, const char* place, double count);

/// The start of what stands at `place`, up to a blank, in quotes and printable.
std::string quotedAt(const char* place, const char* end);

}  // namespace orb::formats
