/// The values of a data file, record by record.
#pragma once
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "blocks.h"

namespace com::norvale::measurement {

/// One value that lies in a file. A value that the dictionary does not know, or that cannot be read, is there too.
struct StoredValue {
  std::uint32_t code = 0;
  std::uint16_t entry = 0;
  const AioParamInfo_T* parameter = nullptr;  ///< null: not in the dictionary
  Variant value;
  std::uint32_t status = 0;  ///< why there is no value

  std::string name() const;  ///< the parameter's, or the code in hexadecimal
  std::string unit() const;  ///< empty where there is none
  std::string text() const;  ///< value and unit on one line, or why there is none
};

/// Reads the records of one file. The values refer to the reader and must not outlive it.
class ValueReader {
 public:
  explicit ValueReader(const FileAccess& file) : file_(file) {}
  /// By entry and code; record 0 is the header and the working record. @throws Failure
  std::vector<StoredValue> read(std::uint16_t cls, std::uint16_t record);

 private:
  const AioParamInfo_T* describe(std::uint32_t code);

  const FileAccess& file_;
  std::map<std::uint32_t, std::optional<AioParamInfo_T>> known_;
};

}  // namespace com::norvale::measurement
