// The disk fails: every operation that SQLite asks of it, one after the other, once or from then on. Nothing may be
// lost that was flushed, and nothing that was not flushed yet.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iostream>

#include "fault_support.h"
#include "fault_vfs.h"
#include "sqlite_query.h"

using namespace faults;

namespace {

struct Kind {
  const char* name;
  Fault fault;
  ULONG status;  // what the service says to it
};

const Kind kKinds[] = {
    {"Open", {Op::Open, SQLITE_CANTOPEN}, AIO_IOERROR},
    {"Read", {Op::Read, SQLITE_IOERR_READ}, AIO_IOERROR},
    {"Write", {Op::Write, SQLITE_IOERR_WRITE}, AIO_IOERROR},
    {"TornWrite", {Op::Write, SQLITE_IOERR_WRITE, true}, AIO_IOERROR},
    {"DiskFull", {Op::Write, SQLITE_FULL}, AIO_DISKFULL},
    {"TornDiskFull", {Op::Write, SQLITE_FULL, true}, AIO_DISKFULL},
    {"Truncate", {Op::Truncate, SQLITE_IOERR_TRUNCATE}, AIO_IOERROR},
    {"Sync", {Op::Sync, SQLITE_IOERR_FSYNC}, AIO_IOERROR},
    {"Delete", {Op::Delete, SQLITE_IOERR_DELETE}, AIO_IOERROR},
    {"Lock", {Op::Lock, SQLITE_IOERR_LOCK}, AIO_IOERROR},
    {"FileSize", {Op::FileSize, SQLITE_IOERR_FSTAT}, AIO_IOERROR},
    {"Access", {Op::Access, SQLITE_IOERR_ACCESS}, AIO_IOERROR},
};

void PrintTo(const Kind& kind, std::ostream* out) {
  *out << kind.name;
}

constexpr int kMostPoints = 5000;  // a loop that gets here does not end by itself

class IoFaults : public testing::TestWithParam<Kind> {
 protected:
  void SetUp() override {
    installFaultVfs();
    states();
  }

  /// Calls attempt(fault) for the 1st, 2nd, ... operation, once and from then on, until it says that the
  /// fault was not met any more.
  template <typename Attempt>
  int moveThroughAllPoints(Attempt&& attempt) {
    int points = 0;
    for (const bool onwards : {false, true}) {
      Fault fault = GetParam().fault;
      fault.onwards = onwards;
      for (fault.at = 1; fault.at < kMostPoints; fault.at += kStride) {
        SCOPED_TRACE(std::string(onwards ? "from operation " : "operation ") + std::to_string(fault.at));
        if (!attempt(fault)) break;
        ++points;
        if (HasFailure()) return points;
      }
      EXPECT_LT(fault.at, kMostPoints);
    }
    std::cout << "[   points ] " << GetParam().name << ": " << points << "\n";
    RecordProperty("points", points);
    return points;
  }

  void expectRefusal(ULONG status) const {
    EXPECT_TRUE(status == AIO_OK || status == GetParam().status) << nameOf(status);
  }

