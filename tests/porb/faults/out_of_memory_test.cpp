// Memory runs out at every single allocation of an operation, once or from then on: those of the service, and those
// that SQLite makes for it. Each time the operation answers so, nothing has changed, and trying again succeeds.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <new>

#include "fault_support.h"
#include "fault_vfs.h"

namespace {

enum class Source { Cpp, Sqlite };

/// What is to fail; nothing while countdown is 0.
struct Shortage {
  Source source = Source::Cpp;
  int countdown = 0;
  bool onwards = false;
  bool hit = false;
} shortage;

bool fails(Source source) noexcept {
  if (shortage.countdown == 0 || shortage.source != source) return false;
  if (shortage.countdown > 1) {
    --shortage.countdown;
    return false;
  }
  if (shortage.hit && !shortage.onwards) return false;
  shortage.hit = true;
  return true;
}

void* allocate(std::size_t n) noexcept {
  return fails(Source::Cpp) ? nullptr : std::malloc(n == 0 ? 1 : n);
}

void* allocateOrThrow(std::size_t n) {
  void* memory = allocate(n);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

// Not inlined: the compiler would take a free() that meets the result of new for a mistake.
[[gnu::noinline]] void* operator new(std::size_t n) {
  return allocateOrThrow(n);
}
[[gnu::noinline]] void* operator new[](std::size_t n) {
  return allocateOrThrow(n);
}
[[gnu::noinline]] void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
  return allocate(n);
}
[[gnu::noinline]] void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
  return allocate(n);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete[](void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

using namespace faults;

sqlite3_mem_methods sqlite_memory;

void* sqliteMalloc(int n) {
  return fails(Source::Sqlite) ? nullptr : sqlite_memory.xMalloc(n);
}
void* sqliteRealloc(void* memory, int n) {
  return fails(Source::Sqlite) ? nullptr : sqlite_memory.xRealloc(memory, n);
}

/// Before SQLite is used for the first time. Without its pools, so that every allocation is met.
const bool kSqliteMemoryIsOurs = [] {
  sqlite3_config(SQLITE_CONFIG_GETMALLOC, &sqlite_memory);
  sqlite3_mem_methods counting = sqlite_memory;
  counting.xMalloc = sqliteMalloc;
  counting.xRealloc = sqliteRealloc;
  return sqlite3_config(SQLITE_CONFIG_MALLOC, &counting) == SQLITE_OK &&
         sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0) == SQLITE_OK;
}();

/// The files that an operation works on.
struct Bench {
  ScratchDir dir;
  File file;    // state A, open for writing
  File source;  // state B, for copies
  File made;    // by the operation
  const std::string path = dir / "file";
  const std::string made_path = dir / "made";
};

struct Operation {
  const char* name;
  std::function<ULONG(Bench&)> run;
  bool reads_disk = false;  // blocks are not read before, SQLite is at work
  bool changes = true;      // something, that is
  /// What is to be looked at, or done, when there is memory again.
  std::function<void(Bench&, ULONG)> after = [](Bench&, ULONG) {};
};

void PrintTo(const Operation& operation, std::ostream* out) {
  *out << operation.name;
}

const LONG kChannels[1024] = {1, 2, 3};
const std::string kLongText(600, 'x');
const std::string kIdentifier(60, 'i');

const Operation kOperations[] = {
    {"PutNewValue", [](Bench& b) { return put(b.file, 0x20000003, 0, 0, 1.0); }},
    {"PutNewText", [](Bench& b) { return put(b.file, 0x20000000, 0, 0, kIdentifier); }},
    {"PutLongerText", [](Bench& b) { return put(b.file, 0x2010006F, 1, 0, kLongText); }},
    {"PutManyValues",
     [](Bench& b) {
       // The row becomes long enough to be indexed; each put is all or nothing by itself.
       for (ULONG code = 0x20060006; code <= 0x2006000D; ++code)
         if (const ULONG status = put(b.file, code, 1, 0, 1.0)) return status;
       return ULONG{AIO_OK};
     }},
    {"AppendRecord", [](Bench& b) { return put(b.file, 0x20060007, 31, 0, 1.0); }},
    {"AppendEntry", [](Bench& b) { return put(b.file, 0x20080020, 1, 3, 1.0); }},
    {"FirstEntry", [](Bench& b) { return put(b.file, 0x20060071, 7, 1, 1.0); }},
    {"PutIntoMissingBlock", [](Bench& b) { return put(b.file, 0x20070001, 1, 0, "Na-22 or longer"); }},
    {"InsertRecord", [](Bench& b) { return AioInsertRecord(b.file, ORB_CLS_PEAKS, 3); }},
    {"InsertEntry", [](Bench& b) { return AioInsertEntry(b.file, ORB_CLS_NUCRESULTS, 2, 1); }},
    {"DeleteRecord", [](Bench& b) { return AioDelete(b.file, ORB_CLS_PEAKS, 4, 0); }},
    {"DeleteEntry", [](Bench& b) { return AioDelete(b.file, ORB_CLS_NUCRESULTS, 2, 1); }},
    {"CreateBlock", [](Bench& b) { return AioCreateBlock(b.file, ORB_CLS_NUCLIB, 5); }},
    {"DeleteBlock", [](Bench& b) { return AioDeleteBlock(b.file, ORB_CLS_PEAKS); }},
    {"DeleteLevel", [](Bench& b) { return AioDeleteLevel(b.file, AIO_LEVEL_PEAKS); }},
    {"Copy", [](Bench& b) { return AioCopy(b.source, b.file, ORB_CLS_NUCRESULTS); }},
    {"CopySpectra", [](Bench& b) { return AioCopy(b.source, b.file, ORB_CLS_SPECTRUM); }},
    {"RestoreBlock",
     [](Bench& b) {
       AioKeptBlock_T* kept = nullptr;
       ULONG status = AioKeepBlock(b.source, ORB_CLS_NUCRESULTS, &kept);
       if (status == AIO_OK) status = AioRestoreBlock(b.file, kept);
       AioFreeKeptBlock(kept);
       return status;
     }},
    {"DupFile", [](Bench& b) { return AioDupFile(b.source, b.file); }},
    {"MoveRecord", [](Bench& b) { return AioMoveRecord(ORB_CLS_NUCRESULTS, b.source, 3, b.file, 1); }},
    {"MoveRecordBehind", [](Bench& b) { return AioMoveRecord(ORB_CLS_NUCRESULTS, b.source, 3, b.file, 4); }},
    {"WriteSpectrum", [](Bench& b) { return AioWriteSpectrum2(b.file, kChannels, AIO_FORMAT_LONG, 1024, 1, 2, 1); }},
    {"ListBlocks",
     [](Bench& b) {
       AioBlockInfo_T blocks[32];
       ULONG n = 0;
       return AioListBlocks(b.file, blocks, 32, &n);
     },
     true, false},
    {"ListSpectra",
     [](Bench& b) {
       AioSpectrumInfo_T spectra[8];
       ULONG n = 0;
       return AioListSpectra(b.file, spectra, 8, &n);
     },
     true, false},
    {"FirstTouch",
     [](Bench& b) {
       LONG value = 0;
       const ULONG status = get(b.file, 0x2006001E, 1, 0, value);
       if (status == AIO_OK) {
         EXPECT_EQ(value, 1100);
       }
       return status;
     },
     true, false},
    {"FirstTouchByPut", [](Bench& b) { return put(b.file, 0x20080001, 2, 0, "a nuclide"); }, true},
    {"Check", [](Bench& b) { return AioCheck(b.file, nullptr, nullptr); }, true, false},
    {"Open", [](Bench& b) { return AioOpen2(b.made.out(), b.path.c_str(), AIO_READ_ONLY, 0, 0); }, true, false,
     [](Bench& b, ULONG status) { EXPECT_EQ(status == AIO_OK, static_cast<void*>(b.made) != nullptr); }},
    {"OpenForWriting",
     [](Bench& b) {
       b.file.close();
       return AioOpen2(b.file.out(), b.path.c_str(), AIO_READ_WRITE, 0, 0);
     },
     true, false, [](Bench& b, ULONG status) { EXPECT_EQ(status == AIO_OK, static_cast<void*>(b.file) != nullptr); }},
    {"Create", [](Bench& b) { return AioCreate(b.made.out(), b.made_path.c_str(), 0, nullptr, nullptr, nullptr); },
     true, false,
     [](Bench& b, ULONG status) {
       if (status == AIO_OK) return;
       EXPECT_EQ(namesIn(b.dir.path()), "file file-lock");
       std::remove(b.made_path.c_str());  // so that the next attempt tells its own story
     }},
    {"Flush", [](Bench& b) { return AioFlush(b.file); }, true},
    {"CloseWithFlush", [](Bench& b) { return AioClose2(b.file, AIO_CLOSE_FLUSH); }, true, true,
     [](Bench& b, ULONG status) {
       // The handle is gone in any case, and what could not be flushed with it.
       EXPECT_EQ(AioIsOpen(b.file), 0);
       EXPECT_EQ(nameOf(AioOpen2(b.file.out(), b.path.c_str(), AIO_READ_WRITE, 0, 0)), "AIO_OK");
       if (status == AIO_OK) return;
       EXPECT_EQ(difference(contentOf(static_cast<void*>(b.file)), states().a), "");
       writeStateB(b.file);
     }},
};

/// Sanitizers make every attempt several times slower; there the points of SQLite are sampled.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kSqliteStride = 5;
#else
constexpr int kSqliteStride = 1;
#endif

class OutOfMemory : public testing::TestWithParam<Operation> {
 protected:
  static void SetUpTestSuite() {
    ASSERT_TRUE(kSqliteMemoryIsOurs);
    installFaultVfs();
    states();
  }

