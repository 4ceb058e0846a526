#include "sqlite_values.h"

#include <bit>
#include <cmath>
#include <cstring>

#include "comdefs.h"
#include "content.h"

namespace porb {
namespace {

bool isUtf8(std::string_view text) noexcept {
  const auto* at = reinterpret_cast<const unsigned char*>(text.data());
  const auto* const end = at + text.size();
  while (at < end) {
    if (*at < 0x80) {
      ++at;
      continue;
    }
    const int more = *at >= 0xC2 && *at <= 0xDF   ? 1
                     : *at >= 0xE0 && *at <= 0xEF ? 2
                     : *at >= 0xF0 && *at <= 0xF4 ? 3
                                                  : 0;
    if (more == 0 || end - at <= more) return false;
    // Too long forms, surrogates and what lies beyond the last code point show in the second byte.
    const unsigned char least = *at == 0xE0 ? 0xA0 : *at == 0xF0 ? 0x90 : 0x80;
    const unsigned char most = *at == 0xED ? 0x9F : *at == 0xF4 ? 0x8F : 0xBF;
    if (at[1] < least || at[1] > most) return false;
    for (int i = 2; i <= more; ++i)
      if ((at[i] & 0xC0) != 0x80) return false;
    at += more + 1;
  }
  return true;
}

double valueOf(const Cell& cell) noexcept {
  return kindOf(cell.type()) == Kind::Double
             ? std::bit_cast<double>(cell.bits())
             : static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(cell.bits())));
}

bool keepsBits(double value) noexcept {
  return !std::isnan(value) && !(value == 0 && std::signbit(value));
}

std::uint64_t readReal(const Statement& row, int column, const ColumnValue& stored, int type) {
  const std::uint16_t width = widthOf(type);
  std::uint64_t bits = 0;
  if (stored.type() == SQLITE_BLOB) {
    const std::string_view bytes = row.bytes(column);
    requireContent(bytes.size() == width);
    std::memcpy(&bits, bytes.data(), width);
    return bits;
  }
  requireContent(stored.type() == SQLITE_FLOAT);
  const double value = stored.real();
  if (width == 8) return std::bit_cast<std::uint64_t>(value);
  const auto narrow = static_cast<float>(value);
  requireContent(static_cast<double>(narrow) == value);
  return std::bit_cast<std::uint32_t>(narrow);
}

}  // namespace

void bindValue(Statement& statement, int index, const Cell& cell) {
  switch (kindOf(cell.type())) {
    case Kind::Integer:
      statement.bind(index, static_cast<std::int64_t>(cell.bits()));
      return;
    case Kind::Text: {
      const std::string_view text = cell.characters();
      if (isUtf8(text))
        statement.bindText(index, text);
      else
        statement.bindBlob(index, text.data(), text.size());
      return;
    }
    default: {
      const double value = valueOf(cell);
      if (keepsBits(value)) {
        statement.bindDouble(index, value);
        return;
      }
      std::uint64_t bits = cell.bits();
      char bytes[sizeof bits];
      std::memcpy(bytes, &bits, sizeof bits);
      statement.bindCopy(index, bytes, widthOf(cell.type()));
    }
  }
}

Cell readValue(const Statement& row, int column, std::uint16_t param, int type) {
  const ColumnValue stored = row.value(column);
  switch (kindOf(type)) {
    case Kind::Integer:
      requireContent(stored.type() == SQLITE_INTEGER);
      return Cell::number(param, type, static_cast<std::uint64_t>(stored.integer()));
    case Kind::Float:
    case Kind::Double:
      return Cell::number(param, type, readReal(row, column, stored, type));
    case Kind::Text: {
      requireContent(stored.type() == SQLITE_TEXT || stored.type() == SQLITE_BLOB);
      const std::string_view text = row.bytes(column);
      requireContent(text.size() < AIO_MAX_VALUE_BYTES && text.find('\0') == std::string_view::npos);
      return Cell::text(param, type, text);
    }
    default:
      throw Failure(AIO_BADCONTENT);
  }
}

ValueLoader::ValueLoader(Table& table, std::uint32_t working_entries, const std::vector<std::uint32_t>& ids,
                         const std::vector<std::uint32_t>& entries)
    : table_(table), ids_(ids), entries_(entries), record_(&table.working()) {
  if (working_entries != 0) record_->entries = std::make_unique<Entries>(working_entries);
}

void ValueLoader::startRecord(std::int64_t id) {
  while (next_ < ids_.size() && record_->id < id) {
    record_ = &table_.loaded(next_);
    if (entries_[next_] != 0) record_->entries = std::make_unique<Entries>(entries_[next_]);
    ++next_;
  }
  requireContent(record_->id == id);
}

void ValueLoader::storeRow() {
  if (row_.empty()) return;
  requireContent(static_cast<std::size_t>(entry_) <= record_->entryCount());
  CellRow& target = entry_ == 0 ? record_->values : record_->entries->row(static_cast<std::size_t>(entry_));
  target.assign(row_);
  row_.clear();
}

void ValueLoader::take(const Statement& row, std::uint16_t cls) {
  const ColumnValue record_key = row.value(0);
  const ColumnValue entry_key = row.value(1);
  requireContent(record_key.type() == SQLITE_INTEGER && entry_key.type() == SQLITE_INTEGER);
  const std::int64_t id = record_key.integer();
  const std::int64_t entry = entry_key.integer();
  const std::int64_t code = row.integer(2);
  const std::int64_t type = row.integer(3);
  requireContent(entry >= 0 && (code >> 16) == cls && type >= 0 && type <= 0xFF);
  if (id != id_ || entry != entry_) {
    storeRow();
    if (id != id_) startRecord(id);
    id_ = id;
    entry_ = entry;
  }
  const auto param = static_cast<std::uint16_t>(code);
  requireContent(row_.empty() || row_.back().param() < param);
  row_.push_back(readValue(row, 4, param, static_cast<int>(type)));
  row_.back().setDirty(false);
}

void ValueLoader::finish() {
  storeRow();
  // Records without values still have their entries.
  if (next_ < ids_.size()) startRecord(ids_.back());
}

}  // namespace porb
