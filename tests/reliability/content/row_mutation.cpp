#include <cstring>
#include <vector>

#include "aiolib.h"
#include "mutations.h"
#include "sqlite_storage.h"
#include "value_types.h"

namespace content {
namespace {

using porb::Database;
using porb::Kind;
using porb::Statement;

/// A value that a column may hold; bound as the type it is.
struct Value {
  Kind kind = Kind::Integer;  // None: the bytes of `text` as a blob
  std::int64_t integer = 0;
  double real = 0;
  std::string text = {};

  void bind(Statement& statement, int index) const {
    if (kind == Kind::Integer) statement.bind(index, integer);
    if (kind == Kind::Double || kind == Kind::Float) statement.bindDouble(index, real);
    if (kind == Kind::Text) statement.bindText(index, text);
    if (kind == Kind::None) statement.bindCopy(index, text.data(), text.size());
  }
};

/// What the storage would write for a strange value of this type.
Value legalValue(int type, Dice& dice) {
  Value value;
  value.kind = porb::kindOf(type);
  const int bits = 8 * porb::widthOf(type);
  value.integer = strangeInteger(dice);
  if (type == AIO_T_BOOL || type == AIO_T_FLAG) value.integer &= 1;
  if (type == AIO_T_UINT16) value.integer &= 0xFFFF;
  if (type == AIO_T_INT16) value.integer = static_cast<std::int16_t>(value.integer);
  if (type == AIO_T_INT32) value.integer = static_cast<std::int32_t>(value.integer);
  value.text = strangeText(dice, 65534);
  value.real = strangeReal(dice);
  const auto narrow = static_cast<float>(value.real);
  if (value.kind == Kind::Float) value.real = narrow;
  const bool is_real = value.kind == Kind::Float || value.kind == Kind::Double;
  if (is_real && (std::isnan(value.real) || (value.real == 0 && std::signbit(value.real)))) {
    value.kind = Kind::None;
    value.text.assign(static_cast<std::size_t>(bits / 8), '\0');
    std::memcpy(value.text.data(), bits == 32 ? static_cast<const void*>(&narrow) : &value.real, value.text.size());
  }
  return value;
}

Value anyValue(Dice& dice) {
  static constexpr Kind kKinds[] = {Kind::None, Kind::Integer, Kind::Double, Kind::Text};
  return {dice.of(kKinds), strangeInteger(dice), strangeReal(dice), strangeText(dice, 300)};
}

class Mutator {
 public:
  Mutator(const std::string& path, Dice& dice) : database_(path, SQLITE_OPEN_READWRITE, nullptr), dice_(dice) {}

  void change() {
    const std::uint64_t what = dice_.below(100);
    if (what < 50) return changeValue();
    if (what < 70) return addValue();
    if (what < 82) return changeRecord();
    if (what < 94) return changeSpectrum();
    const char* const columns[] = {"class", "size", "entries", "groups_n", "rows_n", "channels_n"};
    if (what < 98) return update("block", dice_.of(columns));
    run(dice_.chance(50) ? "DELETE FROM name WHERE code%7=1" : "UPDATE name SET name='=x',unit=char(27)");
  }

 private:
  void run(const std::string& sql, const std::vector<Value>& values = {}) {
    Statement statement = database_.prepare(sql.c_str());
    for (std::size_t i = 0; i < values.size(); ++i) values[i].bind(statement, static_cast<int>(i) + 1);
    statement.tryRun();  // what contradicts a key changes nothing
  }
  static Value number(std::int64_t value) { return {Kind::Integer, value, 0, {}}; }

  /// The numbers of a row of a table drawn by lot; nothing when it has none.
  std::vector<std::int64_t> row(const std::string& table, const std::string& columns, int n) {
    Statement count = database_.prepare(("SELECT count(*) FROM " + table).c_str());
    if (!count.step() || count.integer(0) == 0) return {};
    const auto at = dice_.below(static_cast<std::uint64_t>(count.integer(0)));
    const std::string sql = "SELECT " + columns + " FROM " + table + " LIMIT 1 OFFSET " + std::to_string(at);
    Statement query = database_.prepare(sql.c_str());
    std::vector<std::int64_t> numbers;
    if (query.step())
      for (int i = 0; i < n; ++i) numbers.push_back(query.integer(i));
    return numbers;
  }

  void update(const std::string& table, const std::string& column) {
    const auto at = row(table, "class", 1);
    if (at.empty()) return;
    const Value value = dice_.chance(80) ? number(strangeInteger(dice_)) : anyValue(dice_);
    run("UPDATE " + table + " SET " + column + "=? WHERE class=?", {value, number(at[0])});
  }

