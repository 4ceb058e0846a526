// Random operations on two data files and on the model of them. Every status and every value must be the same; what a
// reader sees must be the last flushed state; and the files must be whole after every flush.
//
// ORB_SOAK_SEEDS and ORB_SOAK_OPERATIONS set how many seeds run and how many operations each.
#include "model.h"

#include <algorithm>
#include <deque>
#include <iostream>
#include <random>
#include <set>

using namespace porbtest;

namespace {

#ifdef __SANITIZE_THREAD__
constexpr long kSeeds = 2;  // one thread only, and ten times slower
#else
constexpr long kSeeds = 16;
#endif
constexpr ULONG kUnknownCode = 0x2006FFF0;
constexpr USHORT kUnknownClass = 0x2777;
constexpr USHORT kTableClasses[] = {0x2000, 0x2006, 0x2007, 0x2008, 0x2009};
constexpr std::size_t kMostRecords = 40;

/// Parameters of every type on every level, some with a storage type narrower than the return type. Numbers within a
/// class have gaps and reach the last one.
std::vector<ParameterLine> makeParameters() {
  std::vector<ParameterLine> lines;
  for (const USHORT cls : kTableClasses) {
    for (const int level : {AIO_IN_HEADER, AIO_IN_RECORD, AIO_IN_ENTRY}) {
      if (cls == 0x2000 && level != AIO_IN_HEADER) continue;
      ULONG code = ULONG{cls} << 16 | static_cast<ULONG>(level) * 0x300u;
      for (const TypeWord& word : kTypeWords) {
        const USHORT length = word.type == AIO_T_TEXT ? 300 : 9;
        lines.push_back({code++, static_cast<int>(level), word.type, word.width == 0 ? length : USHORT{0}});
      }
      lines.push_back({code++, static_cast<int>(level), AIO_T_INT16, 0, AIO_T_INT32});
      lines.push_back({code++, static_cast<int>(level), AIO_T_FLOAT, 0, AIO_T_DOUBLE});
    }
    lines.push_back({ULONG{cls} << 16 | 0xFFFFu, AIO_IN_HEADER, AIO_T_TEXT, 8});
  }
  return lines;
}

/// One of the two files: its handles, and what they must show.
struct Side {
  std::string path;
  File writer;
  Model now;
  Model flushed;
  long version = 0;  // of the flushed state
  // A reader keeps what it has read, and moves on as a whole when it reads a block for the first time.
  File reader;
  Model image;
  long image_version = 0;
  std::set<USHORT> touched;

  void follow() {
    if (image_version == version) return;
    image = flushed;
    image_version = version;
    touched.clear();
  }
  void touch(USHORT cls) {
    if (image.blocks.count(cls) == 0 || touched.count(cls) != 0) return;
    follow();
    if (image.blocks.count(cls) != 0) touched.insert(cls);
  }
};

class Walk {
 public:
  Walk(unsigned seed, const TempDir& dir, const std::vector<ParameterLine>& parameters)
      : parameters_(parameters), random_(seed) {
    const std::string name = std::to_string(seed);
    sides_[0].path = dir / (name + "a.orb");
    sides_[1].path = dir / (name + "b.orb");
    for (Side& side : sides_) {
      side.writer = File::create(side.path);
      side.reader = File::open(side.path, AIO_READ_ONLY);
    }
  }

  /// Runs operations up to the first difference. @return the number of those that ran
  long run(long n) {
    for (long i = 1; i <= n; ++i) {
      step();
      if (i % 500 == 0 || i == n)
        for (Side& side : sides_) compare(side.writer, side.now, "now");
      if (testing::Test::HasFailure()) return i;
    }
    return n;
  }
  const std::deque<std::string>& history() const { return history_; }

 private:
  // ---- Choices --------------------------------------------------------------------------------------------
  std::size_t below(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random_); }
  bool oneIn(std::size_t n) { return below(n) == 0; }
  std::uint64_t bits() { return random_(); }
  Side& side() { return sides_[below(2)]; }

  USHORT cls() {
    if (oneIn(40)) return kUnknownClass;
    if (oneIn(20)) return ORB_CLS_SPECTRUM;
    return kTableClasses[below(std::size(kTableClasses))];
  }
  /// A number around 0..n, at times far out.
  USHORT around(std::size_t n) { return static_cast<USHORT>(oneIn(50) ? 65535 - below(3) : below(n + 3)); }
  USHORT recordOf(const Model& model, USHORT cls) {
    const auto found = model.blocks.find(cls);
    return around(found != model.blocks.end() ? found->second.records.size() : 0);
  }
  USHORT entryOf(const Model& model, USHORT cls, USHORT record) {
    const auto found = model.blocks.find(cls);
    const ModelRecord* at = found != model.blocks.end() ? found->second.record(record) : nullptr;
    return around(at != nullptr ? at->entries.size() : 0);
  }

