#include "file_difference.h"

#include <cmath>
#include <map>
#include <optional>
#include <set>

#include "blocks.h"
#include "stored_values.h"
#include "summary_output.h"
#include "terminal_text.h"
#include "value_json.h"

namespace orb::tool {

namespace {

/// Collects the differences of two files.
class Comparison {
 public:
  Comparison(const FileAccess& first, const FileAccess& second, Progress& progress)
      : first_(first), second_(second), first_values_(first), second_values_(second), progress_(progress) {}

  std::vector<Difference> run() {
    const auto a = byClass(listBlocks(first_));
    const auto b = byClass(listBlocks(second_));
    std::set<std::uint16_t> classes;
    for (const auto& [cls, block] : a) classes.insert(cls);
    for (const auto& [cls, block] : b) classes.insert(cls);
    for (const std::uint16_t cls : classes) compareBlock(cls, find(a, cls), find(b, cls));
    return std::move(found_);
  }

 private:
  using Blocks = std::map<std::uint16_t, AioBlockInfo_T>;

  static Blocks byClass(const std::vector<AioBlockInfo_T>& list) {
    Blocks blocks;
    for (const AioBlockInfo_T& block : list) blocks[block.usClass] = block;
    return blocks;
  }
  static const AioBlockInfo_T* find(const Blocks& blocks, std::uint16_t cls) {
    const auto place = blocks.find(cls);
    return place == blocks.end() ? nullptr : &place->second;
  }

  void add(const std::string& text, Json json) { found_.push_back({text, std::move(json)}); }

  Json place(const char* kind, std::uint16_t cls) const {
    Json json;
    json["kind"] = kind;
    json["class"] = hex(cls, 4);
    return json;
  }

  void compareBlock(std::uint16_t cls, const AioBlockInfo_T* a, const AioBlockInfo_T* b) {
    const std::string name = "block " + hex(cls, 4) + " " + classWords(cls);
    if (a == nullptr || b == nullptr) {
      Json json = place("block", cls);
      json["only_in"] = a != nullptr ? "a" : "b";
      return add(name + ": only in " + (a != nullptr ? "A" : "B"), std::move(json));
    }
    if (cls == ORB_CLS_SPECTRUM) return compareSpectra(name, *a, *b);
    if (a->usRecords != b->usRecords) {
      Json json = place("records", cls);
      json["a"] = a->usRecords;
      json["b"] = b->usRecords;
      add(name + ": " + std::to_string(a->usRecords) + " records | " + std::to_string(b->usRecords) + " records",
          std::move(json));
    }
    for (std::uint32_t record = 0; record <= std::max(a->usRecords, b->usRecords); ++record) {
      compareRecord(cls, static_cast<std::uint16_t>(record), record <= a->usRecords, record <= b->usRecords);
      progress_.step();
    }
  }

  using Values = std::map<std::pair<std::uint16_t, std::uint32_t>, StoredValue>;

  static Values byAddress(std::vector<StoredValue> list) {
    Values values;
    for (StoredValue& value : list) values.emplace(std::pair(value.entry, value.code), std::move(value));
    return values;
  }

  void compareRecord(std::uint16_t cls, std::uint16_t record, bool in_a, bool in_b) {
    const Values a = in_a ? byAddress(first_values_.read(cls, record)) : Values();
    const Values b = in_b ? byAddress(second_values_.read(cls, record)) : Values();
    for (const auto& [address, value] : a) {
      const auto other = b.find(address);
      if (other == b.end()) {
        addValue(cls, record, &value, nullptr);
      } else if (value.text() != other->second.text()) {
        addValue(cls, record, &value, &other->second);
      }
    }
    for (const auto& [address, value] : b) {
      if (a.find(address) == a.end()) addValue(cls, record, nullptr, &value);
    }
  }

