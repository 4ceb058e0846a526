/// Values of records and entries that may be missing.
#pragma once
#include <optional>
#include <string>

#include "blocks.h"
#include "open_file.h"

namespace com::norvale::measurement {

/// One record, or one entry of it, of a data file. Record 0 is the header.
class RecordView {
 public:
  RecordView(const FileAccess& file, std::uint16_t record, std::uint16_t entry = 0)
      : file_(file), record_(record), entry_(entry) {}

  std::optional<double> number(std::uint32_t code) const {
    const auto value = findValue(file_, code, record_, entry_);
    return value ? std::optional(value->toDouble()) : std::nullopt;
  }
  double numberOr0(std::uint32_t code) const { return number(code).value_or(0); }
  int whole(std::uint32_t code) const { return static_cast<int>(numberOr0(code)); }
  std::string text(std::uint32_t code) const {
    const auto value = findValue(file_, code, record_, entry_);
    return value ? value->toString() : std::string();
  }
  /// Without the fractions of a second.
  std::string time(std::uint32_t code) const {
    std::string words = text(code);
    const std::size_t point = words.find('.');
    if (point != std::string::npos) words.erase(point, words.find_first_not_of("0123456789", point + 1) - point);
    return words;
  }

 private:
  const FileAccess& file_;
  std::uint16_t record_;
  std::uint16_t entry_;
};

/// Whether a sample quantity stands for the sample as a whole, as that of a new file does.
inline bool isWholeSample(double quantity, const std::string& unit) {
  return quantity == 1 && (unit.empty() || unit == "Unit");
}

/// Nothing when the file has no such block.
inline std::optional<std::uint16_t> countRecords(const FileAccess& file, std::uint32_t cls) {
  for (const AioBlockInfo_T& block : listBlocks(file))
    if (block.usClass == cls) return static_cast<std::uint16_t>(block.usRecords);
  return std::nullopt;
}

}  // namespace com::norvale::measurement
