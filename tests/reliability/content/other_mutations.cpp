#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

#include "aiolib.h"
#include "mutations.h"

namespace content {
namespace {

/// The bytes of a strange value in a parameter's return type.
std::string encoded(const AioParamInfo_T& info, Dice& dice) {
  const double real = strangeReal(dice);
  const auto narrow = static_cast<float>(real);
  const std::int64_t integer = strangeInteger(dice);
  const auto bytes = [](const auto& value, std::size_t n) {
    return std::string(reinterpret_cast<const char*>(&value), n);
  };
  switch (info.lReturnType) {
    case AIO_T_TEXT:
    case AIO_T_NAME:
      return strangeText(dice, dice.chance(95) ? static_cast<std::size_t>(info.lStorageLength) : 65534);
    case AIO_T_FLOAT:
      return bytes(narrow, 4);
    case AIO_T_DOUBLE:
    case AIO_T_REAL8:
    case AIO_T_TIME:
      return bytes(real, 8);
    default:
      return bytes(integer, static_cast<std::size_t>(std::min(info.lReturnLength, LONG{8})));
  }
}

/// Numbers of the codes that a file can hold; those it has values of come as often as all others together.
std::vector<ULONG> knownCodes(void* file, const std::vector<AioBlockInfo_T>& blocks) {
  std::vector<ULONG> codes;
  for (ULONG code = 0; AioUtilNextParam(file, code, &code) == AIO_OK;) codes.push_back(code);
  const std::size_t all = codes.size();
  for (const AioBlockInfo_T& block : blocks) {
    std::vector<AioValueInfo_T> values(2000);
    ULONG n = 0;
    const USHORT record = block.usRecords > 0 && codes.size() % 2 == 0 ? 1 : 0;
    if (AioListValues(file, block.usClass, record, values.data(), 2000, &n) != AIO_OK) continue;
    for (ULONG i = 0; i < std::min(n, ULONG{2000}); ++i) codes.push_back(values[i].ulCode);
  }
  const std::size_t held = codes.size() - all;
  for (std::size_t i = 0; held > 0 && codes.size() < 2 * all; ++i) codes.push_back(codes[all + i % held]);
  return codes;
}

void putValue(void* file, ULONG code, Dice& dice) {
  AioParamInfo_T info;
  if (AioUtilParamInfo(file, code, &info) != AIO_OK) return;
  USHORT records = 0;
  AioCount(file, static_cast<USHORT>(code >> 16), 0, 0, &records);
  const std::string bytes = encoded(info, dice);
  const auto size = static_cast<USHORT>(bytes.size());
  const auto first = static_cast<USHORT>(dice.below(records + 2u));
  const USHORT last = dice.chance(30) ? records : first;  // one record, or a whole column from there
  for (unsigned record = first; record <= std::max(first, last); ++record)
    AioPutParam(file, code, static_cast<USHORT>(record), static_cast<USHORT>(dice.below(3)), bytes.data(), &size);
}

void changeStructure(void* file, USHORT cls, Dice& dice) {
  const auto record = static_cast<USHORT>(dice.below(4));
  switch (dice.below(6)) {
    case 0:
      AioDeleteBlock(file, cls);
      return;
    case 1:
      AioDelete(file, cls, record, 0);
      return;
    case 2:
      AioInsertEntry(file, cls, record, 1);
      return;
    case 3:
      AioDeleteLevel(file, static_cast<ULONG>(10 * dice.below(6)));
      return;
    case 4: {
      static constexpr ULONG kSizes[] = {0, 1, 2, 7, 300, 70000};
      AioDeleteBlock(file, ORB_CLS_SPECTRUM);
      AioCreatePHA(file, static_cast<ULONG>(dice.below(3)), dice.of(kSizes), static_cast<ULONG>(dice.below(3)));
      return;
    }
    default:
      for (std::uint64_t i = dice.below(300); i > 0; --i) AioInsertRecord(file, cls, record);
  }
}

void changeSpectrum(void* file, Dice& dice) {
  std::vector<float> counts(1 + dice.below(2000), static_cast<float>(strangeReal(dice)));
  if (dice.chance(50)) std::generate(counts.begin(), counts.end(), [&] { return static_cast<float>(dice.below(90)); });
  AioWriteSpectrum2(file, counts.data(), AIO_FORMAT_FLOAT, static_cast<ULONG>(counts.size()),
                    static_cast<ULONG>(dice.below(100)), 1, 1);
}

std::string readBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

void mutateValues(const std::string& path, Dice& dice) {
  void* file = nullptr;
  if (AioOpen2(&file, path.c_str(), AIO_READ_WRITE, 0, 0) != AIO_OK) return;
  std::vector<AioBlockInfo_T> blocks(100);
  ULONG n = 0;
  AioListBlocks(file, blocks.data(), 100, &n);
  blocks.resize(std::min<std::size_t>(n, 100));
  const std::vector<ULONG> codes = knownCodes(file, blocks);
  for (std::uint64_t i = 1 + dice.below(8); i > 0; --i) {
    const std::uint64_t what = dice.below(100);
    if (what < 85)
      putValue(file, dice.of(codes), dice);
    else if (what < 95 && !blocks.empty())
      changeStructure(file, dice.of(blocks).usClass, dice);
    else
      changeSpectrum(file, dice);
  }
  AioClose2(file, AIO_CLOSE_FLUSH);
}

void mutateBytes(const std::string& path, Dice& dice) {
  std::string bytes = readBytes(path);
  const auto at = [&] {  // half of the places lie in the header and the pages of the schema
    return dice.below(std::min<std::uint64_t>(bytes.size(), dice.chance(50) ? bytes.size() : 8192));
  };
  for (std::uint64_t i = 1 + dice.below(10); i > 0 && !bytes.empty(); --i) {
    const std::uint64_t what = dice.below(100);
    const std::size_t place = at();
    const std::size_t length = std::min<std::size_t>(bytes.size() - place, dice.chance(50) ? 512 : dice.below(5000));
    if (what < 60)
      bytes[place] = static_cast<char>(dice.below(256));
    else if (what < 75)
      bytes[place] = static_cast<char>(bytes[place] ^ (1 << dice.below(8)));
    else if (what < 80)
      bytes.replace(place, length, length, static_cast<char>(dice.chance(50) ? 0 : 255));
    else if (what < 86)
      bytes.replace(place, length, bytes.substr(at(), length));
    else if (what < 90)
      bytes.erase(place, length);
    else if (what < 94)
      bytes.insert(place, bytes.substr(place, length));
    else if (what < 97)
      bytes.resize(place);
    else
      bytes.append(dice.below(70000), '\x41');
  }
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

}  // namespace content
