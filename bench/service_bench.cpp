// The data-file service beside bare SQLite, LMDB, HDF5 and memcpy.
#include <malloc.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "peers.h"
#include "sample_files.h"
#include "suites.h"

namespace {

constexpr ULONG kChannels = 16384;

/// Codes in an order that defeats the processor's guesses as real access does.
const std::vector<ULONG>& accessOrder() {
  static const std::vector<ULONG> order = [] {
    std::vector<ULONG> codes = doubleCodes();
    std::uint32_t random = 12345;
    for (std::size_t i = codes.size() - 1; i > 0; --i) {
      random = random * 1664525u + 1013904223u;
      std::swap(codes[i], codes[random % (i + 1)]);
    }
    return codes;
  }();
  return order;
}

/// An open data file.
class OpenFile {
 public:
  OpenFile(const std::string& path, ULONG access) {
    require(AioOpen2(&handle_, path.c_str(), access, 0, 0), "AioOpen2");
  }
  ~OpenFile() { AioClose2(handle_, AIO_CLOSE_NOFLUSH); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  void* handle() const { return handle_; }

 private:
  void* handle_ = nullptr;
};

const std::string& samplefile() {
  static const std::string path = [] {
    std::string made = samplePath("sample.orb");
    makeSampleFile(made, kChannels);
    return made;
  }();
  return path;
}

const std::string& libraryFile() {
  static const std::string path = [] {
    std::string made = samplePath("library.orb");
    makeLibraryFile(made);
    return made;
  }();
  return path;
}

const peers::Sqlite& sqliteTable() {
  static const peers::Sqlite database(samplePath("peer.sqlite"));
  static const bool made = (database.makeTable(headerCodes()), true);
  static_cast<void>(made);
  return database;
}

// ---- get ------------------------------------------------------------------------------------------------------

void getOurs(benchmark::State& state) {
  const OpenFile file(samplefile(), AIO_READ_ONLY);
  const auto& codes = accessOrder();
  std::size_t next = 0;
  for (auto _ : state) {
    double value = 0;
    USHORT size = sizeof value;
    if (AioGetParam(file.handle(), codes[next], 0, 0, &value, &size) != AIO_OK) state.SkipWithError("AioGetParam");
    benchmark::DoNotOptimize(value);
    next = next + 1 < codes.size() ? next + 1 : 0;
  }
}

void getSqlite(benchmark::State& state) {
  const peers::Sqlite& database = sqliteTable();
  const auto select = database.prepare("SELECT value FROM value WHERE code=? AND record=? AND entry=?");
  const auto& codes = accessOrder();
  database.run("BEGIN");
  std::size_t next = 0;
  for (auto _ : state) {
    sqlite3_bind_int64(select.get(), 1, codes[next]);
    sqlite3_bind_int64(select.get(), 2, 0);
    sqlite3_bind_int64(select.get(), 3, 0);
    if (sqlite3_step(select.get()) != SQLITE_ROW) state.SkipWithError("select");
    double value = sqlite3_column_double(select.get(), 0);
    benchmark::DoNotOptimize(value);
    sqlite3_reset(select.get());
    next = next + 1 < codes.size() ? next + 1 : 0;
  }
  database.run("COMMIT");
}

void getLmdb(benchmark::State& state) {
  static const peers::Lmdb database(samplePath("peer.lmdb"), headerCodes());
  const auto& codes = accessOrder();
  std::size_t next = 0;
  for (auto _ : state) {
    double value = database.get({codes[next], 0, 0});
    benchmark::DoNotOptimize(value);
    next = next + 1 < codes.size() ? next + 1 : 0;
  }
}

void getHdf5(benchmark::State& state) {
  static const peers::Hdf5 file(samplePath("peer.h5"), headerCodes());
  const std::size_t n = headerCodes().size();
  std::size_t next = 0;
  for (auto _ : state) {
    double value = file.get(next);
    benchmark::DoNotOptimize(value);
    next = (next + 37) % n;
  }
}

// ---- put and flush --------------------------------------------------------------------------------------------

void putOurs(benchmark::State& state) {
  const OpenFile file(samplefile(), AIO_READ_WRITE);
  const auto& codes = accessOrder();
  double value = 1;
  const USHORT size = sizeof value;
  std::size_t next = 0;
  for (auto _ : state) {
    value += 1;
    if (AioPutParam(file.handle(), codes[next], 0, 0, &value, &size) != AIO_OK) state.SkipWithError("AioPutParam");
    next = next + 1 < codes.size() ? next + 1 : 0;
  }
}

void putSqlite(benchmark::State& state) {
  const peers::Sqlite& database = sqliteTable();
  const auto update = database.prepare("UPDATE value SET value=? WHERE code=? AND record=? AND entry=?");
  const auto& codes = accessOrder();
  database.run("BEGIN");
  double value = 1;
  std::size_t next = 0;
  for (auto _ : state) {
    value += 1;
    sqlite3_bind_double(update.get(), 1, value);
    sqlite3_bind_int64(update.get(), 2, codes[next]);
    sqlite3_bind_int64(update.get(), 3, 0);
    sqlite3_bind_int64(update.get(), 4, 0);
    if (sqlite3_step(update.get()) != SQLITE_DONE) state.SkipWithError("update");
    sqlite3_reset(update.get());
    next = next + 1 < codes.size() ? next + 1 : 0;
  }
  database.run("ROLLBACK");
}

void flushOurs(benchmark::State& state) {
  const OpenFile file(samplefile(), AIO_READ_WRITE);
  double value = 1;
  const USHORT size = sizeof value;
  for (auto _ : state) {
    value += 1;
    require(AioPutParam(file.handle(), accessOrder().front(), 0, 0, &value, &size), "AioPutParam");
    if (AioFlush(file.handle()) != AIO_OK) state.SkipWithError("AioFlush");
  }
}

void flushSqlite(benchmark::State& state) {
  const peers::Sqlite database(samplePath("flush.sqlite"));
  database.run("PRAGMA synchronous=EXTRA");
  database.run("DROP TABLE IF EXISTS value");
  database.makeTable(headerCodes());
  const auto update = database.prepare("UPDATE value SET value=? WHERE code=? AND record=0 AND entry=0");
  double value = 1;
  for (auto _ : state) {
    value += 1;
    sqlite3_bind_double(update.get(), 1, value);
    sqlite3_bind_int64(update.get(), 2, accessOrder().front());
    if (sqlite3_step(update.get()) != SQLITE_DONE) state.SkipWithError("update");
    sqlite3_reset(update.get());
  }
}

// ---- open -----------------------------------------------------------------------------------------------------

void openOurs(benchmark::State& state) {
  for (auto _ : state) {
    const OpenFile file(samplefile(), AIO_READ_ONLY);
    double value = 0;
    USHORT size = sizeof value;
    require(AioGetParam(file.handle(), accessOrder().front(), 0, 0, &value, &size), "AioGetParam");
    benchmark::DoNotOptimize(value);
  }
}

void openSqlite(benchmark::State& state) {
  for (auto _ : state) {
    const peers::Sqlite database(samplefile());
    const auto select = database.prepare("SELECT value FROM value WHERE class=? AND record=0 AND entry=0 AND code=?");
    sqlite3_bind_int64(select.get(), 1, accessOrder().front() >> 16);
    sqlite3_bind_int64(select.get(), 2, accessOrder().front());
    if (sqlite3_step(select.get()) != SQLITE_ROW) state.SkipWithError("select");
    double value = sqlite3_column_double(select.get(), 0);
    benchmark::DoNotOptimize(value);
  }
}

// ---- spectrum -------------------------------------------------------------------------------------------------

void spectrumOurs(benchmark::State& state) {
  const OpenFile file(samplefile(), AIO_READ_ONLY);
  std::vector<LONG> counts(kChannels);
  for (auto _ : state) {
    if (AioReadSpectrum2(file.handle(), counts.data(), AIO_FORMAT_LONG, kChannels, 1, 1, 1) != AIO_OK)
      state.SkipWithError("AioReadSpectrum2");
    benchmark::DoNotOptimize(counts.data());
    benchmark::ClobberMemory();
  }
}

void spectrumMemcpy(benchmark::State& state) {
  const std::vector<LONG> source(kChannels, 7);
  std::vector<LONG> counts(kChannels);
  for (auto _ : state) {
    std::memcpy(counts.data(), source.data(), kChannels * sizeof(LONG));
    benchmark::DoNotOptimize(counts.data());
    benchmark::ClobberMemory();
  }
}

// ---- a large table --------------------------------------------------------------------------------------------

double touchAll(void* handle) {
  double sum = 0;
  for (unsigned record = 1; record <= kLibraryRecords; ++record) {
    for (const ULONG code : kLineCodes) {
      double value = 0;
      USHORT size = sizeof value;
      require(AioGetParam(handle, code, static_cast<USHORT>(record), 0, &value, &size), "AioGetParam");
      sum += value;
    }
  }
  return sum;
}

void libraryOurs(benchmark::State& state) {
  for (auto _ : state) {
    const OpenFile file(libraryFile(), AIO_READ_ONLY);
    double sum = touchAll(file.handle());
    benchmark::DoNotOptimize(sum);
  }
}

void librarySqlite(benchmark::State& state) {
  for (auto _ : state) {
    const peers::Sqlite database(libraryFile());
    const auto select =
        database.prepare("SELECT record,entry,code,type,value FROM value ORDER BY class,record,entry,code");
    double sum = 0;
    std::int64_t keys = 0;
    while (sqlite3_step(select.get()) == SQLITE_ROW) {
      for (int column = 0; column < 4; ++column) keys += sqlite3_column_int64(select.get(), column);
      sum += sqlite3_column_double(select.get(), 4);
    }
    benchmark::DoNotOptimize(sum);
    benchmark::DoNotOptimize(keys);
  }
}

/// Insertion and deletion by turns, so that the table keeps its size.
void insertAtFront(benchmark::State& state) {
  const OpenFile file(libraryFile(), AIO_READ_WRITE);
  touchAll(file.handle());
  for (auto _ : state) {
    if (AioInsertRecord(file.handle(), ORB_CLS_NUCLIB, 0) != AIO_OK) state.SkipWithError("AioInsertRecord");
    state.PauseTiming();
    require(AioDelete(file.handle(), ORB_CLS_NUCLIB, 1, 0), "AioDelete");
    state.ResumeTiming();
  }
}

// ---- threads --------------------------------------------------------------------------------------------------

/// Gets per second of `n` threads, each with a file of its own, over a fixed number of gets a thread.
/// What a reader that watches a file pays for every look.
void lookOurs(benchmark::State& state) {
  const OpenFile file(samplefile(), AIO_READ_ONLY);
  for (auto _ : state) {
    ULONGLONG number = 0;
    if (AioGetState(file.handle(), &number) != AIO_OK) state.SkipWithError("AioGetState");
    benchmark::DoNotOptimize(number);
  }
}

void getWithThreads(benchmark::State& state, unsigned n) {
  constexpr unsigned kGets = 8000000;  // long enough for the scheduler to give each thread a core
  const auto work = [](void* handle) {
    double value = 0;
    for (unsigned i = 0; i < kGets; ++i) {
      USHORT size = sizeof value;
      AioGetParam(handle, accessOrder()[i % accessOrder().size()], 0, 0, &value, &size);
      benchmark::DoNotOptimize(value);
    }
  };
  std::vector<std::unique_ptr<OpenFile>> files;
  for (unsigned i = 0; i < n; ++i) {
    files.push_back(std::make_unique<OpenFile>(samplefile(), AIO_READ_ONLY));
    work(files.back()->handle());
  }
  for (auto _ : state) {
    std::vector<std::thread> threads;
    std::atomic<unsigned> ready{0};
    std::atomic<bool> go{false};
    for (unsigned i = 0; i < n; ++i) {
      threads.emplace_back([&, i] {
        ++ready;
        while (!go) std::this_thread::yield();
        work(files[i]->handle());
      });
    }
    while (ready != n) std::this_thread::yield();
    const auto start = std::chrono::steady_clock::now();
    go = true;
    for (std::thread& thread : threads) thread.join();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(elapsed.count() / n);  // per thread's worth of work
  }
}

}  // namespace

std::vector<Comparison> serviceSuite() {
  const auto add = [](const char* name, void (*function)(benchmark::State&)) {
    return benchmark::RegisterBenchmark(name, function)->UseRealTime();
  };
  add("get", getOurs);
  add("get.sqlite", getSqlite);
  add("get.lmdb", getLmdb);
  add("get.hdf5", getHdf5);
  add("put", putOurs);
  add("put.sqlite", putSqlite);
  add("flush", flushOurs);
  add("flush.sqlite", flushSqlite);
  add("open", openOurs);
  add("open.sqlite", openSqlite);
  add("spectrum", spectrumOurs);
  add("spectrum.memcpy", spectrumMemcpy);
  add("library", libraryOurs)->Unit(benchmark::kNanosecond);
  add("library.sqlite", librarySqlite);
  add("look", lookOurs);
  add("insert", insertAtFront)->Iterations(2000);
  benchmark::RegisterBenchmark("two_threads", [](benchmark::State& state) {
    getWithThreads(state, 2);
  })->UseManualTime();
  benchmark::RegisterBenchmark("one_thread", [](benchmark::State& state) {
    getWithThreads(state, 1);
  })->UseManualTime();
  return {
      {"get one value", "get", "SQLite point select", "get.sqlite", 0.12},
      {"get one value", "get", "LMDB get", "get.lmdb", 0.5},
      {"get one value", "get", "HDF5 attribute", "get.hdf5", 0.06},
      {"put one value", "put", "SQLite update", "put.sqlite", 0.12},
      {"flush one changed value", "flush", "SQLite transaction", "flush.sqlite", 1.3},
      {"open, read one value, close", "open", "SQLite open, select, close", "open.sqlite", 2},
      {"read a 16384-channel spectrum", "spectrum", "memcpy", "spectrum.memcpy", 2.5},
      {"open and touch 50000 x 6 values", "library", "SQLite read of the rows", "library.sqlite", 1.5},
      {"look whether somebody has flushed", "look", "limit 2 us", nullptr, 1, 2000},
      {"insert at the front of 50000 records", "insert", "limit 20 us", nullptr, 1, 20000},
      {"memory for a value of 50000 x 6 [bytes]", "memory", "limit 64 bytes", nullptr, 1, 64},
      {"two threads on two files, per work", "two_threads", "one thread", "one_thread", 1 / 1.9},
  };
}

void measureServiceOnce(RatioReport& report) {
  if (!report.hasRun("library")) return;
  const OpenFile file(libraryFile(), AIO_READ_ONLY);
  const std::size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
  touchAll(file.handle());
  const std::size_t after = mallinfo2().uordblks + mallinfo2().hblkhd;
  report.set("memory", static_cast<double>(after - before) / (kLibraryRecords * std::size(kLineCodes)));
}
