/// What a data file holds, by the rules of its interface and in plain containers: the reference that the model test
/// compares the service with.
#pragma once
#include <cmath>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "service_fixture.h"

namespace porbtest {

using Values = std::map<ULONG, std::string>;  // code -> bytes of the value as a caller gets it

struct ModelRecord {
  Values values;  // and those of the working entry
  std::vector<Values> entries;
};

struct ModelSpectrum {
  LONG format = 0;
  std::vector<std::uint32_t> channels;  // bits
};

/// An element of a spectrum in another format.
inline std::uint32_t converted(std::uint32_t bits, LONG from, LONG to) {
  if (from == to) return bits;
  if (to == AIO_FORMAT_FLOAT) {
    LONG number = 0;
    std::memcpy(&number, &bits, sizeof number);
    const auto real = static_cast<float>(number);
    std::memcpy(&bits, &real, sizeof bits);
    return bits;
  }
  float real = 0;
  std::memcpy(&real, &bits, sizeof real);
  if (std::isnan(real)) return 0;
  const double nearest = std::round(static_cast<double>(real));  // the test makes no halves
  if (nearest > 2147483647.0) return 0x7FFFFFFFu;
  if (nearest < -2147483648.0) return 0x80000000u;
  return static_cast<std::uint32_t>(static_cast<LONG>(nearest));
}

struct ModelBlock {
  ULONG size = 0;
  // Values
  ModelRecord working;  // and the header values
  std::vector<ModelRecord> records;
  // Spectra
  ULONG groups = 0, rows = 0, channels = 0;
  std::map<std::pair<ULONG, ULONG>, ModelSpectrum> spectra;

  ModelRecord* record(std::size_t number) {
    if (number == 0) return &working;
    return number <= records.size() ? &records[number - 1] : nullptr;
  }
  const ModelRecord* record(std::size_t number) const { return const_cast<ModelBlock*>(this)->record(number); }
};

/// Every operation answers the status that the service must answer.
class Model {
 public:
  std::map<USHORT, ModelBlock> blocks;

  ULONG createBlock(USHORT cls, ULONG size, bool is_known) {
    if (cls == ORB_CLS_SPECTRUM) return AIO_NOTPLAINBLOCK;
    if (!is_known) return AIO_UNKNOWNCLASS;
    if (blocks.count(cls) != 0) return AIO_BLOCKEXISTS;
    blocks[cls].size = size;
    return AIO_OK;
  }

  ULONG createSpectra(ULONG groups, ULONG channels, ULONG rows) {
    if (blocks.count(ORB_CLS_SPECTRUM) != 0) return AIO_BLOCKEXISTS;
    ModelBlock& block = blocks[ORB_CLS_SPECTRUM];
    block.groups = groups == 0 ? 1 : groups;
    block.rows = rows == 0 ? 1 : rows;
    block.size = block.channels = channels;
    return AIO_OK;
  }

  ULONG deleteBlock(USHORT cls) { return blocks.erase(cls) != 0 ? AIO_OK : AIO_NOBLOCK; }

  ULONG deleteLevel(ULONG level) {
    static const std::map<ULONG, USHORT> kStages = {
        {AIO_LEVEL_PEAKS, 0x2006}, {AIO_LEVEL_NUCLIDES, 0x2008}, {AIO_LEVEL_LIMITS, 0x2009}};
    const auto first = kStages.find(level);
    if (first == kStages.end()) return AIO_BADLEVEL;
    for (auto stage = first; stage != kStages.end(); ++stage) blocks.erase(stage->second);
    return AIO_OK;
  }

  /// AIO_OK, AIO_NOBLOCK or AIO_NOTPLAINBLOCK.
  ULONG table(USHORT cls, ModelBlock*& block) {
    const auto found = blocks.find(cls);
    if (found == blocks.end()) return AIO_NOBLOCK;
    block = &found->second;
    return cls == ORB_CLS_SPECTRUM ? AIO_NOTPLAINBLOCK : AIO_OK;
  }

  ULONG insertRecord(USHORT cls, std::size_t after) {
    ModelBlock* block = nullptr;
    const ULONG status = table(cls, block);
    if (status != AIO_OK) return status;
    after = std::min(after, block->records.size());
    block->records.insert(block->records.begin() + static_cast<std::ptrdiff_t>(after), ModelRecord{});
    return AIO_OK;
  }

  ULONG insertEntry(USHORT cls, std::size_t number, std::size_t after) {
    ModelBlock* block = nullptr;
    const ULONG status = table(cls, block);
    if (status != AIO_OK) return status;
    ModelRecord* record = block->record(number);
    if (record == nullptr) return AIO_BADRECORD;
    after = std::min(after, record->entries.size());
    record->entries.insert(record->entries.begin() + static_cast<std::ptrdiff_t>(after), Values{});
    return AIO_OK;
  }

  ULONG remove(USHORT cls, std::size_t number, std::size_t entry) {
    ModelBlock* block = nullptr;
    const ULONG status = table(cls, block);
    if (status != AIO_OK) return status;
    ModelRecord* record = block->record(number);
    if (record == nullptr || (number == 0 && entry == 0)) return AIO_BADRECORD;
    if (entry > record->entries.size()) return AIO_BADENTRY;
    if (entry == 0)
      block->records.erase(block->records.begin() + static_cast<std::ptrdiff_t>(number - 1));
    else
      record->entries.erase(record->entries.begin() + static_cast<std::ptrdiff_t>(entry - 1));
    return AIO_OK;
  }

