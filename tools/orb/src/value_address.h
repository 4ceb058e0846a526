/// The place of one value, as `orb get` and `orb set` are given it.
#pragma once
#include <cstdint>
#include <string>

#include "aioproto.h"
#include "command.h"

namespace orb::tool {

struct ValueAddress {
  std::string file;
  std::string parameter;
  std::uint16_t record = 0;
  std::uint16_t entry = 0;
};

inline void addValueAddress(CLI::App& command, ValueAddress& address) {
  command.add_option("FILE", address.file, "Data file")->required();
  command.add_option("PARAM", address.parameter, "Parameter: its name in any case, or its code as 0x20000005")
      ->required();
  command.add_option("--record", address.record, "Record, from 1; 0 is the working record")
      ->check(CLI::Range(0u, AIO_MAX_RECORDS))
      ->type_name("N");
  command.add_option("--entry", address.entry, "Entry of the record, from 1; 0 is the working entry")
      ->check(CLI::Range(0u, AIO_MAX_ENTRIES))
      ->type_name("N");
}

/// "ORB_D_PKENERGY, record 3, entry 1"
inline std::string placeWords(const AioParamInfo_T& parameter, const ValueAddress& address) {
  std::string text = parameter.szName;
  if (parameter.ulLevel != AIO_IN_HEADER) text += ", record " + std::to_string(address.record);
  if (parameter.ulLevel == AIO_IN_ENTRY) text += ", entry " + std::to_string(address.entry);
  return text;
}

/// Says so when a number was given that the parameter has no use for.
inline void noteUnusedNumbers(const AioParamInfo_T& parameter, const ValueAddress& address, Console& console) {
  const std::string name = parameter.szName;
  if (address.record != 0 && parameter.ulLevel == AIO_IN_HEADER) {
    console.note(name + " lives in the header of its block; --record is not used");
  }
  if (address.entry != 0 && parameter.ulLevel != AIO_IN_ENTRY) {
    console.note(name + " has no entries; --entry is not used");
  }
}

}  // namespace orb::tool