  void changeValue() {
    const auto at = row("value", "class,record,entry,code,type", 5);
    if (at.empty()) return;
    const std::string here = " WHERE class=?2 AND record=?3 AND entry=?4 AND code=?5";
    const auto type = static_cast<int>(at[4]);
    const auto set = [&](const std::string& what, const std::string& where, const Value& value) {
      run("UPDATE OR REPLACE value SET " + what + where,
          {value, number(at[0]), number(at[1]), number(at[2]), number(at[3])});
    };
    const std::uint64_t what = dice_.below(100);
    const std::string column = " WHERE class=?2 AND code=?5 AND ?3+?4>=0";
    static constexpr int kTypes[] = {0, 2, 3, 6, 7, 8, 9, 10, 14, 24, 27, 35, 99, 192};
    static constexpr double kFactors[] = {-1, 0.5, 2, 1.0000001, 1e-3, 1e3, 1e10};
    if (what < 55) return set("value=?1", here, legalValue(type, dice_));
    if (what < 72) return set("value=?1", column, legalValue(type, dice_));
    if (what < 80) return set("value=value*?1", here, {Kind::Double, 0, dice_.of(kFactors), {}});
    if (what < 84) return set("value=?1", here, anyValue(dice_));
    if (what < 88) return set("type=?1", here, number(dice_.of(kTypes)));
    if (what < 91) return set("code=?1", here, number((at[3] & ~0xFF) | static_cast<std::int64_t>(dice_.below(160))));
    if (what < 93) return set("record=?1", here, number(static_cast<std::int64_t>(dice_.below(5))));
    if (what < 95) return set("entry=?1", here, number(strangeInteger(dice_)));
    if (what < 98) return run("DELETE FROM value WHERE class=? AND code=?", {number(at[0]), number(at[3])});
    run("DELETE FROM value WHERE class=? AND record=? AND entry=? AND code=?",
        {number(at[0]), number(at[1]), number(at[2]), number(at[3])});
  }

  /// A value of a parameter that the dictionary knows, whether or not the file had one.
  void addValue() {
    static const std::vector<ULONG> codes = [] {
      std::vector<ULONG> all;
      for (ULONG code = 0; AioUtilNextParam(nullptr, code, &code) == AIO_OK;) all.push_back(code);
      return all;
    }();
    AioParamInfo_T info;
    if (AioUtilParamInfo(nullptr, dice_.of(codes), &info) != AIO_OK) return;
    const std::int64_t cls = info.ulCode >> 16;
    const auto at = row("record WHERE class=" + std::to_string(cls), "id", 1);
    if (info.ulLevel == AIO_IN_ENTRY || (info.ulLevel == AIO_IN_RECORD && at.empty())) return changeValue();
    run("INSERT OR REPLACE INTO value VALUES(?,?,0,?,?,?)",
        {number(cls), number(info.ulLevel == AIO_IN_RECORD ? at[0] : 0), number(info.ulCode), number(info.lStorageType),
         legalValue(info.lStorageType, dice_)});
  }

  void changeRecord() {
    const auto at = row("record", "class,id", 2);
    if (at.empty()) return;
    const std::vector<Value> here{number(at[0]), number(at[1])};
    switch (dice_.below(6)) {
      case 0:  // gone, with or without its values
        if (dice_.chance(70)) run("DELETE FROM value WHERE class=? AND record=?", here);
        return run("DELETE FROM record WHERE class=? AND id=?", here);
      case 1:  // all of them gone
        run("DELETE FROM value WHERE class=? AND record>0", {here[0]});
        return run("DELETE FROM record WHERE class=?", {here[0]});
      case 2:  // in another order
        return run("UPDATE record SET rank=-rank WHERE class=?", {here[0]});
      case 3:
        return run("UPDATE record SET rank=? WHERE class=? AND id=?",
                   {number(strangeInteger(dice_)), here[0], here[1]});
      case 4:
        return run("UPDATE record SET entries=? WHERE class=? AND id=?",
                   {number(strangeInteger(dice_)), here[0], here[1]});
      default:
        return multiply(at[0], at[1]);
    }
  }

  /// Copies of one record behind all others.
  void multiply(std::int64_t cls, std::int64_t id) {
    static constexpr int kCopies[] = {1, 2, 50, 1000, 5000};
    const std::string ids = "WITH n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<" +
                            std::to_string(dice_.of(kCopies)) +
                            "),top(id,rank) AS (SELECT max(id),max(rank) FROM record WHERE class=?1) ";
    run("INSERT INTO value " + ids +
            "SELECT class,top.id+i,entry,code,type,value FROM value,n,top WHERE class=?1 AND record=?2",
        {number(cls), number(id)});
    run("INSERT INTO record " + ids +
            "SELECT class,top.id+i,top.rank+i,entries FROM record,n,top WHERE class=?1 AND record.id=?2",
        {number(cls), number(id)});
  }