  /// Bytes of a random value as a get delivers it: all bit patterns of the type, more often the special ones.
  std::string value(const ParameterLine& parameter) {
    std::string bytes(parameter.bufferSize(), '\0');
    if (parameter.isText()) {
      const std::size_t length = oneIn(4) ? parameter.length : below(std::min<std::size_t>(parameter.length, 20) + 1);
      for (std::size_t i = 0; i < length; ++i)
        bytes[i] = static_cast<char>(oneIn(3) ? 1 + below(255) : 'A' + below(26));
      return bytes;
    }
    std::uint64_t pattern = oneIn(8) ? 0 : oneIn(8) ? ~std::uint64_t{0} : bits();
    if (parameter.type == AIO_T_BOOL || parameter.type == AIO_T_FLAG) pattern &= 1;
    if (parameter.return_type == AIO_T_INT32) pattern = static_cast<std::uint64_t>(below(65536)) - 32768;
    if (parameter.return_type == AIO_T_DOUBLE) {
      const auto real = static_cast<double>(static_cast<float>(static_cast<std::int64_t>(bits())));
      std::memcpy(&pattern, &real, sizeof pattern);
    } else if (oneIn(6) && bytes.size() == 8) {
      pattern = bits() >> 52 << 52;  // zeros, infinities and denormals of both signs among them
    }
    std::memcpy(bytes.data(), &pattern, bytes.size());
    return bytes;
  }

  std::vector<std::uint32_t> channels(std::size_t n, LONG format) {
    static constexpr float kReals[] = {0.0F, -0.0F, 1.25F, -1.75F, 1e9F, 3e9F, -3e9F, 1e-40F, 3.4e38F};
    std::vector<std::uint32_t> all(n);
    for (std::uint32_t& element : all) {
      element = static_cast<std::uint32_t>(bits());
      if (format != AIO_FORMAT_FLOAT) continue;
      if (oneIn(8)) {
        element |= 0x7F800000u;  // infinities, not-a-numbers
        continue;
      }
      const float real = oneIn(2) ? kReals[below(std::size(kReals))]
                                  : static_cast<float>(static_cast<std::int64_t>(bits() >> below(64)));
      std::memcpy(&element, &real, sizeof element);
    }
    return all;
  }

  // ---- Comparison -----------------------------------------------------------------------------------------
  void note(const std::string& text) {
    history_.push_back(text);
    if (history_.size() > 12) history_.pop_front();
  }
  void expect(ULONG wanted, ULONG found) { EXPECT_STATUS(wanted, found) << history_.back(); }

  void compareRecord(void* handle, USHORT cls, USHORT number, const ModelRecord& record) {
    std::vector<std::pair<USHORT, const Values*>> rows = {{USHORT{0}, &record.values}};
    for (const Values& entry : record.entries) rows.push_back({static_cast<USHORT>(rows.size()), &entry});
    AioValueInfo_T listed[2000];
    ULONG n = 0;
    ASSERT_STATUS(AIO_OK, AioListValues(handle, cls, number, listed, 2000, &n));
    ULONG at = 0;
    for (const auto& [entry, values] : rows) {
      for (const auto& [code, bytes] : *values) {
        ASSERT_LT(at, n) << "fewer values than there should be";
        const AioValueInfo_T& info = listed[at++];
        ASSERT_EQ(hex(info.ulCode), hex(code)) << "record " << number << " entry " << entry;
        ASSERT_EQ(info.usEntry, entry) << hex(code) << " record " << number;
        std::string found;
        ASSERT_STATUS(AIO_OK, getBytes(handle, code, number, entry, bytes.size(), found));
        ASSERT_EQ(found, bytes) << hex(code) << " record " << number << " entry " << entry;
      }
    }
    ASSERT_EQ(at, n) << "more values than there should be, record " << number;
    if (number != 0) {
      ASSERT_EQ(countOf(handle, cls, number), record.entries.size()) << "entries of record " << number;
    }
  }

