// Files that are damaged, foreign or contradict themselves. Each gets its own status, what is still good stays
// readable, no wrong value passes for a right one, and looking at a file does not change it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <iostream>
#include <random>

#include "fault_support.h"
#include "sqlite_query.h"

using namespace faults;
using orbtest::runSql;

namespace {

constexpr ULONG kAccesses[] = {AIO_READ_ONLY, AIO_READ_WRITE};

class BadFile : public testing::Test {
 protected:
  /// Opening gives this status, and nothing happens to the folder.
  void expectRefused(ULONG status) {
    const std::string names = namesIn(dir_.path());
    for (const ULONG access : kAccesses) {
      void* handle = this;
      EXPECT_EQ(nameOf(AioOpen2(&handle, path_.c_str(), access, 0, 0)), nameOf(status));
      EXPECT_EQ(handle, nullptr);
      if (handle != nullptr) AioClose2(handle, AIO_CLOSE_NOFLUSH);
      EXPECT_EQ(namesIn(dir_.path()), names);
    }
  }
  void expectBytesRefused(const std::string& bytes, ULONG status) {
    writeBytes(path_, bytes);
    expectRefused(status);
    EXPECT_TRUE(readBytes(path_) == bytes);
  }

  ScratchDir dir_;
  const std::string path_ = dir_ / "file";
  std::mt19937 random_{271828};
};

std::string randomBytes(std::mt19937& random, std::size_t n) {
  std::string bytes(n, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

TEST_F(BadFile, TruncatedAtEverySector) {
  const std::string& whole = states().file_b;
  expectBytesRefused("", AIO_EMPTYFILE);
  for (std::size_t size = 512; size < whole.size(); size += 512) {
    SCOPED_TRACE(size);
    expectBytesRefused(whole.substr(0, size), AIO_TRUNCATED);
    if (HasFailure()) return;
  }
  for (const std::size_t size : {1u, 15u, 16u, 60u, 99u}) {
    SCOPED_TRACE(size);
    writeBytes(path_, whole.substr(0, size));
    EXPECT_NE(AIO_OK, contentOf(path_).status);
  }
  std::cout << "[   points ] " << whole.size() / 512 << " lengths\n";
}

TEST_F(BadFile, RandomBytes) {
  for (const std::size_t size : {1u, 50u, 100u, 511u, 512u, 4096u, 70000u}) {
    SCOPED_TRACE(size);
    expectBytesRefused(randomBytes(random_, size), AIO_NOTADATABASE);
    // With our own head before it, SQLite has to find out.
    const std::string head = states().file_b.substr(0, 100) + randomBytes(random_, size);
    writeBytes(path_, head + std::string(states().file_b.size(), '\0'));
    EXPECT_NE(AIO_OK, contentOf(path_).status);
  }
}

/// Looks at a damaged file: opened or refused, each block is right or refused.
void expectNoWrongValue(const std::string& path, bool also_check, int& refused) {
  const File file(path, AIO_READ_ONLY);
  EXPECT_EQ(file.status() == AIO_OK, static_cast<void*>(file) != nullptr);
  if (file.status() != AIO_OK) {
    EXPECT_NE(nameOf(file.status()), "AIO_INTERNAL");
    ++refused;
    return;
  }
  const Content content = contentOf(static_cast<void*>(file));
  EXPECT_EQ(wrongValues(content, states().b), "");
  const bool is_whole = difference(content, states().b).empty();
  refused += is_whole ? 0 : 1;
  if (!is_whole || also_check) {
    const ULONG status = AioCheck(file, nullptr, nullptr);
    if (!is_whole) {
      EXPECT_NE(status, ULONG{AIO_OK});
    }
    EXPECT_NE(nameOf(status), "AIO_INTERNAL");
  }
}

TEST_F(BadFile, FlippedBytesNeverGiveWrongValues) {
  const std::string& whole = states().file_b;
  constexpr std::size_t kPage = 4096;
  constexpr std::size_t kPageHead = 16;
  struct Flip {
    std::size_t byte;
    unsigned bit;
  };
  std::vector<Flip> flips;  // every bit where most depends on it, and some anywhere
  for (std::size_t at = 0; at < whole.size(); ++at)
    if (at < 108 || at % kPage < kPageHead)
      for (unsigned bit = 0; bit < 8; ++bit) flips.push_back({at, bit});
  const std::size_t n_in_heads = flips.size();
  for (int i = 0; i < 4000; ++i) flips.push_back({random_() % whole.size(), static_cast<unsigned>(random_() % 8)});

  int refused = 0;
  int wrong = 0;
  for (std::size_t i = 0; i < flips.size() && wrong < 400; i += kStride) {
    SCOPED_TRACE("bit " + std::to_string(flips[i].bit) + " of byte " + std::to_string(flips[i].byte % kPage) +
                 " of page " + std::to_string(flips[i].byte / kPage + 1));
    std::string damaged = whole;
    damaged[flips[i].byte] = static_cast<char>(damaged[flips[i].byte] ^ (1 << flips[i].bit));
    writeBytes(path_, damaged);
    expectNoWrongValue(path_, i % 8 == 0, refused);
    // A file that says to be in write-ahead mode may get the files that belong to that mode, but not for long.
    EXPECT_EQ(namesIn(dir_.path()), "file");
    EXPECT_TRUE(readBytes(path_) == damaged);
    wrong += HasFailure() ? 1 : 0;
  }
  std::cout << "[   points ] " << flips.size() << " flips, " << n_in_heads << " of them in heads of pages, " << refused
            << " noticed\n";
  EXPECT_GT(refused, 2000 / kStride);
}

// ---- Whole databases that are not ours, or not as they should be --------------------------------------------------

struct OtherFile {
  const char* name;
  const char* sql;  // run on state B
  ULONG status;     // of opening
};

const OtherFile kOtherFiles[] = {
    {"NewerFormat", "PRAGMA user_version=2", AIO_NEWERFORMAT},
    {"MuchNewerFormat", "PRAGMA user_version=2147483647", AIO_NEWERFORMAT},
    {"NoVersion", "PRAGMA user_version=0", AIO_FOREIGN},
    {"NegativeVersion", "PRAGMA user_version=-1", AIO_FOREIGN},
    {"OtherApplication", "PRAGMA application_id=1", AIO_FOREIGN},
    {"MissingTable", "DROP VIEW parameter; DROP TABLE name", AIO_BADCONTENT},
    {"MoreColumns", "ALTER TABLE value ADD COLUMN more", AIO_BADCONTENT},
    {"ViewForTable",
     "DROP VIEW parameter; ALTER TABLE value RENAME TO hidden; CREATE VIEW value AS SELECT * FROM hidden",
     AIO_BADCONTENT},
    {"VirtualTableForTable",
     "DROP VIEW parameter; DROP TABLE value; "
     "CREATE VIRTUAL TABLE value USING rtree(class,least,most)",
     AIO_BADCONTENT},
    {"ClassTooLarge", "UPDATE block SET class=70000 WHERE class=8192", AIO_BADCONTENT},
    {"ClassNegative", "UPDATE block SET class=-2 WHERE class=8192", AIO_BADCONTENT},
    {"SizeHuge", "UPDATE block SET size=9223372036854775807 WHERE class=8192", AIO_BADCONTENT},
    {"SizeIsText", "UPDATE block SET size='many' WHERE class=8192", AIO_BADCONTENT},
    {"WorkingEntriesHuge", "UPDATE block SET entries=4294967296 WHERE class=8192", AIO_BADCONTENT},
    {"ChannelsHuge", "UPDATE block SET channels_n=1<<40 WHERE class=8197", AIO_BADCONTENT},
    {"ChannelsNegative", "UPDATE block SET channels_n=-1 WHERE class=8197", AIO_BADCONTENT},
};

TEST_F(BadFile, OtherDatabasesAreRefusedWithTheirStatus) {
  for (const OtherFile& c : kOtherFiles) {
    SCOPED_TRACE(c.name);
    writeBytes(path_, states().file_b);
    runSql(path_, c.sql);
    const std::string bytes = readBytes(path_);
    expectRefused(c.status);
    EXPECT_TRUE(readBytes(path_) == bytes);
  }
}

TEST_F(BadFile, DatabasesOfOthers) {
  runSql(path_, "CREATE TABLE t(a); INSERT INTO t VALUES(1)");
  expectRefused(AIO_FOREIGN);
  std::remove(path_.c_str());
  runSql(path_, "PRAGMA application_id=0x4F524244; PRAGMA user_version=1; CREATE TABLE block(a,b)");
  expectRefused(AIO_BADCONTENT);
}

// ---- Rows that contradict each other ------------------------------------------------------------------------------

struct Contradiction {
  const char* name;
  const char* sql;  // run on state B
  USHORT cls;       // the block that is refused
  ULONG status = AIO_BADCONTENT;
};

const Contradiction kContradictions[] = {
    {"ValueWithoutRecord", "INSERT INTO value VALUES(8198,4000,0,8198*65536+7,192,1.0)", ORB_CLS_PEAKS},
    {"ValueChanged",
     "UPDATE value SET value=value+1 WHERE code=8198*65536+7 AND record=(SELECT min(id) FROM record "
     "WHERE class=8198)",
     ORB_CLS_PEAKS},
    {"ValueMissing", "DELETE FROM value WHERE code=8192*65536+2", ORB_CLS_ACQUISITION},
    {"ValueAdded", "INSERT INTO value VALUES(8192,0,0,8192*65536+5,24,'x')", ORB_CLS_ACQUISITION},
    {"LastValuesMissing", "DELETE FROM value WHERE class=8192", ORB_CLS_ACQUISITION},
    {"TextChanged", "UPDATE value SET value='Forged' WHERE code=8192*65536+2", ORB_CLS_ACQUISITION},
    {"TextWithNul", "UPDATE value SET value=CAST(x'410042' AS TEXT) WHERE code=8192*65536+2", ORB_CLS_ACQUISITION},
    {"TextTooLong", "UPDATE value SET value=printf('%.*c',70000,'x') WHERE code=8192*65536+2", ORB_CLS_ACQUISITION},
    {"TextInInteger", "UPDATE value SET value='12' WHERE code=8198*65536+30", ORB_CLS_PEAKS},
    {"IntegerInReal", "UPDATE value SET value=12 WHERE code=8192*65536+3", ORB_CLS_ACQUISITION},
    {"IntegerInText", "UPDATE value SET value=12 WHERE code=8192*65536+2", ORB_CLS_ACQUISITION},
    {"NullValue", "UPDATE value SET value=NULL WHERE code=8192*65536+2", ORB_CLS_ACQUISITION},
    {"BlobOfWrongLength", "UPDATE value SET value=x'0102' WHERE code=8192*65536+3", ORB_CLS_ACQUISITION},
    {"IntegerTooLarge", "UPDATE value SET value=1<<40 WHERE code=8198*65536+30", ORB_CLS_PEAKS},
    {"OtherType", "UPDATE value SET type=27 WHERE code=8198*65536+7", ORB_CLS_PEAKS},
    {"MeaninglessType", "UPDATE value SET type=99 WHERE code=8198*65536+7", ORB_CLS_PEAKS},
    {"HugeType", "UPDATE value SET type=192+(1<<32) WHERE code=8198*65536+7", ORB_CLS_PEAKS},
    {"CodeOfOtherClass", "UPDATE value SET code=code+65536 WHERE class=8192", ORB_CLS_ACQUISITION},
    {"HugeCode", "UPDATE value SET code=code+(1<<48) WHERE class=8192", ORB_CLS_ACQUISITION},
    {"RecordKeyIsText", "UPDATE value SET record='zero' WHERE class=8192", ORB_CLS_ACQUISITION},
    {"EntryIsFraction", "UPDATE value SET entry=entry+0.5 WHERE class=8200 AND entry=1", ORB_CLS_NUCRESULTS},
    {"EntryBeyondCount", "INSERT INTO value VALUES(8200,1,4000,8200*65536+32,192,1.0)", ORB_CLS_NUCRESULTS},
    {"EntryNegative", "UPDATE value SET entry=-entry WHERE class=8200 AND entry=1", ORB_CLS_NUCRESULTS},
    {"EntryCountChanged", "UPDATE record SET entries=entries+1 WHERE class=8200", ORB_CLS_NUCRESULTS},
    {"EntryCountHuge", "UPDATE record SET entries=1<<33 WHERE class=8200", ORB_CLS_NUCRESULTS},
    {"WorkingEntriesChanged", "UPDATE block SET entries=2 WHERE class=8200", ORB_CLS_NUCRESULTS},
    {"RankTwice", "UPDATE record SET rank=5 WHERE class=8198", ORB_CLS_PEAKS},
    {"RanksExchanged", "UPDATE record SET rank=-rank WHERE class=8198", ORB_CLS_PEAKS},
    {"RankIsText", "UPDATE record SET rank='first' WHERE class=8200 AND id=1", ORB_CLS_NUCRESULTS},
    {"RecordWithoutValues", "INSERT INTO record VALUES(8198,4000,1,0)", ORB_CLS_PEAKS},
    {"RecordMissing", "DELETE FROM record WHERE class=8198 AND rank=(SELECT max(rank) FROM record WHERE class=8198)",
     ORB_CLS_PEAKS},
    {"RecordMissingWithItsValues",
     "DELETE FROM value WHERE class=8200 AND record=2; DELETE FROM record WHERE class=8200 AND id=2",
     ORB_CLS_NUCRESULTS},
    {"RecordIdHuge", "UPDATE record SET id=id+(1<<32) WHERE class=8200", ORB_CLS_NUCRESULTS},
    {"RecordIdZero", "UPDATE record SET id=0 WHERE class=8200 AND id=1", ORB_CLS_NUCRESULTS},
    {"ChecksumChanged", "UPDATE block SET checksum=checksum+1 WHERE class=8198", ORB_CLS_PEAKS},
    {"ChecksumIsText", "UPDATE block SET checksum='sum' WHERE class=8198", ORB_CLS_PEAKS},
    {"SizeChanged", "UPDATE block SET size=size+1 WHERE class=8193", ORB_CLS_SAMPLE},
    {"ShapeOfPlainBlock", "UPDATE block SET groups_n=7,rows_n=2,channels_n=9 WHERE class=8192", ORB_CLS_ACQUISITION},
    {"NoGroups", "UPDATE block SET groups_n=0 WHERE class=8197", ORB_CLS_SPECTRUM},
    {"ShapeChanged", "UPDATE block SET groups_n=groups_n+1 WHERE class=8197", ORB_CLS_SPECTRUM},
    {"ChannelsChanged", "UPDATE block SET channels_n=channels_n*2 WHERE class=8197", ORB_CLS_SPECTRUM},
    {"SpectrumTooShort", "UPDATE spectrum SET channels=substr(channels,5) WHERE row_no=1", ORB_CLS_SPECTRUM},
    {"SpectrumIsText", "UPDATE spectrum SET channels='abc' WHERE row_no=1", ORB_CLS_SPECTRUM},
    {"SpectrumChanged", "UPDATE spectrum SET channels=zeroblob(4096) WHERE row_no=1", ORB_CLS_SPECTRUM},
    {"SpectrumFormatChanged", "UPDATE spectrum SET format=1-format", ORB_CLS_SPECTRUM},
    {"SpectrumFormatUnknown", "UPDATE spectrum SET format=2", ORB_CLS_SPECTRUM},
    {"SpectrumOutside", "UPDATE spectrum SET group_no=99 WHERE group_no=2", ORB_CLS_SPECTRUM},
    {"SpectrumMissing", "DELETE FROM spectrum WHERE group_no=2 AND row_no=1", ORB_CLS_SPECTRUM},
    {"AllSpectraMissing", "DELETE FROM spectrum", ORB_CLS_SPECTRUM},
    {"SpectraExchanged",
     "UPDATE spectrum SET group_no=9 WHERE group_no=1 AND row_no=1;"
     "UPDATE spectrum SET group_no=1 WHERE group_no=2 AND row_no=1;"
     "UPDATE spectrum SET group_no=2 WHERE group_no=9",
     ORB_CLS_SPECTRUM},
    {"SpectrumTwice",
     "INSERT OR REPLACE INTO spectrum SELECT 2,1,format,checksum,channels FROM spectrum "
     "WHERE group_no=1 AND row_no=1",
     ORB_CLS_SPECTRUM},
    {"SpectrumGroupIsText", "UPDATE spectrum SET group_no='first' WHERE group_no=1 AND row_no=1", ORB_CLS_SPECTRUM},
};

/// Findings of a check, by class.
using Findings = std::map<USHORT, std::vector<ULONG>>;

ULONG check(void* handle, Findings& findings) {
  return AioCheck(
      handle,
      [](void* context, USHORT cls, ULONG status, const char* text) {
        (*static_cast<Findings*>(context))[cls].push_back(status);
        EXPECT_STRNE(text, "");
      },
      &findings);
}

TEST_F(BadFile, ContradictingRowsAreRefusedWithTheirBlock) {
  for (const Contradiction& c : kContradictions) {
    SCOPED_TRACE(c.name);
    writeBytes(path_, states().file_b);
    runSql(path_, c.sql);
    const std::string bytes = readBytes(path_);
    ASSERT_FALSE(bytes == states().file_b);
    Content expected = states().b;
    for (const ULONG access : kAccesses) {
      const File file(path_, access);
      ASSERT_EQ(nameOf(file.status()), "AIO_OK");
      const Content content = contentOf(static_cast<void*>(file));
      ASSERT_EQ(content.blocks.count(c.cls), 1u);
      EXPECT_EQ(nameOf(content.blocks.at(c.cls).status), nameOf(c.status));
      expected.blocks[c.cls] = content.blocks.at(c.cls);
      EXPECT_EQ(difference(content, expected), "");  // the others are as they were

      Findings findings;
      EXPECT_EQ(nameOf(check(file, findings)), nameOf(c.status));
      for (const auto& [cls, block] : states().b.blocks) {
        const bool is_whole = findings[cls] == std::vector<ULONG>{AIO_OK};
        EXPECT_EQ(is_whole, cls != c.cls) << "class " << std::hex << cls;
      }
    }
    EXPECT_TRUE(readBytes(path_) == bytes);
    EXPECT_EQ(namesIn(dir_.path()), "file");
  }
}

struct LostRows {
  const char* name;
  const char* sql;
  USHORT cls;  // the class that the check names
};

const LostRows kLostRows[] = {
    {"ValuesWithoutBlock", "INSERT INTO value VALUES(8201,1,0,8201*65536+1,24,'x')", ORB_CLS_LIMITS},
    {"RecordsWithoutBlock", "INSERT INTO record VALUES(8201,1,1,0)", ORB_CLS_LIMITS},
    {"BlockMissing", "DELETE FROM block WHERE class=8198", ORB_CLS_PEAKS},
    {"EmptyBlockMissing", "DELETE FROM block WHERE class=8193", ORB_CLS_SAMPLE},
    {"SpectralBlockMissing", "DELETE FROM block WHERE class=8197", ORB_CLS_SPECTRUM},
    {"ValuesInSpectralBlock", "INSERT INTO value VALUES(8197,0,0,8197*65536+1,24,'x')", ORB_CLS_SPECTRUM},
};

/// What no block owns is never read; only a check can say so.
TEST_F(BadFile, RowsWithoutOwnerAreFoundByTheCheck) {
  for (const LostRows& c : kLostRows) {
    SCOPED_TRACE(c.name);
    writeBytes(path_, states().file_b);
    runSql(path_, c.sql);
    const File file(path_, AIO_READ_ONLY);
    if (file.status() != AIO_OK) {
      EXPECT_EQ(nameOf(file.status()), "AIO_BADCONTENT");
      continue;
    }
    Findings findings;
    EXPECT_EQ(nameOf(check(file, findings)), "AIO_BADCONTENT");
    const std::vector<ULONG>& named = findings[c.cls];
    EXPECT_NE(std::find(named.begin(), named.end(), ULONG{AIO_BADCONTENT}), named.end());
  }
}

// ---- Additions to the schema --------------------------------------------------------------------------------------

struct Addition {
  const char* name;
  const char* sql;
};

const Addition kAdditions[] = {
    {"DeletingTrigger", "CREATE TRIGGER t AFTER INSERT ON value BEGIN DELETE FROM value; END"},
    {"ForgingTrigger", "CREATE TRIGGER t AFTER INSERT ON block BEGIN UPDATE value SET value='x'; END"},
    {"ReplacingIndex", "CREATE UNIQUE INDEX i ON value(class) WHERE class=8198 AND record>30"},
    {"ReplacingIndexOfSpectra", "CREATE UNIQUE INDEX i ON spectrum(format) WHERE format=0 AND group_no=1"},
    {"IndexWithFunction", "CREATE INDEX i ON value(abs(record),upper(value))"},
    {"PartialIndex", "CREATE INDEX i ON record(class) WHERE id>5"},
    {"Statistics", "ANALYZE; UPDATE sqlite_stat1 SET stat='1000000000 1 1 1 1'"},
    {"MoreTables", "CREATE TABLE notes(text); INSERT INTO notes VALUES('mine')"},
    {"VirtualTable", "CREATE VIRTUAL TABLE search USING fts5(text)"},
    {"RecursiveView", "CREATE VIEW v AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n) SELECT * FROM n"},
    {"OtherViewOfParameters", "DROP VIEW parameter; CREATE VIEW parameter AS SELECT 1"},
    {"ForgedNames", "UPDATE name SET name='x'; DELETE FROM name WHERE code%2=0"},
};

/// What others add is refused or does no harm: what a flush has acknowledged is there.
TEST_F(BadFile, AnAdditionToTheSchemaTakesNothingAway) {
  for (const Addition& c : kAdditions) {
    SCOPED_TRACE(c.name);
    writeBytes(path_, states().file_a);
    runSql(path_, c.sql);
    const std::string bytes = readBytes(path_);
    File file(path_);
    if (file.status() != AIO_OK) {
      EXPECT_EQ(nameOf(file.status()), "AIO_BADCONTENT");
      EXPECT_TRUE(readBytes(path_) == bytes);
      continue;
    }
    const Content before = contentOf(static_cast<void*>(file));
    EXPECT_EQ(wrongValues(before, states().a), "");
    if (!difference(before, states().a).empty()) continue;
    writeStateB(file);
    const ULONG status = AioFlush(file);
    file.close();
    EXPECT_EQ(difference(contentOf(path_), status == AIO_OK ? states().b : states().a), "") << nameOf(status);
  }
}

// ---- Paths that are no file ---------------------------------------------------------------------------------------

TEST_F(BadFile, PathsThatAreNoFile) {
  expectRefused(AIO_NOFILE);
  ASSERT_EQ(mkdir(path_.c_str(), 0777), 0);
  expectRefused(AIO_NOTREGULAR);
  rmdir(path_.c_str());
  ASSERT_EQ(mkfifo(path_.c_str(), 0666), 0);
  expectRefused(AIO_NOTREGULAR);
  unlink(path_.c_str());
  ASSERT_EQ(symlink((dir_ / "nowhere").c_str(), path_.c_str()), 0);
  expectRefused(AIO_NOFILE);
  File file;
  EXPECT_EQ(nameOf(AioCreate(file.out(), path_.c_str(), 0, nullptr, nullptr, nullptr)), "AIO_FILEEXISTS");
  EXPECT_EQ(namesIn(dir_.path()), "file");
  unlink(path_.c_str());
  ASSERT_EQ(symlink(path_.c_str(), path_.c_str()), 0);
  expectRefused(AIO_BADARG);
  for (const char* device : {"/dev/null", "/dev/zero"}) {
    EXPECT_EQ(nameOf(contentOf(device).status), "AIO_NOTREGULAR");
    EXPECT_EQ(nameOf(File(device).status()), "AIO_NOTREGULAR");
  }
  EXPECT_EQ(nameOf(File(dir_ / "no/such/dir").status()), "AIO_NOFILE");
  EXPECT_EQ(nameOf(AioCreate(file.out(), (dir_ / "no/such").c_str(), 0, nullptr, nullptr, nullptr)), "AIO_NOFILE");
}

/// Runs a function as somebody who owns nothing. @return what it returns, or -1 when that cannot be
int asNobody(const std::function<int()>& run) {
  const pid_t pid = fork();
  if (pid == 0) {
    const passwd* nobody = getuid() == 0 ? getpwnam("nobody") : nullptr;
    if (nobody != nullptr && (setgid(nobody->pw_gid) != 0 || setuid(nobody->pw_uid) != 0)) _exit(255);
    _exit(getuid() == 0 ? 255 : run());
  }
  int result = 0;
  waitpid(pid, &result, 0);
  return WIFEXITED(result) && WEXITSTATUS(result) != 255 ? WEXITSTATUS(result) : -1;
}

TEST_F(BadFile, NoPermission) {
  chmod(dir_.path().c_str(), 0755);
  writeBytes(path_, states().file_a);
  const auto statuses = [&](ULONG for_reader, ULONG for_writer) {
    return asNobody([&]() -> int {
      const bool reads = File(path_, AIO_READ_ONLY).status() == for_reader;
      const bool writes = File(path_).status() == for_writer;
      return (reads ? 0 : 1) + (writes ? 0 : 2);
    });
  };
  chmod(path_.c_str(), 0444);
  const int read_only = statuses(AIO_OK, AIO_NOACCESS);
  if (read_only < 0) GTEST_SKIP() << "cannot become another user";
  EXPECT_EQ(read_only, 0);
  chmod(path_.c_str(), 0000);
  EXPECT_EQ(statuses(AIO_NOACCESS, AIO_NOACCESS), 0);
  // A file that may be written in a folder that may not: there is no place for lock and journal.
  chmod(path_.c_str(), 0666);
  if (getuid() == 0) {
    EXPECT_EQ(statuses(AIO_OK, AIO_NOACCESS), 0);
  }
  chmod(dir_.path().c_str(), 0700);
  if (getuid() == 0) {
    EXPECT_EQ(statuses(AIO_NOACCESS, AIO_NOACCESS), 0);
  }
  EXPECT_TRUE(readBytes(path_) == states().file_a);
  EXPECT_EQ(namesIn(dir_.path()), "file");
}

/// Most memory that a process of its own takes for a function [MB].
long memoryOf(const std::function<void()>& run) {
  const pid_t pid = fork();
  if (pid == 0) {
    run();
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int result = 0;
  rusage usage{};
  wait4(pid, &result, 0, &usage);
  EXPECT_EQ(result, 0);
  return usage.ru_maxrss / 1024;
}

/// Entries are cheap to ask for: a number in a row of the file. Only those with values may cost anything.
TEST_F(BadFile, EntriesWithoutValuesTakeNoMemory) {
  const long usual = memoryOf([&] { writeBytes(path_, states().file_a); });
  runSql(path_,
         "UPDATE record SET entries=65535 WHERE class=8198;"
         "WITH RECURSIVE n(i) AS (SELECT 1000 UNION ALL SELECT i+1 FROM n WHERE i<2000) "
         "INSERT INTO record SELECT 8198,i,i*1000000,65535 FROM n");
  EXPECT_LT(memoryOf([&] {
              const File file(path_);
              USHORT n = 0;
              EXPECT_EQ(nameOf(AioCount(file, ORB_CLS_PEAKS, 1, 0, &n)), "AIO_BADCONTENT");
            }),
            usual + 100);

  writeBytes(path_, states().file_a);
  EXPECT_LT(memoryOf([&] {
              File file(path_);
              for (USHORT record = 1; record <= 20; ++record)
                for (int entry = 0; entry < 65535; ++entry)
                  ASSERT_EQ(AioInsertEntry(file, ORB_CLS_PEAKS, record, 0), ULONG{AIO_OK});
              EXPECT_EQ(nameOf(put(file, 0x20060071, 7, 65535, 1.5)), "AIO_OK");
              EXPECT_EQ(nameOf(AioInsertEntry(file, ORB_CLS_PEAKS, 7, 0)), "AIO_ENTRIESFULL");
              EXPECT_EQ(nameOf(AioFlush(file)), "AIO_OK");
              file.close();
              const File reader(path_, AIO_READ_ONLY);
              double value = 0;
              EXPECT_EQ(nameOf(get(reader, 0x20060071, 7, 65535, value)), "AIO_OK");
              EXPECT_EQ(value, 1.5);
              EXPECT_EQ(nameOf(get(reader, 0x20060071, 7, 65534, value)), "AIO_NOVALUE");
              EXPECT_EQ(nameOf(AioCheck(reader, nullptr, nullptr)), "AIO_OK");
            }),
            usual + 100);
}

/// Another tool left the file in write-ahead mode, with changes that lie beside it.
TEST_F(BadFile, WriteAheadModeIsRefusedAndLeftAlone) {
  writeBytes(path_, states().file_a);
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(path_.c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "PRAGMA journal_mode=WAL; CREATE TABLE notes(text)", nullptr, nullptr, nullptr),
            SQLITE_OK);
  for (const char* suffix : {"", "-wal"}) writeBytes(dir_ / "copy" + suffix, readBytes(path_ + suffix));
  sqlite3_close(other);
  const std::string log = readBytes(dir_ / "copy-wal");
  for (const ULONG access : {AIO_READ_ONLY, AIO_READ_WRITE})
    EXPECT_EQ(nameOf(File(dir_ / "copy", access).status()), "AIO_WRITEAHEAD");
  EXPECT_EQ(namesIn(dir_.path()), "copy copy-wal file");
  EXPECT_TRUE(readBytes(dir_ / "copy-wal") == log);
}

}  // namespace
