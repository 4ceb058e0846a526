// Decodes arbitrary bytes as a value of an arbitrary type, and encodes what came out again.
//
// Input: byte 0 the return type, byte 1 the storage length, the rest the stream.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "ParameterMetadata.h"
#include "fuzz_support.h"
#include "silent_log.h"

using com::norvale::datatypes::ByteStream;
using com::norvale::datatypes::Variant;
using com::norvale::orb::ParameterMetadata;
using fuzz::require;

namespace {

/// What was decoded encodes to bytes that decode to the same. For integers these are the bytes that were read.
void checkRoundTrip(const ParameterMetadata& metadata, const ByteStream& read, const Variant& value) {
  ByteStream stream;
  require(metadata.serialize(value, stream) == 0);
  require(stream.size() == metadata.size());
  if (metadata.returnType() == 3 || metadata.returnType() == 8 || metadata.returnType() == 9) {
    require(std::equal(stream.data(), stream.data() + stream.size(), read.data()));
  }
  Variant again;
  require(metadata.deserialize(stream, again) == 0);
  ByteStream second;
  require(metadata.serialize(again, second) == 0);
  require(std::equal(stream.data(), stream.data() + stream.size(), second.data()));
}

/// Bytes of a number of this return type; 1 for the others, whose streams must not be empty.
std::int32_t lengthOf(std::int32_t type) {
  switch (type) {
    case 3:
    case 7:
      return 2;
    case 8:
    case 10:
      return 4;
    case 9:
    case 27:
    case 35:
    case 192:
      return 8;
    default:
      return 1;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  ParameterMetadata metadata(nullptr);
  metadata.m_retType = data[0];
  metadata.m_retLen = lengthOf(data[0]);
  metadata.m_storeLen = data[1];
  const ByteStream stream(data + 2, size - 2);
  Variant value;
  const bool is_text = data[0] == 14 || data[0] == 24;
  try {
    const std::uint32_t code = metadata.deserialize(stream, value);
    require(code == 0 || (code == com::norvale::orb::kBadStreamSize && !value.hasValue()));
    if (code == 0 && value.hasValue()) checkRoundTrip(metadata, stream, value);
  } catch (const std::logic_error&) {
    require(is_text && stream.size() == 0);
  }
  return 0;
}