  static bool isNamed(const char* name) { return std::string(GetParam().name) == name; }

  static void prepare(Bench& bench) {
    writeBytes(bench.path, states().file_a);
    if (!GetParam().reads_disk) {
      writeBytes(bench.dir / "source", states().file_b);
      AioOpen2(bench.source.out(), (bench.dir / "source").c_str(), AIO_READ_ONLY, 0, 0);
    }
    AioOpen2(bench.file.out(), bench.path.c_str(), AIO_READ_WRITE, 0, 0);
    if (!GetParam().reads_disk || flushes()) contentOf(static_cast<void*>(bench.file));
    if (flushes()) writeStateB(bench.file);
  }

  static bool flushes() { return isNamed("Flush") || isNamed("CloseWithFlush"); }

  /// @param gives_up  after a failure the operation is not tried again: a flush must then find nothing to write
  /// @return false when the shortage was not met any more
  static bool attempt(Source source, bool onwards, bool gives_up, int at, const Content& after) {
    Bench bench;
    prepare(bench);
    const Content& before = flushes() ? states().b : states().a;
    shortage = {source, at, onwards, false};
    const ULONG status = GetParam().run(bench);
    const bool hit = shortage.hit;
    shortage = {};
    GetParam().after(bench, status);
    EXPECT_TRUE(status == AIO_OK || (hit && status == AIO_NOMEMORY)) << nameOf(status);
    if (status != AIO_OK) {
      if (static_cast<void*>(bench.file) != nullptr && !isNamed("PutManyValues")) {
        EXPECT_EQ(difference(contentOf(static_cast<void*>(bench.file)), before), "");
      }
      if (!gives_up) {
        const ULONG again = GetParam().run(bench);
        EXPECT_EQ(nameOf(again), "AIO_OK");
        GetParam().after(bench, again);
      }
    }
    const Content& expected = gives_up && status != AIO_OK ? before : after;
    EXPECT_EQ(difference(contentOf(static_cast<void*>(bench.file)), expected), "");
    EXPECT_EQ(nameOf(AioFlush(bench.file)), "AIO_OK");
    bench.file.close();
    if (GetParam().changes) {
      const File again(bench.path);
      EXPECT_EQ(nameOf(AioCheck(again, nullptr, nullptr)), "AIO_OK");
      EXPECT_EQ(difference(contentOf(static_cast<void*>(again)), expected), "");
    } else {
      EXPECT_TRUE(readBytes(bench.path) == states().file_a);
    }
    return hit;
  }
};

INSTANTIATE_TEST_SUITE_P(Operations, OutOfMemory, testing::ValuesIn(kOperations),
                         [](const auto& operation) { return std::string(operation.param.name); });

TEST_P(OutOfMemory, ChangesNothingAndCanBeTriedAgain) {
  Content expected = states().a;
  {
    Bench bench;
    prepare(bench);
    const ULONG status = GetParam().run(bench);
    ASSERT_EQ(nameOf(status), "AIO_OK");
    GetParam().after(bench, status);
    expected = contentOf(static_cast<void*>(bench.file));
    ASSERT_EQ(difference(expected, states().a).empty(), !GetParam().changes);
  }
  int points[2] = {};
  const auto moveThrough = [&](Source source, bool onwards, bool gives_up) {
    const int stride = kStride * (source == Source::Sqlite ? kSqliteStride : 1);
    int at = 1;
    for (; at < 20000 && !HasFailure(); at += stride) {
      SCOPED_TRACE(std::string(source == Source::Cpp ? "new" : "malloc of SQLite") + (onwards ? " from " : " ") +
                   std::to_string(at) + (gives_up ? ", given up" : ""));
      if (!attempt(source, onwards, gives_up, at, expected)) return;
      ++points[static_cast<int>(source)];
    }
    EXPECT_LT(at, 20000);
  };
  for (const bool onwards : {false, true}) {
    moveThrough(Source::Cpp, onwards, false);
    const bool can_give_up = GetParam().changes && !flushes() && !isNamed("PutManyValues");
    if (can_give_up) moveThrough(Source::Cpp, onwards, true);
    if (GetParam().reads_disk) moveThrough(Source::Sqlite, onwards, false);
  }
  std::cout << "[   points ] " << GetParam().name << ": " << points[0] << " new, " << points[1]
            << " malloc of SQLite\n";
}

/// A dictionary is read once; a failed reading must not be remembered.
TEST(OutOfMemoryFirstUse, DictionaryIsReadAtTheNextCall) {
  const ScratchDir dir;
  int points = 0;
  for (const bool onwards : {false, true}) {
    bool hit = true;
    for (int at = 1; hit && at < 5000; ++at) {
      SCOPED_TRACE(at);
      const std::string path = dir / ("dictionary-" + std::to_string(points++) + ".dat");
      writeBytes(path,
                 "orbdb 1\nclass 0x2000 Acquisition and a lot of words about it\n"
                 "0x20000002 | ORB_T_CTITLE | header | text | 128 | text | 128 | - | - | Title\n"
                 "0x20060007 | ORB_D_PKENERGY | record | real8 | 8 | real8 | 8 | - | keV | Energy\n");
      setenv("ORBDB", path.c_str(), 1);
      ULONG code = 0;
      char name[AIO_DESCRIPTION_LENGTH];
      shortage = {Source::Cpp, at, onwards, false};
      const ULONG status = AioUtilPname2Code("ORB_D_PKENERGY", name, &code);
      hit = shortage.hit;
      shortage = {};
      EXPECT_EQ(nameOf(status), hit ? "AIO_NOMEMORY" : "AIO_OK");
      EXPECT_EQ(nameOf(AioUtilPname2Code("ORB_D_PKENERGY", name, &code)), "AIO_OK");
      EXPECT_EQ(code, 0x20060007u);
    }
  }
  EXPECT_GT(points, 20);
  unsetenv("ORBDB");
}

}  // namespace
