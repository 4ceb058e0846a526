#include "fault_support.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

namespace faults {
namespace {

void must(ULONG status, const char* what) {
  if (status != AIO_OK) ADD_FAILURE() << what << ": " << nameOf(status);
}
#define MUST(call) must(call, #call)

std::string hex(ULONG number) {
  char text[12];
  std::snprintf(text, sizeof text, "0x%04X", number);
  return text;
}

void appendValue(void* handle, USHORT record, const AioValueInfo_T& info, std::string& text) {
  static char buffer[65536];
  USHORT size = 65535;
  const ULONG status = AioGetParam(handle, info.ulCode, record, info.usEntry, buffer, &size);
  text += "\n" + std::to_string(record) + "." + std::to_string(info.usEntry) + " " + hex(info.ulCode) + " type " +
          std::to_string(info.lType) + " ";
  if (status == AIO_OK)
    text.append(buffer, size);
  else
    text += nameOf(status);
}

ULONG readValues(void* handle, const AioBlockInfo_T& block, std::string& text) {
  std::vector<AioValueInfo_T> values(64);
  for (USHORT record = 0; record <= block.usRecords; ++record) {
    ULONG n = 0;
    ULONG status = AioListValues(handle, block.usClass, record, values.data(), static_cast<ULONG>(values.size()), &n);
    if (status == AIO_OK && n > values.size()) {
      values.resize(n);
      status = AioListValues(handle, block.usClass, record, values.data(), n, &n);
    }
    USHORT entries = 0;
    if (status == AIO_OK && record != 0) status = AioCount(handle, block.usClass, record, 0, &entries);
    if (status != AIO_OK) return status;
    text += "\nrecord " + std::to_string(record) + " entries " + std::to_string(entries);
    for (ULONG i = 0; i < n; ++i) appendValue(handle, record, values[i], text);
  }
  return AIO_OK;
}

ULONG readSpectra(void* handle, const AioBlockInfo_T& block, std::string& text) {
  std::vector<AioSpectrumInfo_T> written(64);
  ULONG n = 0;
  const ULONG listed = AioListSpectra(handle, written.data(), 64, &n);
  if (listed != AIO_OK) return listed;
  text += "\nspectra";
  for (ULONG i = 0; i < n; ++i)
    text += " " + std::to_string(written[i].ulGroup) + "," + std::to_string(written[i].ulRow) + "," +
            std::to_string(written[i].lFormat);
  // A damaged shape may announce more than there is to look at.
  if (std::uint64_t{block.ulGroups} * block.ulRows * block.ulChannels > 1u << 20) return AIO_OK;
  std::string channels(block.ulChannels * sizeof(LONG), '\0');
  for (ULONG group = 1; group <= block.ulGroups; ++group) {
    for (ULONG row = 1; row <= block.ulRows; ++row) {
      for (const LONG format : {AIO_FORMAT_LONG, AIO_FORMAT_FLOAT}) {
        const ULONG status = AioReadSpectrum2(handle, channels.data(), format, block.ulChannels, 1, row, group);
        if (status != AIO_OK) return status;
        text += channels;
      }
    }
  }
  return AIO_OK;
}

std::string compare(const Content& found, const Content& expected, bool refusal_is_fine) {
  if (found.status != AIO_OK && refusal_is_fine) return "";
  if (found.status != expected.status) return "the file answers " + nameOf(found.status);
  std::string text;
  for (const auto& [cls, block] : expected.blocks) {
    const auto at = found.blocks.find(cls);
    if (at == found.blocks.end())
      text += hex(cls) + " is missing; ";
    else if (at->second.status != block.status)
      text += refusal_is_fine ? "" : hex(cls) + " answers " + nameOf(at->second.status) + "; ";
    else if (at->second.text != block.text)
      text += hex(cls) + " has another content; ";
  }
  for (const auto& [cls, block] : found.blocks)
    if (expected.blocks.count(cls) == 0 && (block.status == AIO_OK || !refusal_is_fine))
      text += hex(cls) + " is too much; ";
  return text;
}

constexpr ULONG kChannels = 1024;
constexpr ULONG kGroups = 2;
constexpr ULONG kRows = 2;

std::string pattern(std::size_t length, int seed) {
  std::string text(length, ' ');
  for (std::size_t i = 0; i < length; ++i)
    text[i] = static_cast<char>('a' + (i * 7 + static_cast<std::size_t>(seed)) % 26);
  return text;
}

void writeSpectrum(void* handle, ULONG group, ULONG row, LONG seed) {
  std::vector<LONG> channels(kChannels);
  for (ULONG i = 0; i < kChannels; ++i) channels[i] = seed * 1000 + static_cast<LONG>(i % 97);
  MUST(AioWriteSpectrum2(handle, channels.data(), AIO_FORMAT_LONG, kChannels, 1, row, group));
}

void writePeaks(void* handle, USHORT first, USHORT last, double seed) {
  for (USHORT record = first; record <= last; ++record) {
    MUST(put(handle, 0x20060007, record, 0, seed + record / 8.0));
    MUST(put(handle, 0x2006001E, record, 0, LONG{record} * 100 + static_cast<LONG>(seed)));
    MUST(put(handle, 0x20060048, record, 0, static_cast<FLAG>(record % 2)));
    MUST(put(handle, 0x20060057, record, 0, "Nuclide-" + std::to_string(record)));
  }
}

}  // namespace

std::string readBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void writeBytes(const std::string& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!file.flush()) ADD_FAILURE() << "cannot write " << path;
}

bool exists(const std::string& path) {
  return std::filesystem::exists(std::filesystem::symlink_status(path));
}