  ScratchDir dir_;
  ScratchDir dead_;
};

INSTANTIATE_TEST_SUITE_P(Kinds, IoFaults, testing::ValuesIn(kKinds),
                         [](const auto& kind) { return std::string(kind.param.name); });

/// What a process that died right now would leave: database and journal, under another name.
std::string copyAside(const std::string& path, const std::string& copy) {
  writeBytes(copy, readBytes(path));
  if (exists(path + "-journal"))
    writeBytes(copy + "-journal", readBytes(path + "-journal"));
  else
    std::remove((copy + "-journal").c_str());
  return copy;
}

void expectWhole(void* handle) {
  EXPECT_EQ(AioCheck(
                handle,
                [](void*, USHORT cls, ULONG status, const char* text) {
                  if (status != AIO_OK) ADD_FAILURE() << std::hex << cls << ": " << nameOf(status) << " " << text;
                },
                nullptr),
            ULONG{AIO_OK});
}

/// The file holds A or B, and nothing is wrong with it.
void expectAOrB(const std::string& path, bool must_be_b) {
  const File file(path);
  ASSERT_EQ(nameOf(file.status()), "AIO_OK");
  expectWhole(file);
  const Content content = contentOf(static_cast<void*>(file));
  if (!must_be_b && difference(content, states().a).empty()) return;
  EXPECT_EQ(difference(content, states().b), "");
}

/// Memory still answers state B; it needs no disk.
void expectMemoryIsB(void* handle) {
  double value = 0;
  EXPECT_EQ(nameOf(get(handle, 0x20020021, 1, 0, value)), "AIO_OK");
  EXPECT_EQ(value, 17.5);
  EXPECT_EQ(nameOf(get(handle, 0x20060007, 1, 0, value)), "AIO_OK");
  EXPECT_EQ(value, -7 + 1 / 8.0);
  LONG channels[4] = {};
  EXPECT_EQ(nameOf(AioReadSpectrum2(handle, channels, AIO_FORMAT_LONG, 4, 500, 1, 1)), "AIO_OK");
  EXPECT_EQ(channels[3], 4);
}

TEST_P(IoFaults, FlushLosesNothing) {
  const std::string path = dir_ / "file";
  const int points = moveThroughAllPoints([&](const Fault& fault) {
    writeBytes(path, states().file_a);
    File file(path);
    EXPECT_EQ(difference(contentOf(static_cast<void*>(file)), states().a), "");
    writeStateB(file);

    arm(fault);
    const ULONG status = AioFlush(file);
    expectMemoryIsB(file);
    const std::string dead = copyAside(path, dead_ / "file");
    const bool hit = disarm();
    expectRefusal(status);
    if (!hit) {
      EXPECT_EQ(nameOf(status), "AIO_OK");
    }
    expectAOrB(dead, status == AIO_OK);

    EXPECT_EQ(difference(contentOf(static_cast<void*>(file)), states().b), "");
    expectWhole(file);
    EXPECT_EQ(nameOf(AioFlush(file)), "AIO_OK");
    file.close();
    expectAOrB(path, true);
    // For those who look into the file.
    EXPECT_EQ(orbtest::runSql(path, "SELECT code FROM value WHERE code NOT IN (SELECT code FROM name)").size(), 0u);
    EXPECT_EQ(namesIn(dir_.path()), "file");
    return hit;
  });
  if (GetParam().fault.op != Op::Truncate) {
    EXPECT_GT(points, 0);
  }
}

/// Opens under the fault, reads everything, and gives up the handle.
bool openUnder(const Fault& fault, const std::string& path, ULONG access, ULONG& status, Content& content) {
  arm(fault);
  File file(path, access);
  status = file.status();
  EXPECT_EQ(status == AIO_OK, static_cast<void*>(file) != nullptr);
  if (status == AIO_OK) content = contentOf(static_cast<void*>(file));
  const bool hit = disarm();
  if (status != AIO_OK || content.status != AIO_OK) return hit;
  for (const auto& [cls, block] : content.blocks)
    EXPECT_TRUE(block.status == AIO_OK || hit) << std::hex << cls << nameOf(block.status);
  // The same handle reads well once the disk does.
  EXPECT_EQ(difference(contentOf(static_cast<void*>(file)), states().a), "");
  return hit;
}

TEST_P(IoFaults, OpeningAndReadingLeaveTheFileAlone) {
  const std::string path = dir_ / "file";
  writeBytes(path, states().file_a);
  for (const ULONG access : {AIO_READ_ONLY, AIO_READ_WRITE}) {
    moveThroughAllPoints([&](const Fault& fault) {
      ULONG status = AIO_OK;
      Content content;
      const bool hit = openUnder(fault, path, access, status, content);
      expectRefusal(status);
      if (status == AIO_OK) expectRefusal(content.status);
      for (const auto& [cls, block] : content.blocks) expectRefusal(block.status);
      if (status == AIO_OK) {
        EXPECT_EQ(wrongValues(content, states().a), "");
      }
      EXPECT_EQ(difference(contentOf(path), states().a), "");
      EXPECT_EQ(namesIn(dir_.path()), "file");
      return hit;
    });
  }
  EXPECT_TRUE(readBytes(path) == states().file_a);
}

TEST_P(IoFaults, CreatingLeavesAWholeFileOrNone) {
  const std::string path = dir_ / "file";
  moveThroughAllPoints([&](const Fault& fault) {
    arm(fault);
    File file;
    const ULONG status = AioCreate(file.out(), path.c_str(), 0, nullptr, nullptr, nullptr);
    const bool hit = disarm();
    expectRefusal(status);
    if (status == AIO_OK) {
      file.close();
    } else {
      EXPECT_EQ(namesIn(dir_.path()), "");
      std::remove(path.c_str());
      EXPECT_EQ(nameOf(AioCreate(file.out(), path.c_str(), 0, nullptr, nullptr, nullptr)), "AIO_OK");
      file.close();
    }
    EXPECT_EQ(namesIn(dir_.path()), "file");
    EXPECT_EQ(difference(contentOf(path), {}), "");
    std::remove(path.c_str());
    return hit;
  });
}

/// Leaves database and journal as a process does that dies at the end of a flush: the database holds B already, and the
/// journal takes it back to A.
void dieBeforeTheJournalGoes(const std::string& path) {
  writeBytes(path, states().file_a);
  const pid_t pid = fork();
  if (pid == 0) {
    File file(path);
    contentOf(static_cast<void*>(file));
    writeStateB(file);
    Fault end{Op::Delete, SQLITE_IOERR_DELETE};
    end.kills = true;
    arm(end);
    AioFlush(file);
    _exit(1);
  }
  int result = -1;
  waitpid(pid, &result, 0);
  EXPECT_EQ(result, 0) << "the flush came to its end";
}

TEST_P(IoFaults, RecoveryAfterACrashCanBeTriedAgain) {
  const std::string path = dir_ / "file";
  dieBeforeTheJournalGoes(path);
  const std::pair<std::string, std::string> crashed[] = {{path, readBytes(path)},
                                                         {path + "-journal", readBytes(path + "-journal")}};
  ASSERT_FALSE(crashed[0].second == states().file_a);
  ASSERT_FALSE(crashed[1].second.empty());
  std::remove((path + "-lock").c_str());
  for (const ULONG access : {AIO_READ_ONLY, AIO_READ_WRITE}) {
    const int points = moveThroughAllPoints([&](const Fault& fault) {
      for (const auto& [name, bytes] : crashed) writeBytes(name, bytes);
      ULONG status = AIO_OK;
      Content content;
      const bool hit = openUnder(fault, path, access, status, content);
      if (status == AIO_OK) {
        EXPECT_EQ(wrongValues(content, states().a), "");
      }
      if (access == AIO_READ_ONLY) {
        for (const auto& [name, bytes] : crashed) EXPECT_TRUE(readBytes(name) == bytes) << name;
      }
      expectAOrB(path, false);
      EXPECT_EQ(difference(contentOf(path), states().a), "");
      EXPECT_EQ(namesIn(dir_.path()), "file");
      return hit;
    });
    if (access == AIO_READ_WRITE) {
      EXPECT_GT(points, 0);
    }
  }
}

}  // namespace
