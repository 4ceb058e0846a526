// The file object beside bare SQLite, LMDB and memcpy.
#include <cstring>
#include <filesystem>

#include "FileAccess.h"
#include "peers.h"
#include "sample_files.h"
#include "suites.h"

namespace {

using com::norvale::datatypes::Variant;
using com::norvale::orb::FileAccess;

constexpr std::uint32_t kChannels = 16384;
constexpr std::size_t kMapCodes = 50;

/// A file object on the sample file.
class OpenObject {
 public:
  explicit OpenObject(com::norvale::orb::OpenOptions options) {
    static const std::string path = [] {
      std::string made = samplePath("object.orb");
      makeSampleFile(made, kChannels);
      return made;
    }();
    require(object_.open(path, options), "open");
  }
  FileAccess& operator*() { return object_; }
  FileAccess* operator->() { return &object_; }

 private:
  FileAccess object_;
};

void getParameter(benchmark::State& state) {
  OpenObject file(com::norvale::orb::READONLY);
  const auto codes = doubleCodes();
  std::size_t next = 0;
  Variant value;
  for (auto _ : state) {
    if (file->getParameter(codes[next], value, 0, 0) != 0) state.SkipWithError("getParameter");
    benchmark::DoNotOptimize(value);
    next = next + 1 < codes.size() ? next + 1 : 0;
  }
}

void setParameter(benchmark::State& state) {
  OpenObject file(com::norvale::orb::READWRITE);
  const auto codes = doubleCodes();
  std::size_t next = 0;
  double number = 1;
  for (auto _ : state) {
    number += 1;
    if (file->setParameter(codes[next], Variant(number), 0, 0) != 0) state.SkipWithError("setParameter");
    next = next + 1 < codes.size() ? next + 1 : 0;
  }
}

std::map<unsigned int, Variant> fiftyCodes() {
  std::map<unsigned int, Variant> map;
  for (const ULONG code : doubleCodes())
    if (map.size() < kMapCodes) map[code];
  return map;
}

void getMap(benchmark::State& state) {
  OpenObject file(com::norvale::orb::READONLY);
  auto map = fiftyCodes();
  for (auto _ : state) {
    if (file->getParameters(map, 0, 0, false) != 0) state.SkipWithError("getParameters");
    benchmark::DoNotOptimize(map);
  }
}

void getFiftyTimes(benchmark::State& state) {
  OpenObject file(com::norvale::orb::READONLY);
  auto map = fiftyCodes();
  for (auto _ : state) {
    for (auto& [code, value] : map)
      if (file->getParameter(code, value, 0, 0) != 0) state.SkipWithError("getParameter");
    benchmark::DoNotOptimize(map);
  }
}

void getSpectrumOfObject(benchmark::State& state) {
  OpenObject file(com::norvale::orb::READONLY);
  std::vector<int> counts;
  for (auto _ : state) {
    if (file->getSpectrum(counts, 1, 1) != 0) state.SkipWithError("getSpectrum");
    benchmark::DoNotOptimize(counts.data());
    benchmark::ClobberMemory();
  }
}

void createAndClose(benchmark::State& state) {
  const std::string path = samplePath("created.orb");
  for (auto _ : state) {
    FileAccess file;
    require(file.create(path, 4096, false), "create");
    require(file.close(com::norvale::orb::FLUSH), "close");
    state.PauseTiming();
    std::filesystem::remove(path);
    state.ResumeTiming();
  }
}

/// Everything that lies in a created file: the statements that made its tables, and the rows as SQL.
struct CreatedRows {
  std::vector<std::string> schema;
  std::vector<std::string> tables;

  CreatedRows() {
    const std::string path = samplePath("template.orb");
    FileAccess file;
    require(file.create(path, 4096, false), "create");
    require(file.close(com::norvale::orb::FLUSH), "close");
    const peers::Sqlite database(path);
    const auto query = database.prepare("SELECT type,name,sql FROM sqlite_schema WHERE sql IS NOT NULL");
    while (sqlite3_step(query.get()) == SQLITE_ROW) {
      const auto text = [&](int column) {
        return std::string(static_cast<const char*>(sqlite3_column_blob(query.get(), column)),
                           static_cast<std::size_t>(sqlite3_column_bytes(query.get(), column)));
      };
      schema.push_back(text(2));
      if (text(0) == "table") tables.push_back(text(1));
    }
  }
};

/// Inserts all rows of a table into the same table of another database, with one prepared statement.
void copyRows(const peers::Sqlite& from, const peers::Sqlite& to, const std::string& table) {
  const auto select = from.prepare(("SELECT * FROM " + table).c_str());
  const int columns = sqlite3_column_count(select.get());
  std::string sql = "INSERT INTO " + table + " VALUES(?";
  for (int column = 1; column < columns; ++column) sql += ",?";
  const auto insert = to.prepare((sql + ")").c_str());
  while (sqlite3_step(select.get()) == SQLITE_ROW) {
    for (int column = 0; column < columns; ++column)
      sqlite3_bind_value(insert.get(), column + 1, sqlite3_column_value(select.get(), column));
    require(sqlite3_step(insert.get()) == SQLITE_DONE ? AIO_OK : AIO_INTERNAL, "insert");
    sqlite3_reset(insert.get());
  }
}

void createWithSqlite(benchmark::State& state) {
  static const CreatedRows rows;
  static const peers::Sqlite source(samplePath("template.orb"));
  const std::string path = samplePath("created.sqlite");
  for (auto _ : state) {
    {
      const peers::Sqlite database(path);
      database.run("PRAGMA synchronous=EXTRA");
      database.run("BEGIN");
      for (const std::string& sql : rows.schema) database.run(sql.c_str());
      for (const std::string& table : rows.tables) copyRows(source, database, table);
      database.run("COMMIT");
    }
    state.PauseTiming();
    std::filesystem::remove(path);
    state.ResumeTiming();
  }
}

}  // namespace

std::vector<Comparison> fileObjectSuite() {
  const auto add = [](const char* name, void (*function)(benchmark::State&)) {
    benchmark::RegisterBenchmark(name, function)->UseRealTime();
  };
  add("getParameter", getParameter);
  add("setParameter", setParameter);
  add("getParameters", getMap);
  add("getParameters.singly", getFiftyTimes);
  add("getSpectrum", getSpectrumOfObject);
  add("create", createAndClose);
  add("create.sqlite", createWithSqlite);
  return {
      {"getParameter of a double", "getParameter", "SQLite point select", "get.sqlite", 0.25},
      {"getParameter of a double", "getParameter", "LMDB get of 8 bytes", "get.lmdb", 1.0},
      {"setParameter of a double", "setParameter", "SQLite update", "put.sqlite", 0.3},
      {"getParameters of 50 codes", "getParameters", "50 times getParameter", "getParameters.singly", 1.05},
      {"getSpectrum of 16384 channels", "getSpectrum", "memcpy", "spectrum.memcpy", 4},
      {"create and close with flush", "create", "SQLite transaction of the rows", "create.sqlite", 1.5},
  };
}