  void compareSpectra(void* handle, const ModelBlock& block) {
    AioSpectrumInfo_T listed[64];
    ULONG n = 0;
    ASSERT_STATUS(AIO_OK, AioListSpectra(handle, listed, 64, &n));
    ASSERT_EQ(n, block.spectra.size());
    ULONG at = 0;
    for (const auto& [place, spectrum] : block.spectra) {
      const AioSpectrumInfo_T& info = listed[at++];
      ASSERT_EQ(std::make_pair(info.ulGroup, info.ulRow), place);
      ASSERT_EQ(info.lFormat, spectrum.format);
      std::vector<std::uint32_t> found(block.channels);
      ASSERT_STATUS(AIO_OK, AioReadSpectrum2(handle, found.data(), spectrum.format, block.channels, 1, place.second,
                                             place.first));
      ASSERT_EQ(found, spectrum.channels);
    }
  }

  void compare(void* handle, const Model& model, const char* what) {
    SCOPED_TRACE(what);
    AioBlockInfo_T listed[16];
    ULONG n = 0;
    ASSERT_STATUS(AIO_OK, AioListBlocks(handle, listed, 16, &n));
    ASSERT_EQ(n, model.blocks.size());
    ULONG at = 0;
    for (const auto& [cls, block] : model.blocks) {
      const AioBlockInfo_T& info = listed[at++];
      SCOPED_TRACE(hex(cls, 4));
      ASSERT_EQ(info.usClass, cls);
      ASSERT_EQ(info.usRecords, block.records.size());
      ASSERT_EQ(info.ulSize, block.size);
      ASSERT_EQ(info.ulGroups, block.groups);
      ASSERT_EQ(info.ulRows, block.rows);
      ASSERT_EQ(info.ulChannels, block.channels);
      if (cls == ORB_CLS_SPECTRUM)
        compareSpectra(handle, block);
      else
        for (std::size_t number = 0; number <= block.records.size(); ++number)
          compareRecord(handle, cls, static_cast<USHORT>(number), *block.record(number));
      if (testing::Test::HasFatalFailure()) return;
    }
  }

  // ---- Operations -----------------------------------------------------------------------------------------
  void putValue() {
    Side& at = side();
    const ParameterLine& parameter = parameters_[below(parameters_.size())];
    const auto cls = static_cast<USHORT>(parameter.code >> 16);
    const USHORT record = recordOf(at.now, cls);
    const USHORT entry = entryOf(at.now, cls, record);
    note("put " + hex(parameter.code) + " " + std::to_string(record) + " " + std::to_string(entry));
    const std::string bytes = value(parameter);
    std::string given = bytes;
    if (parameter.isText()) {  // ended by a NUL with anything behind it, or by the end of the buffer
      given.resize(std::strlen(bytes.c_str()));
      if (oneIn(2)) given += std::string(1, '\0') + "behind";
    }
    expect(at.now.put(parameter, record, entry, bytes), putBytes(at.writer, parameter.code, record, entry, given));
  }

  void putWrongly() {
    Side& at = side();
    const ParameterLine& parameter = parameters_[below(parameters_.size())];
    note("wrong put " + hex(parameter.code));
    std::string bytes = value(parameter);
    ULONG status = AIO_BADSIZE;
    if (parameter.isText()) {
      bytes = std::string(parameter.length + 1u, 'x');
      status = AIO_TOOLONG;
    } else if (parameter.return_type == AIO_T_INT32) {
      const LONG number = oneIn(2) ? 32768 : -32769;
      std::memcpy(bytes.data(), &number, sizeof number);
      status = AIO_OUTOFRANGE;
    } else {
      bytes.resize(bytes.size() + (oneIn(2) ? 1 : std::size_t(-1)));
    }
    expect(status, putBytes(at.writer, parameter.code, 0, 0, bytes));
    expect(AIO_UNKNOWNPARAM, put(at.writer, kUnknownCode, 0, 0, LONG{1}));
    expect(AIO_READONLY, putBytes(at.reader, parameter.code, 0, 0, value(parameter)));
  }

  void getValue() {
    Side& at = side();
    const bool by_reader = oneIn(4);
    const ParameterLine& parameter = parameters_[below(parameters_.size())];
    const auto cls = static_cast<USHORT>(parameter.code >> 16);
    if (by_reader) at.touch(cls);
    const Model& model = by_reader ? at.image : at.now;
    const USHORT record = recordOf(model, cls);
    const USHORT entry = entryOf(model, cls, record);
    note((by_reader ? "reader gets " : "get ") + hex(parameter.code) + " " + std::to_string(record) + " " +
         std::to_string(entry));
    std::string found;
    const ULONG status =
        getBytes(by_reader ? at.reader : at.writer, parameter.code, record, entry, parameter.bufferSize(), found);
    const std::string* wanted = model.get(parameter, record, entry);
    expect(wanted != nullptr ? AIO_OK : AIO_NOVALUE, status);
    if (wanted != nullptr) {
      EXPECT_EQ(found, *wanted) << history_.back();
    }
  }

