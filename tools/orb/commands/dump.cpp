// orb dump: every value by block, record and entry.
#include <memory>
#include <utility>

#include "arguments.h"
#include "command.h"
#include "failure.h"
#include "progress.h"
#include "stored_values.h"
#include "summary_output.h"
#include "terminal_text.h"
#include "value_json.h"

namespace orb::tool {

namespace {

struct Options {
  std::string file;
  std::string cls;
  bool json = false;
};

/// Writes the dump as text or JSON, a record at a time: a file may hold millions of values.
class Dump {
 public:
  Dump(const FileAccess& file, const Options& options, Console& console)
      : file_(file), options_(options), console_(console), reader_(file) {}

  /// @return false when something could not be read; the rest is dumped
  bool write(const std::vector<AioBlockInfo_T>& blocks) {
    if (options_.json) console_.write("{\"file\": " + compact(Json(file_.name())) + ",\n \"blocks\": [");
    const char* separator = "\n  ";
    for (const AioBlockInfo_T& block : blocks) {
      if (options_.json) console_.write(std::exchange(separator, ",\n  "));
      writeBlock(block);
    }
    if (options_.json) console_.line("\n ]}");
    return is_complete_;
  }

 private:
  std::string compact(const Json& json) const { return jsonText(json, -1); }

  void writeBlock(const AioBlockInfo_T& block) {
    beginBlock(block);
    const char* separator = "\n   ";
    Progress progress("dumping " + hex(block.usClass, 4), block.usRecords);
    const bool is_spectral = block.usClass == ORB_CLS_SPECTRUM;
    for (std::uint32_t record = 0; record <= block.usRecords && !is_spectral; ++record) {
      std::vector<StoredValue> values;
      if (!attempt([&] { values = reader_.read(block.usClass, static_cast<std::uint16_t>(record)); })) break;
      progress.step();
      if (values.empty() && record == 0) continue;
      if (options_.json) console_.write(std::exchange(separator, ",\n   "));
      options_.json ? writeJsonRecord(record, values) : writeRecord(record, values);
    }
    if (is_spectral) attempt([&] { writeSpectra(block); });
    if (options_.json) console_.write("]}");
  }

  void beginBlock(const AioBlockInfo_T& block) {
    if (options_.json) {
      console_.write("{\"class\": \"" + hex(block.usClass, 4) + "\", \"name\": " + compact(classWords(block.usClass)) +
                     ", " + (block.usClass == ORB_CLS_SPECTRUM ? "\"spectra\"" : "\"records\"") + ": [");
      return;
    }
    const std::string records = block.usRecords == 0   ? ""
                                : block.usRecords == 1 ? ", 1 record"
                                                       : ", " + std::to_string(block.usRecords) + " records";
    console_.line(hex(block.usClass, 4) + " " + classWords(block.usClass) + records);
  }

  /// Runs a part of the dump. Damage is told, and the dump goes on behind it.
  template <typename Part>
  bool attempt(Part&& part) {
    try {
      part();
      return true;
    } catch (const Failure& failure) {
      console_.note(failure.what());
      is_complete_ = false;
      return false;
    }
  }

  void writeRecord(std::uint32_t record, const std::vector<StoredValue>& values) {
    if (record != 0) console_.line("  record " + std::to_string(record));
    const std::string margin = record == 0 ? "  " : "    ";
    std::uint16_t entry = 0;
    for (const StoredValue& value : values) {
      if (value.entry != entry) console_.line(margin + "entry " + std::to_string(entry = value.entry));
      console_.line(margin + (entry == 0 ? "" : "  ") + hex(value.code, 8) + " " + padRight(value.name(), kNameWidth) +
                    " " + value.text());
    }
  }

  void writeJsonRecord(std::uint32_t record, const std::vector<StoredValue>& values) {
    Json list = Json::array();
    for (const StoredValue& value : values) {
      Json json;
      json["code"] = hex(value.code, 8);
      json["name"] = value.parameter != nullptr ? Json(value.parameter->szName) : Json(nullptr);
      json["entry"] = value.entry;
      json["value"] = valueJson(value);
      json["unit"] = value.unit();
      list.push_back(std::move(json));
    }
    console_.write("{\"record\": " + std::to_string(record) + ", \"values\": " + compact(list) + "}");
  }

  void writeSpectra(const AioBlockInfo_T& block) {
    const char* separator = "\n   ";
    for (const AioSpectrumInfo_T& written : listSpectra(file_)) {
      const double total = readCounts(file_, block, written.ulGroup, written.ulRow).total();
      if (options_.json) {
        Json json;
        json["group"] = written.ulGroup;
        json["row"] = written.ulRow;
        json["channels"] = block.ulChannels;
        json["counts"] = countsJson(total);
        console_.write(std::exchange(separator, ",\n   ") + compact(json));
      } else {
        console_.line("  group " + std::to_string(written.ulGroup) + ", row " + std::to_string(written.ulRow) + ": " +
                      std::to_string(block.ulChannels) + " channels, " + numberText(total) + " counts");
      }
    }
  }

  static constexpr std::size_t kNameWidth = 20;

  const FileAccess& file_;
  const Options& options_;
  Console& console_;
  ValueReader reader_;
  bool is_complete_ = true;
};

std::vector<AioBlockInfo_T> chosenBlocks(const FileAccess& file, const std::string& cls_text) {
  std::vector<AioBlockInfo_T> blocks = listBlocks(file);
  if (cls_text.empty()) return blocks;
  const std::uint16_t cls = parseClass(cls_text);
  for (const AioBlockInfo_T& block : blocks) {
    if (block.usClass == cls) return {block};
  }
  throw Failure(file.name(), "block " + hex(cls, 4), convertReturnCode(AIO_NOBLOCK));
}

int run(const Options& options, Console& console) {
  if (!options.cls.empty()) parseClass(options.cls);
  FileAccess file;
  openForReading(file, options.file);
  const auto blocks = chosenBlocks(file, options.cls);
  return Dump(file, options, console).write(blocks) ? kDone : kFailed;
}

}  // namespace

void addDump(CLI::App& app, Job& job) {
  auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("dump", "Print every value by block, record and entry");
  command->add_option("FILE", options->file, "Data file")->required();
  command->add_option("--class", options->cls, "Only the block of this class, as 0x2006")->type_name("C");
  command->add_flag("--json", options->json, "Print JSON");
  command->footer(
      "Control characters in texts are printed as escapes (\\n, \\x1B). A block that cannot be read is named\n"
      "on standard error; the others are printed, and the exit status is 1.\n\n"
      "Example:\n"
      "  orb dump soil.dat --class 0x2000");
  command->callback([options, &job] { job.work = [options](Console& console) { return run(*options, console); }; });
}

}  // namespace orb::tool