  void changeSpectrum() {
    static constexpr std::int64_t kSizes[] = {0, 1, 2, 3, 5, 17, 255, 4096, 16384, 65536};
    const auto shape = row("block WHERE class=8197", "channels_n", 1);
    if (shape.empty()) return;
    const bool resize = dice_.chance(40);
    const std::int64_t channels = resize ? dice_.of(kSizes) : shape[0];
    if (resize) run("UPDATE block SET channels_n=? WHERE class=8197", {number(channels)});
    if (resize && dice_.chance(80)) run("UPDATE value SET value=? WHERE code=0x20000007", {number(channels)});
    const bool is_float = dice_.chance(40);
    run("UPDATE spectrum SET format=?,channels=?", {number(is_float), {Kind::None, 0, 0, counts(channels, is_float)}});
  }

  std::string counts(std::int64_t n, bool is_float) {
    const std::uint64_t pattern = dice_.below(6);
    const double level = strangeReal(dice_);
    const auto whole = static_cast<std::uint32_t>(strangeInteger(dice_));
    std::string bytes;
    for (std::int64_t i = 0; i < n && bytes.size() < (1u << 24); ++i) {
      const bool odd = pattern == 1   ? i % 2 != 0
                       : pattern == 2 ? i % 40 == 7
                       : pattern == 3 ? i == n / 2
                                      : pattern == 4;
      const auto base = static_cast<std::uint32_t>(dice_.below(pattern == 5 ? 1u << 31 : 50));
      const auto rate = odd ? static_cast<float>(level) : static_cast<float>(base);
      const std::uint32_t count = odd ? whole : base;
      bytes.append(is_float ? reinterpret_cast<const char*>(&rate) : reinterpret_cast<const char*>(&count), 4);
    }
    return bytes;
  }

  Database database_;
  Dice& dice_;
};

// ---- Making checksums right again ---------------------------------------------------------------------------

void sealSpectra(const Database& database) {
  Statement query = database.prepare("SELECT rowid,format,channels FROM spectrum");
  Statement put = database.prepare("UPDATE spectrum SET checksum=? WHERE rowid=?");
  std::vector<std::pair<std::int64_t, std::uint64_t>> sums;
  while (query.step()) {
    porb::Spectrum spectrum;
    spectrum.format = static_cast<LONG>(query.integer(1));
    const std::string_view bytes = query.bytes(2);
    spectrum.channels.resize(bytes.size() / 4);
    if (!spectrum.channels.empty()) std::memcpy(spectrum.channels.data(), bytes.data(), spectrum.channels.size() * 4);
    sums.emplace_back(query.integer(0), spectrum.hash());
  }
  for (const auto& [row, sum] : sums) put.bind(1, static_cast<std::int64_t>(sum)).bind(2, row).run();
}

void sealList(const Database& database) {
  Statement query = database.prepare("SELECT class FROM block WHERE class>=0");
  std::int64_t n = 0;
  std::uint64_t sum = 0;
  for (; query.step(); ++n) sum += porb::hashOfListed(static_cast<std::uint16_t>(query.integer(0)));
  Statement put = database.prepare("UPDATE block SET size=?,checksum=? WHERE class=-1");
  put.bind(1, n).bind(2, static_cast<std::int64_t>(sum)).run();
}

std::vector<std::pair<std::int64_t, std::uint64_t>> sumsOfBlocks(const std::string& path) {
  std::vector<std::pair<std::int64_t, std::uint64_t>> sums;
  try {
    porb::SqliteStorage storage(path, nullptr, nullptr);
    for (const porb::BlockHeader& header : storage.listBlocks()) {
      try {
        sums.emplace_back(header.cls, porb::checksumOf(*storage.readBlock(header)));
      } catch (const porb::Failure&) {  // a block that cannot be read needs no checksum
      }
    }
  } catch (const porb::Failure&) {
  }
  return sums;
}

void seal(const std::string& path) {
  const Database database(path, SQLITE_OPEN_READWRITE, nullptr);
  sealSpectra(database);
  sealList(database);
  Statement put = database.prepare("UPDATE block SET checksum=? WHERE class=?");
  for (const auto& [cls, sum] : sumsOfBlocks(path)) put.bind(1, static_cast<std::int64_t>(sum)).bind(2, cls).run();
}

}  // namespace

void mutateRows(const std::string& path, Dice& dice) {
  {
    Mutator mutator(path, dice);
    for (std::uint64_t i = 1 + dice.below(6); i > 0; --i) mutator.change();
  }
  if (dice.chance(97)) seal(path);
}

}  // namespace content