  void insertOrDelete() {
    Side& at = side();
    const USHORT cls = this->cls();
    const USHORT record = recordOf(at.now, cls);
    const USHORT entry = entryOf(at.now, cls, record);
    const std::string place = hex(cls, 4) + " " + std::to_string(record) + " " + std::to_string(entry);
    const auto found = at.now.blocks.find(cls);
    const bool is_full = found != at.now.blocks.end() && found->second.records.size() > kMostRecords;
    switch (is_full ? 2 : below(4)) {
      case 0:
        note("insert record " + place);
        return expect(at.now.insertRecord(cls, record), AioInsertRecord(at.writer, cls, record));
      case 1:
        note("insert entry " + place);
        return expect(at.now.insertEntry(cls, record, entry), AioInsertEntry(at.writer, cls, record, entry));
      case 2:
        note("delete record " + place);
        return expect(at.now.remove(cls, record, 0), AioDelete(at.writer, cls, record, 0));
      default:
        note("delete " + place);
        return expect(at.now.remove(cls, record, entry), AioDelete(at.writer, cls, record, entry));
    }
  }

  void count() {
    Side& at = side();
    const USHORT cls = this->cls();
    const USHORT record = recordOf(at.now, cls);
    note("count " + hex(cls, 4) + " " + std::to_string(record));
    std::size_t wanted = 0;
    USHORT found = 0x5A5A;
    expect(at.now.count(cls, record, wanted), AioCount(at.writer, cls, record, 0, &found));
    EXPECT_EQ(found, wanted) << history_.back();
  }

  void changeBlocks() {
    Side& at = side();
    const USHORT cls = this->cls();
    if (oneIn(12)) {
      const ULONG level = static_cast<ULONG>(10 * below(7));
      note("delete level " + std::to_string(level));
      expect(at.now.deleteLevel(level), AioDeleteLevel(at.writer, level));
    } else if (oneIn(4)) {
      note("delete block " + hex(cls, 4));
      expect(at.now.deleteBlock(cls), AioDeleteBlock(at.writer, cls));
    } else {
      const auto size = static_cast<ULONG>(bits());
      note("create block " + hex(cls, 4));
      expect(at.now.createBlock(cls, size, cls != kUnknownClass), AioCreateBlock(at.writer, cls, size));
    }
  }

  void spectrum() {
    Side& at = side();
    if (oneIn(8)) {
      const auto groups = static_cast<ULONG>(below(4)), rows = static_cast<ULONG>(below(3));
      const auto n = static_cast<ULONG>(below(80));
      note("create spectra " + std::to_string(groups) + " " + std::to_string(n) + " " + std::to_string(rows));
      return expect(at.now.createSpectra(groups, n, rows), AioCreatePHA(at.writer, groups, n, rows));
    }
    const auto block = at.now.blocks.find(ORB_CLS_SPECTRUM);
    const std::size_t most = block != at.now.blocks.end() ? block->second.channels : 10;
    const LONG format = oneIn(30) ? 2 : static_cast<LONG>(below(2));
    const bool all = oneIn(3);
    const auto n = static_cast<ULONG>(all ? most : below(most + 1));
    const ULONG first = all ? 1 : around(most - n), row = around(1), group = around(2);
    const std::string place = std::to_string(format) + " " + std::to_string(n) + " from " + std::to_string(first) +
                              " row " + std::to_string(row) + " group " + std::to_string(group);
    if (oneIn(2)) {
      note("write spectrum " + place);
      const std::vector<std::uint32_t> given = channels(n, format);
      return expect(at.now.writeSpectrum(given, format, first, row, group),
                    AioWriteSpectrum2(at.writer, given.data(), format, n, first, row, group));
    }
    note("read spectrum " + place);
    std::vector<std::uint32_t> wanted(n, 0x5A5A5A5Au), found(n, 0x5A5A5A5Au);
    expect(at.now.readSpectrum(wanted, format, first, row, group),
           AioReadSpectrum2(at.writer, found.data(), format, n, first, row, group));
    EXPECT_EQ(found, wanted) << history_.back();
  }

