// A dictionary with a parameter of every type, and files that use it.
#pragma once
#include <utility>
#include <vector>

#include "service_fixture.h"

namespace porbtest {

constexpr ULONG kHeader = 0x20060000;
constexpr ULONG kRecord = 0x20060100;
constexpr ULONG kEntry = 0x20060200;

/// Class 0x2006 with a parameter of every type; the number within a level is the type's code.
inline std::vector<ParameterLine> everyType() {
  std::vector<ParameterLine> lines;
  for (const auto& [level, base] :
       {std::pair{AIO_IN_HEADER, kHeader}, {AIO_IN_RECORD, kRecord}, {AIO_IN_ENTRY, kEntry}})
    for (const TypeWord& word : kTypeWords) {
      const USHORT length = word.type == AIO_T_TEXT ? 65534 : 9;
      lines.push_back({base + static_cast<ULONG>(word.type), static_cast<int>(level), word.type,
                       word.width == 0 ? length : USHORT{0}});
    }
  return lines;
}

class ValuesTest : public ServiceTest {
 protected:
  void SetUp() override {
    useDictionary(everyType());
    file_ = File::create(path());
  }
  File file_;
};

}  // namespace porbtest