  ULONG count(USHORT cls, std::size_t number, std::size_t& n) {
    n = 0;
    ModelBlock* block = nullptr;
    const ULONG status = table(cls, block);
    if (status != AIO_OK) return status;
    const ModelRecord* record = block->record(number);
    if (record == nullptr) return AIO_BADRECORD;
    n = number == 0 ? block->records.size() : record->entries.size();
    return AIO_OK;
  }

  ULONG put(const ParameterLine& parameter, std::size_t number, std::size_t entry, const std::string& bytes) {
    if (parameter.level == AIO_IN_HEADER) number = 0;
    if (parameter.level != AIO_IN_ENTRY) entry = 0;
    const auto cls = static_cast<USHORT>(parameter.code >> 16);
    const auto found = blocks.find(cls);
    const std::size_t n = found != blocks.end() ? found->second.records.size() : 0;
    if (number > n + 1) return AIO_BADRECORD;
    const bool is_new = number == n + 1;
    const std::size_t n_entries = is_new || found == blocks.end() ? 0 : found->second.record(number)->entries.size();
    if (entry > n_entries + 1) return AIO_BADENTRY;
    ModelBlock& block = blocks[cls];
    if (is_new) block.records.emplace_back();
    ModelRecord& record = *block.record(number);
    if (entry == n_entries + 1) record.entries.emplace_back();
    (entry == 0 ? record.values : record.entries[entry - 1])[parameter.code] = bytes;
    return AIO_OK;
  }

  const std::string* get(const ParameterLine& parameter, std::size_t number, std::size_t entry) const {
    if (parameter.level == AIO_IN_HEADER) number = 0;
    if (parameter.level != AIO_IN_ENTRY) entry = 0;
    const auto found = blocks.find(static_cast<USHORT>(parameter.code >> 16));
    const ModelRecord* record = found != blocks.end() ? found->second.record(number) : nullptr;
    if (record == nullptr || entry > record->entries.size()) return nullptr;
    const Values& values = entry == 0 ? record->values : record->entries[entry - 1];
    const auto value = values.find(parameter.code);
    return value != values.end() ? &value->second : nullptr;
  }

  ULONG copyBlock(const Model& source, USHORT cls) {
    const auto from = source.blocks.find(cls);
    const auto to = blocks.find(cls);
    if (from == source.blocks.end() || to == blocks.end()) return AIO_NOBLOCK;
    if (this != &source) to->second = from->second;
    return AIO_OK;
  }

  ULONG moveRecord(Model& source, USHORT cls, std::size_t from, std::size_t to) {
    ModelBlock* source_block = nullptr;
    ModelBlock* block = nullptr;
    ULONG status = source.table(cls, source_block);
    if (status == AIO_OK) status = table(cls, block);
    if (status != AIO_OK) return status;
    if (from == 0 || from > source_block->records.size() || to == 0 || to > block->records.size() + 1)
      return AIO_BADRECORD;
    ModelRecord copy = source_block->records[from - 1];
    if (to > block->records.size()) block->records.emplace_back();
    block->records[to - 1] = std::move(copy);
    return AIO_OK;
  }

  ULONG locate(LONG format, ULONG channels, ULONG& first, ULONG& row, ULONG& group) const {
    const auto found = blocks.find(ORB_CLS_SPECTRUM);
    if (found == blocks.end()) return AIO_NOBLOCK;
    if (format != AIO_FORMAT_LONG && format != AIO_FORMAT_FLOAT) return AIO_BADFORMAT;
    for (ULONG* number : {&first, &row, &group}) *number = *number == 0 ? 1 : *number;
    if (row > found->second.rows || group > found->second.groups) return AIO_BADSPECTRUM;
    const std::uint64_t last = std::uint64_t{first} + channels - 1;
    return last > found->second.channels ? AIO_BADCHANNELS : AIO_OK;
  }

  ULONG writeSpectrum(const std::vector<std::uint32_t>& bits, LONG format, ULONG first, ULONG row, ULONG group) {
    const auto n = static_cast<ULONG>(bits.size());
    const ULONG status = locate(format, n, first, row, group);
    if (status != AIO_OK || n == 0) return status;
    ModelBlock& block = blocks[ORB_CLS_SPECTRUM];
    const auto [place, is_new] = block.spectra.try_emplace({group, row});
    ModelSpectrum& spectrum = place->second;
    if (is_new) spectrum.channels.resize(block.channels);
    if (is_new || n == block.channels) spectrum.format = format;
    for (ULONG i = 0; i < n; ++i) spectrum.channels[first - 1 + i] = converted(bits[i], format, spectrum.format);
    return AIO_OK;
  }

  ULONG readSpectrum(std::vector<std::uint32_t>& bits, LONG format, ULONG first, ULONG row, ULONG group) const {
    const auto n = static_cast<ULONG>(bits.size());
    const ULONG status = locate(format, n, first, row, group);
    if (status != AIO_OK) return status;
    const ModelBlock& block = blocks.at(ORB_CLS_SPECTRUM);
    const auto found = block.spectra.find({group, row});
    for (ULONG i = 0; i < n; ++i)
      bits[i] = found == block.spectra.end()
                    ? 0
                    : converted(found->second.channels[first - 1 + i], found->second.format, format);
    return AIO_OK;
  }
};

}  // namespace porbtest