  void addValue(std::uint16_t cls, std::uint16_t record, const StoredValue* a, const StoredValue* b) {
    const StoredValue& known = a != nullptr ? *a : *b;
    std::string text = hex(known.code, 8) + " " + known.name();
    if (record != 0) text += ", record " + std::to_string(record);
    if (known.entry != 0) text += ", entry " + std::to_string(known.entry);
    text += ": " + (a != nullptr ? a->text() : "no value") + " | " + (b != nullptr ? b->text() : "no value");
    Json json = place("value", cls);
    json["record"] = record;
    json["entry"] = known.entry;
    json["code"] = hex(known.code, 8);
    json["name"] = known.name();
    json["a"] = a != nullptr ? valueJson(*a) : Json(nullptr);
    json["b"] = b != nullptr ? valueJson(*b) : Json(nullptr);
    json["unit"] = known.unit();
    add(text, std::move(json));
  }

  static std::string shapeWords(const AioBlockInfo_T& block) {
    return std::to_string(block.ulGroups) + " x " + std::to_string(block.ulRows) + " spectra of " +
           std::to_string(block.ulChannels) + " channels";
  }

  void compareSpectra(const std::string& name, const AioBlockInfo_T& a, const AioBlockInfo_T& b) {
    if (a.ulGroups != b.ulGroups || a.ulRows != b.ulRows || a.ulChannels != b.ulChannels) {
      Json json = place("shape", ORB_CLS_SPECTRUM);
      json["a"] = {{"groups", a.ulGroups}, {"rows", a.ulRows}, {"channels", a.ulChannels}};
      json["b"] = {{"groups", b.ulGroups}, {"rows", b.ulRows}, {"channels", b.ulChannels}};
      add(name + ": " + shapeWords(a) + " | " + shapeWords(b), std::move(json));
    }
    std::set<std::pair<std::uint32_t, std::uint32_t>> written;  // a spectrum that was never written is zeros
    for (const auto& spectrum : listSpectra(first_)) written.emplace(spectrum.ulGroup, spectrum.ulRow);
    for (const auto& spectrum : listSpectra(second_)) written.emplace(spectrum.ulGroup, spectrum.ulRow);
    for (const auto& [group, row] : written) {
      const bool in_a = group <= a.ulGroups && row <= a.ulRows;
      const bool in_b = group <= b.ulGroups && row <= b.ulRows;
      compareCounts(group, row, in_a ? readCounts(first_, a, group, row) : Counts(),
                    in_b ? readCounts(second_, b, group, row) : Counts());
      progress_.step();
    }
  }

  static bool isSame(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

  void compareCounts(std::uint32_t group, std::uint32_t row, const Counts& a, const Counts& b) {
    const std::size_t n = std::max(a.size(), b.size());
    std::size_t n_different = 0;
    std::size_t first = 0;  // channel, from 1
    for (std::size_t i = 0; i < n; ++i) {
      if (i < a.size() && i < b.size() && isSame(a.at(i), b.at(i))) continue;
      if (n_different++ == 0) first = i + 1;
    }
    if (n_different == 0) return;
    const auto side = [first](const Counts& c) { return first <= c.size() ? numberText(c.at(first - 1)) : "none"; };
    const std::string place_text = "spectrum, group " + std::to_string(group) + ", row " + std::to_string(row);
    Json json = place("spectrum", ORB_CLS_SPECTRUM);
    json["group"] = group;
    json["row"] = row;
    json["channels_different"] = n_different;
    json["first_channel"] = first;
    json["total_a"] = countsJson(a.total());
    json["total_b"] = countsJson(b.total());
    add(place_text + ": " + std::to_string(n_different) + (n_different == 1 ? " channel differs" : " channels differ") +
            ", the first is channel " + std::to_string(first) + ": " + side(a) + " | " + side(b) + "; in all " +
            numberText(a.total()) + " | " + numberText(b.total()) + " counts",
        std::move(json));
  }

  const FileAccess& first_;
  const FileAccess& second_;
  ValueReader first_values_;
  ValueReader second_values_;
  Progress& progress_;
  std::vector<Difference> found_;
};

}  // namespace

std::vector<Difference> compareFiles(const FileAccess& first, const FileAccess& second, Progress& progress) {
  return Comparison(first, second, progress).run();
}

}  // namespace orb::tool