std::string namesIn(const std::string& dir) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) names.insert(entry.path().filename());
  std::string all;
  for (const std::string& name : names) all += (all.empty() ? "" : " ") + name;
  return all;
}

ULONG put(void* handle, ULONG code, USHORT record, USHORT entry, const std::string& text) {
  const auto size = static_cast<USHORT>(text.size());
  return AioPutParam(handle, code, record, entry, text.data(), &size);
}

Content contentOf(void* handle) {
  Content content;
  AioBlockInfo_T blocks[64];
  ULONG n = 0;
  content.status = AioListBlocks(handle, blocks, 64, &n);
  if (content.status != AIO_OK) return content;
  for (ULONG i = 0; i < std::min<ULONG>(n, 64); ++i) {
    const AioBlockInfo_T& info = blocks[i];
    BlockContent& block = content.blocks[info.usClass];
    block.text = "size " + std::to_string(info.ulSize) + " records " + std::to_string(info.usRecords) + " shape " +
                 std::to_string(info.ulGroups) + "x" + std::to_string(info.ulRows) + "x" +
                 std::to_string(info.ulChannels);
    block.status =
        info.usClass == ORB_CLS_SPECTRUM ? readSpectra(handle, info, block.text) : readValues(handle, info, block.text);
  }
  return content;
}

Content contentOf(const std::string& path) {
  const File file(path, AIO_READ_ONLY);
  if (file.status() == AIO_OK) return contentOf(static_cast<void*>(file));
  Content refused;
  refused.status = file.status();
  return refused;
}

std::string difference(const Content& found, const Content& expected) {
  return compare(found, expected, false);
}

std::string wrongValues(const Content& found, const Content& expected) {
  return compare(found, expected, true);
}

void writeStateA(void* handle) {
  MUST(put(handle, 0x20000004, 0, 0, "PHA"));
  MUST(put(handle, 0x20000002, 0, 0, "A measurement in state A"));
  MUST(put(handle, 0x20000001, 0, 0, 5.1e16));
  MUST(AioCreateBlock(handle, ORB_CLS_SAMPLE, 4711));
  MUST(put(handle, 0x20020020, 1, 0, 661.66));
  MUST(put(handle, 0x20020021, 1, 0, std::nan("")));
  MUST(put(handle, 0x20020022, 1, 0, -0.0));
  MUST(put(handle, 0x20020023, 1, 0, "\xFF\xFE no text"));
  MUST(AioCreatePHA(handle, kGroups, kChannels, kRows));
  writeSpectrum(handle, 1, 1, 3);
  writeSpectrum(handle, 2, 1, -4);
  const std::vector<REAL> fractions(kChannels, 0.25F);
  MUST(AioWriteSpectrum2(handle, fractions.data(), AIO_FORMAT_FLOAT, kChannels, 1, 2, 2));
  writePeaks(handle, 1, 30, 1000);
  for (USHORT record = 1; record <= 3; ++record) {
    MUST(put(handle, 0x20080001, record, 0, "Cs-13" + std::to_string(record)));
    for (USHORT entry = 1; entry <= record + 1; ++entry) {
      MUST(put(handle, 0x20080020, record, entry, record * 100.0 + entry));
      MUST(put(handle, 0x20080021, record, entry, LONG{entry}));
    }
  }
  MUST(put(handle, 0x20090001, 1, 0, "Co-60"));
  MUST(put(handle, 0x2010006D, 1, 0, "engine"));
  for (USHORT step = 1; step <= 8; ++step) MUST(put(handle, 0x2010006F, step, 0, pattern(step * 128u, step)));
}

void writeStateB(void* handle) {
  MUST(put(handle, 0x20000002, 0, 0, "The measurement in state B"));
  MUST(put(handle, 0x20000003, 0, 0, 5.2e16));
  MUST(put(handle, 0x20020021, 1, 0, 17.5));
  MUST(AioInsertRecord(handle, ORB_CLS_PEAKS, 0));
  writePeaks(handle, 1, 2, -7);
  MUST(AioDelete(handle, ORB_CLS_PEAKS, 20, 0));
  MUST(AioInsertEntry(handle, ORB_CLS_NUCRESULTS, 2, 1));
  MUST(AioDelete(handle, ORB_CLS_NUCRESULTS, 3, 1));
  MUST(AioDeleteBlock(handle, ORB_CLS_LIMITS));
  MUST(put(handle, 0x20070001, 1, 0, "Na-22"));
  MUST(put(handle, 0x2010006F, 2, 0, pattern(1024, 99)));
  MUST(put(handle, 0x2010006F, 9, 0, pattern(1000, 98)));
  writeSpectrum(handle, 1, 2, 8);
  const LONG part[] = {1, 2, 3, 4};
  MUST(AioWriteSpectrum2(handle, part, AIO_FORMAT_LONG, 4, 500, 1, 1));
}

const States& states() {
  static const States made = [] {
    const ScratchDir dir;
    States result;
    File file;
    must(AioCreate(file.out(), (dir / "file").c_str(), 0, nullptr, nullptr, nullptr), "AioCreate");
    writeStateA(file);
    must(AioFlush(file), "AioFlush");
    result.a = contentOf(file);
    writeStateB(file);
    result.b = contentOf(file);
    file.close();
    result.file_a = readBytes(dir / "file");
    must(AioOpen2(file.out(), (dir / "file").c_str(), AIO_READ_WRITE, 0, 0), "AioOpen2");
    writeStateB(file);
    must(AioFlush(file), "AioFlush");
    file.close();
    result.file_b = readBytes(dir / "file");
    return result;
  }();
  return made;
}

}  // namespace faults