  void copy() {
    Side& to = side();
    Side& from = side();
    const USHORT cls = this->cls();
    const bool by_reader = oneIn(3);
    const std::string between = std::string(&from == &sides_[0] ? " a" : " b") + (by_reader ? " (reader)" : "") +
                                " to" + (&to == &sides_[0] ? " a" : " b");
    void* source = by_reader ? from.reader : from.writer;
    const std::size_t kind = below(8);
    if (kind == 0) {
      note("copy file" + between);
      if (by_reader) from.follow();
      expect(AIO_OK, AioDupFile(source, to.writer));
      if (by_reader)
        for (const auto& entry : from.image.blocks) from.touched.insert(entry.first);
      to.now = Model(by_reader ? from.image : from.now);
      return;
    }
    if (by_reader) {
      USHORT ignored = 0;
      from.touch(cls);
      AioCount(source, cls, 0, 0, &ignored);
    }
    Model& model = by_reader ? from.image : from.now;
    if (kind < 3) {
      note("copy block" + between + " " + hex(cls, 4));
      expect(to.now.copyBlock(model, cls), AioCopy(source, to.writer, cls));
      return;
    }
    const USHORT source_record = recordOf(model, cls);
    const USHORT record = recordOf(to.now, cls);
    note("copy record" + between + " " + hex(cls, 4) + " " + std::to_string(source_record) + " to " +
         std::to_string(record));
    expect(to.now.moveRecord(model, cls, source_record, record),
           AioMoveRecord(cls, source, source_record, to.writer, record));
  }

  static void report(void* context, USHORT cls, ULONG status, const char* text) {
    if (status != AIO_OK) *static_cast<std::string*>(context) += hex(cls, 4) + ": " + text + "\n";
  }

  /// Makes sure that the next flush makes a new state.
  void change(Side& at) {
    const ParameterLine& parameter = parameters_.front();
    const std::string bytes = value(parameter);
    expect(at.now.put(parameter, 0, 0, bytes), putBytes(at.writer, parameter.code, 0, 0, bytes));
  }

  void flush() {
    Side& at = side();
    note("flush");
    change(at);
    expect(AIO_OK, AioFlush(at.writer));
    at.flushed = at.now;
    ++at.version;
    std::string damage;
    expect(AIO_OK, AioCheck(oneIn(2) ? at.writer : at.reader, report, &damage));
    EXPECT_EQ(damage, "");
    if (oneIn(3)) {
      const File reader = File::open(at.path, AIO_READ_ONLY);
      compare(reader, at.flushed, "a new reader");
    }
  }

  void reopen() {
    Side& at = side();
    if (oneIn(3)) {
      note("reopen the reader");
      at.reader = File::open(at.path, AIO_READ_ONLY);
      at.touched.clear();
      at.image = at.flushed;
      at.image_version = at.version;
      return compare(at.reader, at.image, "the reader"), touchAll(at);
    }
    const bool flushing = oneIn(2);
    note(flushing ? "close with flush" : "close without flush");
    if (flushing) change(at);
    expect(AIO_OK, at.writer.close(flushing ? AIO_CLOSE_FLUSH : AIO_CLOSE_NOFLUSH));
    if (flushing) {
      at.flushed = at.now;
      ++at.version;
    }
    at.now = at.flushed;
    at.writer = File::open(at.path);
    if (oneIn(2)) compare(at.writer, at.now, "after reopening");  // otherwise blocks are loaded as they are used
  }
  static void touchAll(Side& at) {
    for (const auto& block : at.image.blocks) at.touched.insert(block.first);
  }

  void step() {
    const std::size_t kind = below(1000);
    if (kind < 400) return putValue();
    if (kind < 420) return putWrongly();
    if (kind < 600) return getValue();
    if (kind < 780) return insertOrDelete();
    if (kind < 830) return count();
    if (kind < 850) return changeBlocks();
    if (kind < 960) return spectrum();
    if (kind < 990) return copy();
    if (kind < 996) return flush();
    return reopen();
  }

  const std::vector<ParameterLine>& parameters_;
  std::mt19937_64 random_;
  Side sides_[2];
  std::deque<std::string> history_;
};

long numberFrom(const char* variable, long otherwise) {
  const char* text = std::getenv(variable);
  return text != nullptr ? std::atol(text) : otherwise;
}

class ModelTest : public ServiceTest {};

TEST_F(ModelTest, RandomOperationsAnswerAsTheModelDoes) {
  const std::vector<ParameterLine> parameters = makeParameters();
  useDictionary(parameters);
  const long n_operations = numberFrom("ORB_SOAK_OPERATIONS", 20000);
  const long n_seeds = numberFrom("ORB_SOAK_SEEDS", kSeeds);
  for (long seed = 1; seed <= n_seeds && !HasFailure(); ++seed) {
    Walk walk(static_cast<unsigned>(seed), dir_, parameters);
    const long last = walk.run(n_operations);
    if (!HasFailure()) continue;
    std::string history;
    for (const std::string& operation : walk.history()) history += "\n  " + operation;
    ADD_FAILURE() << "seed " << seed << ", operation " << last << "; the last ones were" << history;
  }
}

}  // namespace
