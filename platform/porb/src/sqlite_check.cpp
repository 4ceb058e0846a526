#include <cstdio>

#include "aioproto.h"
#include "sqlite_schema.h"
#include "sqlite_storage.h"

namespace porb {
namespace {

std::string hex(std::uint32_t number, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%0*X", digits, number);
  return text;
}

/// Collects what a check finds: passes it on, and keeps the first damage.
class Findings {
 public:
  explicit Findings(const Finding& report) : report_(report) {}

  void add(std::uint16_t cls, Status status, const std::string& text) {
    if (first_ == AIO_OK) first_ = status;
    if (status != AIO_OK) ++damages_;
    if (report_) report_(cls, status, text);
  }
  std::size_t damages() const noexcept { return damages_; }
  Status first() const noexcept { return first_; }

 private:
  const Finding& report_;
  Status first_ = AIO_OK;
  std::size_t damages_ = 0;
};

void checkPages(const Database& database, Findings& findings) {
  Statement query = database.prepare("PRAGMA integrity_check");
  while (query.step()) {
    const std::string text(query.bytes(0));
    if (text != "ok") findings.add(0, AIO_CORRUPT, text);
  }
}

/// Rows that no block owns: they would never be read, so their loss would go unnoticed.
void checkOrphans(const Database& database, Findings& findings) {
  for (const char* table : {"value", "record"}) {
    const std::string sql = std::string("SELECT class,count(*) FROM ") + table +
                            " WHERE class=8197 OR class NOT IN (SELECT class FROM block) GROUP BY class";
    Statement query = database.prepare(sql.c_str());
    while (query.step())
      findings.add(static_cast<std::uint16_t>(query.integer(0)), AIO_BADCONTENT,
                   std::to_string(query.integer(1)) + " rows of table " + table + " belong to no block");
  }
  Statement spectra = database.prepare(
      "SELECT count(*) FROM spectrum WHERE NOT EXISTS "
      "(SELECT 1 FROM block WHERE class=8197)");
  if (spectra.step() && spectra.integer(0) != 0)
    findings.add(ORB_CLS_SPECTRUM, AIO_BADCONTENT, "spectra without a spectral block");
}

void checkTypes(std::uint16_t cls, const CellRow& row, const std::string& place, const Dictionary& dictionary,
                Findings& findings) {
  for (const Cell& cell : row.cells()) {
    const std::uint32_t code = std::uint32_t{cls} << 16 | cell.param();
    const Parameter* parameter = dictionary.find(code);
    if (parameter == nullptr)
      findings.add(cls, AIO_UNKNOWNPARAM, hex(code, 8) + place + ": not in the dictionary");
    else if (parameter->storage_type != cell.type())
      findings.add(cls, AIO_TYPEMISMATCH,
                   std::string(parameter->name.view()) + place + ": stored with type " + std::to_string(cell.type()) +
                       ", the dictionary says " + std::to_string(parameter->storage_type));
  }
}

void checkTable(std::uint16_t cls, const Table& table, const Dictionary& dictionary, Findings& findings) {
  for (std::size_t number = 0; number <= table.recordCount(); ++number) {
    table.record(number)->forEachRow([&](std::size_t entry, const CellRow& row) {
      checkTypes(cls, row, " at record " + std::to_string(number) + ", entry " + std::to_string(entry), dictionary,
                 findings);
    });
  }
}

void checkBlock(SqliteStorage& storage, const BlockHeader& header, const Dictionary& dictionary, Findings& findings) {
  const std::size_t before = findings.damages();
  try {
    const std::unique_ptr<Block> block = storage.loadBlock(header);
    std::string content = "whole";
    if (const Table* table = block->table()) {
      checkTable(header.cls, *table, dictionary, findings);
      content += ", " + std::to_string(table->recordCount()) + " records";
    } else {
      content += ", " + std::to_string(block->spectra()->written().size()) + " spectra";
    }
    if (findings.damages() == before) findings.add(header.cls, AIO_OK, content);
  } catch (const Failure& failure) {
    findings.add(header.cls, failure.status(), AioStatusText(failure.status()));
  }
}

}  // namespace

Status SqliteStorage::check(const Dictionary& dictionary, const Finding& report) {
  Findings findings(report);
  const ReadScope scope(*this);
  try {
    checkPages(database_, findings);
    checkOrphans(database_, findings);
    for (const BlockHeader& header : listBlocks()) checkBlock(*this, header, dictionary, findings);
  } catch (const Failure& failure) {
    findings.add(0, failure.status(), AioStatusText(failure.status()));
  }
  return findings.first();
}

}  // namespace porb
