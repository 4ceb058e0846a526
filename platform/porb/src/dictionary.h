#pragma once
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "fixed_text.h"
#include "value_types.h"

namespace porb {

/// One parameter of the dictionary.
struct Parameter {
  std::uint32_t code = 0;
  std::uint16_t storage_length = 0;  // characters of a text, bytes of a number
  std::uint16_t return_length = 0;
  std::uint16_t flags = 0;  // level in the low bits (AIO_LEVEL_MASK), attributes above
  std::uint8_t storage_type = 0;
  std::uint8_t return_type = 0;
  std::uint8_t level = AIO_IN_HEADER;
  std::uint8_t block_type = 0;  // 1 header values only, 2 table of records
  FixedText<AIO_NAME_LENGTH> name;
  FixedText<AIO_UNIT_LENGTH> unit;
  FixedText<AIO_DESCRIPTION_LENGTH> description;

  std::uint16_t cls() const noexcept { return static_cast<std::uint16_t>(code >> 16); }
  std::uint16_t param() const noexcept { return static_cast<std::uint16_t>(code); }
  /// Bytes of a buffer that holds one value.
  std::uint16_t bufferSize() const noexcept {
    return kindOf(return_type) == Kind::Text ? static_cast<std::uint16_t>(storage_length + 1) : return_length;
  }
};

/// A line of a dictionary that cannot be understood; what() names source, line and fault.
class DictionaryError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The parameter dictionary: what a code is called, where its value lives and which type it has. Immutable
/// once made, so any number of threads read it without a lock.
class Dictionary {
 public:
  /// Reads the text form (see the head of orbdb.dat).
  /// @param source  what an error calls the text: its path
  /// @throws DictionaryError, std::bad_alloc
  Dictionary(std::string_view text, const std::string& source);

  const Parameter* find(std::uint32_t code) const noexcept {
    for (std::uint32_t at = slotOf(code);; at = (at + 1) & mask_) {
      const Slot& slot = slots_[at];
      if (slot.number == 0) return nullptr;
      if (slot.code == code) return &parameters_[slot.number - 1];
    }
  }
  /// Without regard to case.
  const Parameter* findByName(std::string_view name) const noexcept;
  /// The parameter with the least code above `code`; null behind the last.
  const Parameter* next(std::uint32_t code) const noexcept;
  bool hasClass(std::uint16_t cls) const noexcept;
  /// Words for a class; null when the dictionary has none.
  const char* className(std::uint16_t cls) const noexcept;

 private:
  struct Slot {
    std::uint32_t code = 0;
    std::uint32_t number = 0;  // place in parameters_ and one; 0: empty
  };
  struct ClassWords {
    std::uint16_t cls;
    std::string words;
  };

  std::uint32_t slotOf(std::uint32_t code) const noexcept { return ((code * 0x9E3779B1u) >> 16) & mask_; }
  void buildIndex();
  void markBlockTypes() noexcept;

  std::vector<Parameter> parameters_;  // ascending codes
  std::vector<ClassWords> classes_;
  std::vector<Slot> slots_;  // open addressing, never more than half full
  std::uint32_t mask_ = 0;
};

}  // namespace porb
