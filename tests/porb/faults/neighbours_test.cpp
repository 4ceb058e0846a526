// What lies beside a data file, put there by a stranger, by another program or by chance: journals, logs, locks,
// further names of the file. Opening touches nothing but the file, and reading touches nothing at all.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <functional>

#include "aioproto.h"
#include "fault_support.h"

using namespace faults;
namespace fs = std::filesystem;

namespace {

/// Everything in a folder: names, what they are, content, links.
std::map<std::string, std::string> picture(const std::string& folder) {
  std::map<std::string, std::string> all;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    struct stat state {};
    lstat(entry.path().c_str(), &state);
    const bool is_file = S_ISREG(state.st_mode);
    all[entry.path().filename()] = std::to_string(state.st_ino) + " " + std::to_string(state.st_mode) + " " +
                                   std::to_string(state.st_nlink) + " " + (is_file ? readBytes(entry.path()) : "");
  }
  return all;
}

class Neighbours : public testing::Test {
 protected:
  void SetUp() override { writeBytes(path_, states().file_b); }

  ScratchDir dir_;
  const std::string path_ = dir_ / "file";
  const std::string journal_ = path_ + "-journal";
  const std::string lock_ = path_ + "-lock";
};

// ---- Journals -----------------------------------------------------------------------------------------------

std::string bigEndian(std::uint32_t number) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 0xFF);
  return bytes;
}

/// The journal of a transaction that made state B of state A, and what may be wrong with it.
struct JournalMaker {
  std::string content = states().file_a;
  std::uint32_t page_bytes = 4096;
  std::uint32_t pages = static_cast<std::uint32_t>(states().file_a.size() / 4096);
  std::uint32_t sector = 512;
  std::uint32_t records = pages;
  std::uint32_t first_page = 1;
  std::uint32_t checksum = 77;
  std::string magic = "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7";
  std::string tail;

  std::string bytes() const {
    std::string all =
        magic + bigEndian(records) + bigEndian(checksum) + bigEndian(pages) + bigEndian(sector) + bigEndian(page_bytes);
    all.resize(512);
    for (std::uint32_t i = 0; i < content.size() / page_bytes; ++i) {
      const std::string page = content.substr(i * page_bytes, page_bytes);
      std::uint32_t sum = 77;
      for (std::uint32_t at = page_bytes - 200; at < page_bytes; at -= 200)
        if (at > 0) sum += static_cast<unsigned char>(page[at]);
      all += bigEndian(first_page + i) + page + bigEndian(sum);
    }
    return all + tail;
  }
};

struct BadJournal {
  const char* name;
  std::function<void(JournalMaker&)> spoil;
};

void PrintTo(const BadJournal& journal, std::ostream* out) {
  *out << journal.name;
}

std::string superJournal(const std::string& victim) {
  std::uint32_t sum = 0;
  for (const char c : victim) sum += static_cast<std::uint32_t>(static_cast<signed char>(c));
  return bigEndian(0x40000000u / 4096 + 1) + victim + bigEndian(static_cast<std::uint32_t>(victim.size())) +
         bigEndian(sum) + "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7";
}

const BadJournal kBadJournals[] = {
    {"NamesAnotherFile", [](JournalMaker& j) { j.tail = superJournal("victim"); }},
    {"NamesAnotherFileAndNothingElse",
     [](JournalMaker& j) { j.content.clear(), j.records = 0, j.tail = superJournal("victim"); }},
    {"WouldMakeTheFileHuge", [](JournalMaker& j) { j.pages = 0x7FFFFFFF; }},
    {"WouldMakeTheFileEmpty", [](JournalMaker& j) { j.pages = 0; }},
    {"HasMoreRecordsThanBytes", [](JournalMaker& j) { ++j.records; }},
    {"LeavesTheNumberOfRecordsOpen", [](JournalMaker& j) { j.records = 0xFFFFFFFF; }},
    {"HasAPagePastTheEnd", [](JournalMaker& j) { j.first_page = 2; }},
    {"HasAPageOfNumberZero", [](JournalMaker& j) { j.first_page = 0; }},
    {"HasWrongChecksums", [](JournalMaker& j) { j.checksum = 78; }},
    {"HasAnotherPageSize", [](JournalMaker& j) { j.page_bytes = 1024, j.records = 0; }},
    {"HasAnImpossibleSector", [](JournalMaker& j) { j.sector = 513; }},
    {"HasASectorOfAGigabyte", [](JournalMaker& j) { j.sector = 1u << 30; }},
    {"MakesADatabaseOfAnotherKind", [](JournalMaker& j) { j.content[68] = 'X'; }},
    {"IsAText", [](JournalMaker& j) { j.magic = "my notes"; }},
    {"BeginsWithZeros", [](JournalMaker& j) { j.magic = std::string(8, '\0'), j.records = 0, j.sector = 17; }},
    {"IsCutInItsHeader", [](JournalMaker& j) { j.content.clear(), j.records = 0, j.pages = 1, j.sector = 1024; }},
};

class BadJournals : public Neighbours, public testing::WithParamInterface<BadJournal> {};

INSTANTIATE_TEST_SUITE_P(All, BadJournals, testing::ValuesIn(kBadJournals),
                         [](const auto& one) { return std::string(one.param.name); });

TEST_P(BadJournals, IsRefusedAndNothingIsTouched) {
  JournalMaker maker;
  GetParam().spoil(maker);
  writeBytes(journal_, maker.bytes());
  writeBytes(dir_ / "victim", "a file of the user");
  const fs::path former = fs::current_path();
  fs::current_path(dir_.path());  // from which the engine would find the victim
  const auto before = picture(dir_.path());
  for (const ULONG access : {AIO_READ_ONLY, AIO_READ_WRITE})
    EXPECT_EQ(nameOf(File(path_, access).status()), "AIO_BADJOURNAL");
  AioReservation_T* reservation = nullptr;
  EXPECT_EQ(nameOf(AioReserve(path_.c_str(), &reservation)), "AIO_BADJOURNAL");
  EXPECT_TRUE(picture(dir_.path()) == before);
  fs::current_path(former);
}

/// What stands under the journal's name is no file, or is known under another name too.
TEST_F(Neighbours, AJournalThatIsNoFileOfItsOwnIsRefused) {
  const std::string other = dir_ / "other";
  const std::pair<const char*, std::function<void()>> kinds[] = {
      {"a link to another file", [&] { fs::create_symlink(other, journal_); }},
      {"another name of a file", [&] { fs::create_hard_link(other, journal_); }},
      {"a link to nothing", [&] { fs::create_symlink(dir_ / "nothing", journal_); }},
      {"a folder", [&] { fs::create_directory(journal_); }},
      {"a pipe", [&] { ASSERT_EQ(mkfifo(journal_.c_str(), 0600), 0); }},
  };
  for (const auto& [what, make] : kinds) {
    SCOPED_TRACE(what);
    writeBytes(other, JournalMaker().bytes());
    make();
    const auto before = picture(dir_.path());
    for (const ULONG access : {AIO_READ_ONLY, AIO_READ_WRITE})
      EXPECT_EQ(nameOf(File(path_, access).status()), "AIO_BADJOURNAL");
    EXPECT_TRUE(picture(dir_.path()) == before);
    fs::remove(journal_);
  }
}

TEST_F(Neighbours, AJournalOfTheFileIsFollowedByReadersAndUsedUpByAWriter) {
  writeBytes(journal_, JournalMaker().bytes());
  const auto before = picture(dir_.path());
  {
    const File reader(path_, AIO_READ_ONLY);
    ASSERT_EQ(nameOf(reader.status()), "AIO_OK");
    EXPECT_EQ(difference(contentOf(static_cast<void*>(reader)), states().a), "");
    EXPECT_EQ(nameOf(AioCheck(reader, nullptr, nullptr)), "AIO_OK");
  }
  EXPECT_TRUE(picture(dir_.path()) == before);
  const File writer(path_);
  EXPECT_EQ(difference(contentOf(static_cast<void*>(writer)), states().a), "");
  EXPECT_EQ(namesIn(dir_.path()), "file file-lock");
}

/// A transaction that never came to change the file: its journal says so, or never came to the disk.
TEST_F(Neighbours, AnUnusedJournalIsInNobodysWay) {
  JournalMaker unused;
  unused.magic = std::string(8, '\0');
  unused.records = 0;
  for (const std::string& bytes : {unused.bytes(), std::string(5000, '\0'), std::string()}) {
    SCOPED_TRACE(bytes.size());
    writeBytes(path_, states().file_a);
    writeBytes(journal_, bytes);
    EXPECT_EQ(difference(contentOf(path_), states().a), "");
    EXPECT_TRUE(readBytes(journal_) == bytes);
    File writer(path_);
    writeStateB(writer);
    EXPECT_EQ(nameOf(AioFlush(writer)), "AIO_OK");
    writer.close();
    EXPECT_EQ(namesIn(dir_.path()), "file");
    EXPECT_EQ(difference(contentOf(path_), states().b), "");
  }
}

TEST_F(Neighbours, AJournalWithoutItsFileKeepsANewFileFromBeingMade) {
  fs::remove(path_);
  writeBytes(journal_, JournalMaker().bytes());
  const auto before = picture(dir_.path());
  File file;
  EXPECT_EQ(nameOf(AioCreate(file.out(), path_.c_str(), 0, nullptr, nullptr, nullptr)), "AIO_BADJOURNAL");
  AioReservation_T* reservation = nullptr;
  EXPECT_EQ(nameOf(AioReserve(path_.c_str(), &reservation)), "AIO_BADJOURNAL");
  EXPECT_TRUE(picture(dir_.path()) == before);
}

/// The engine below would take them for a part of the file, or remove them.
TEST_F(Neighbours, LogsAndDraftsOfOthersStayAsTheyAre) {
  for (const char* name : {"-wal", "-shm", "-new"}) writeBytes(path_ + name, states().file_a);
  writeBytes(dir_ / "fresh-new", "a file of the user");
  const auto before = picture(dir_.path());
  EXPECT_EQ(difference(contentOf(path_), states().b), "");
  EXPECT_TRUE(picture(dir_.path()) == before);
  File writer(path_);
  EXPECT_EQ(nameOf(put(writer, 0x20000000, 0, 0, std::string("changed"))), "AIO_OK");
  EXPECT_EQ(nameOf(AioFlush(writer)), "AIO_OK");
  writer.close();
  File fresh;
  EXPECT_EQ(nameOf(AioCreate(fresh.out(), (dir_ / "fresh").c_str(), 0, nullptr, nullptr, nullptr)), "AIO_OK");
  fresh.close();
  auto after = picture(dir_.path());
  after.erase("file"), after.erase("fresh");
  auto expected = before;
  expected.erase("file");
  EXPECT_TRUE(after == expected);
}

// ---- Names --------------------------------------------------------------------------------------------------

TEST_F(Neighbours, NamesOfWhatLiesBesideDataFilesAreNoNamesOfDataFiles) {
  for (const char* ending : {"-journal", "-wal", "-shm", "-lock", "-new"}) {
    SCOPED_TRACE(ending);
    const std::string name = dir_ / "x" + ending;
    File file;
    EXPECT_EQ(nameOf(AioCreate(file.out(), name.c_str(), 0, nullptr, nullptr, nullptr)), "AIO_BADNAME");
    writeBytes(name, states().file_a);
    for (const ULONG access : {AIO_READ_ONLY, AIO_READ_WRITE})
      EXPECT_EQ(nameOf(File(name, access).status()), "AIO_BADNAME");
    fs::create_symlink(name, dir_ / "link");
    EXPECT_EQ(nameOf(File(dir_ / "link").status()), "AIO_BADNAME");
    fs::remove(dir_ / "link"), fs::remove(name);
  }
}

TEST_F(Neighbours, APathIsAPathWhateverItLooksLike) {
  const fs::path former = fs::current_path();
  fs::current_path(dir_.path());
  for (const char* name : {"file:other", "file:other?mode=memory", ":memory:", "file:///file"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(nameOf(File(name, AIO_READ_ONLY).status()), "AIO_NOFILE");
    if (std::string(name).find('/') != std::string::npos) continue;
    File file;
    EXPECT_EQ(nameOf(AioCreate(file.out(), name, 0, nullptr, nullptr, nullptr)), "AIO_OK");
    file.close();
    EXPECT_EQ(nameOf(File(name, AIO_READ_ONLY).status()), "AIO_OK");
    EXPECT_TRUE(exists(dir_ / name));
  }
  fs::current_path(former);
}

TEST_F(Neighbours, APathThatIsTooLongIsSaidToBe) {
  std::string folder = dir_.path();
  while (folder.size() + 200 < 504) folder += "/" + std::string(150, 'd');
  fs::create_directories(folder);
  for (const std::size_t length : {504u, 505u}) {
    const std::string name = folder + "/" + std::string(length - folder.size() - 1, 'f');
    const char* const expected = length == 504 ? "AIO_OK" : "AIO_LONGPATH";
    File file;
    EXPECT_EQ(nameOf(AioCreate(file.out(), name.c_str(), 0, nullptr, nullptr, nullptr)), expected);
    file.close();
    if (length == 505) writeBytes(name, states().file_a);
    for (const ULONG access : {AIO_READ_ONLY, AIO_READ_WRITE}) EXPECT_EQ(nameOf(File(name, access).status()), expected);
  }
}

// ---- Locks --------------------------------------------------------------------------------------------------

TEST_F(Neighbours, WhatIsNoLockIsNeitherTakenNorRemoved) {
  const std::string other = dir_ / "other";
  const std::pair<const char*, std::function<void()>> kinds[] = {
      {"a file with content", [&] { writeBytes(lock_, "my notes on the lock"); }},
      {"a link to a file", [&] { fs::create_symlink(other, lock_); }},
      {"another name of a file", [&] { fs::create_hard_link(other, lock_); }},
      {"a folder", [&] { fs::create_directory(lock_); }},
      {"a pipe", [&] { ASSERT_EQ(mkfifo(lock_.c_str(), 0600), 0); }},
  };
  for (const auto& [what, make] : kinds) {
    SCOPED_TRACE(what);
    writeBytes(other, "");
    make();
    const auto before = picture(dir_.path());
    EXPECT_EQ(nameOf(File(path_).status()), "AIO_BADLOCKFILE");
    EXPECT_EQ(nameOf(File(path_, AIO_READ_ONLY).status()), "AIO_OK");
    EXPECT_TRUE(picture(dir_.path()) == before);
    fs::remove(lock_);
  }
}

/// Runs a function in a child process; what it returns.
int inChild(const std::function<int()>& run) {
  const pid_t pid = fork();
  if (pid == 0) _exit(run());
  int result = 0;
  waitpid(pid, &result, 0);
  return WIFEXITED(result) ? WEXITSTATUS(result) : -1;
}

TEST_F(Neighbours, TheLockThatAnotherUsersDeadWriterLeftIsTakenOver) {
  if (getuid() != 0) GTEST_SKIP() << "needs to become other users";
  chmod(dir_.path().c_str(), 0777);
  chmod(path_.c_str(), 0666);
  const auto openAs = [&](uid_t user, bool stays) {
    return inChild([&, user, stays] {
      if (setgid(user) != 0 || setuid(user) != 0) return 99;
      umask(077);
      File file(path_);
      if (stays) _exit(file.status() == AIO_OK ? 0 : 1);  // without closing: the lock file stays
      return file.status() == AIO_OK ? 0 : 1;
    });
  };
  EXPECT_EQ(openAs(54321, true), 0);
  EXPECT_TRUE(exists(lock_));
  EXPECT_EQ(openAs(54322, false), 0);
  EXPECT_FALSE(exists(lock_));
}

// ---- Two writers --------------------------------------------------------------------------------------------

ULONG change(void* handle, const char* text) {
  return put(handle, 0x20000002, 0, 0, std::string(text));
}

TEST_F(Neighbours, AFileOfTwoNamesIsNotWritten) {
  File writer(path_);
  ASSERT_EQ(nameOf(change(writer, "before")), "AIO_OK");
  fs::create_hard_link(path_, dir_ / "name");
  EXPECT_EQ(nameOf(File(dir_ / "name").status()), "AIO_HARDLINKED");
  EXPECT_EQ(nameOf(File(dir_ / "name", AIO_READ_ONLY).status()), "AIO_OK");
  EXPECT_EQ(nameOf(AioFlush(writer)), "AIO_HARDLINKED");
  fs::remove(dir_ / "name");
  EXPECT_EQ(nameOf(AioFlush(writer)), "AIO_OK");
}

TEST_F(Neighbours, AChildOfTheWriterHasItsMemoryAndNotItsRights) {
  File writer(path_);
  ASSERT_EQ(nameOf(change(writer, "the parent's")), "AIO_OK");
  EXPECT_EQ(inChild([&] {
              char text[129] = "";
              if (get(writer, 0x20000002, 0, 0, text) != AIO_OK) return 1;
              if (AioFlush(writer) != AIO_FORKED) return 2;
              if (AioCheck(writer, nullptr, nullptr) != AIO_FORKED) return 3;
              AioClose2(writer, AIO_CLOSE_FLUSH);
              return File(path_).status() == AIO_LOCKED ? 0 : 4;
            }),
            0);
  EXPECT_TRUE(exists(lock_));
  EXPECT_EQ(nameOf(File(path_).status()), "AIO_LOCKED");
  EXPECT_EQ(nameOf(AioFlush(writer)), "AIO_OK");
}

TEST_F(Neighbours, ALockFileThatIsGoneIsMadeAnewUnlessAnotherWriterCame) {
  File first(path_);
  ASSERT_EQ(nameOf(change(first, "first")), "AIO_OK");
  fs::remove(lock_);
  EXPECT_EQ(nameOf(AioFlush(first)), "AIO_OK");
  EXPECT_EQ(nameOf(File(path_).status()), "AIO_LOCKED") << "the lock is there again";

  fs::remove(lock_);
  File second(path_);
  ASSERT_EQ(nameOf(second.status()), "AIO_OK");
  ASSERT_EQ(nameOf(change(first, "first again")), "AIO_OK");
  EXPECT_EQ(nameOf(AioFlush(first)), "AIO_LOCKED");
  ASSERT_EQ(nameOf(change(second, "second")), "AIO_OK");
  EXPECT_EQ(nameOf(AioFlush(second)), "AIO_OK");
  second.close();
  EXPECT_EQ(nameOf(AioFlush(first)), "AIO_CHANGED") << "its image is that of a former state";
  EXPECT_EQ(nameOf(AioCheck(File(path_, AIO_READ_ONLY), nullptr, nullptr)), "AIO_OK");
}

TEST_F(Neighbours, AWriterWhoseFileWasRenamedDoesNotMeetTheOneOfTheNewName) {
  File first(path_);
  ASSERT_EQ(nameOf(change(first, "first")), "AIO_OK");
  fs::rename(path_, dir_ / "renamed");
  File second(dir_ / "renamed");
  ASSERT_EQ(nameOf(second.status()), "AIO_OK");
  ASSERT_EQ(nameOf(change(second, "second")), "AIO_OK");
  EXPECT_EQ(nameOf(AioFlush(first)), "AIO_NOFILE");
  EXPECT_EQ(nameOf(AioFlush(second)), "AIO_OK");
  second.close();
  fs::rename(dir_ / "renamed", path_);
  EXPECT_EQ(nameOf(AioFlush(first)), "AIO_CHANGED");
}

TEST_F(Neighbours, AnotherProgramThatWritesTheFileIsNoticed) {
  File writer(path_);
  ASSERT_EQ(nameOf(change(writer, "ours")), "AIO_OK");
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(path_.c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "CREATE TABLE notes(text)", nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(other);
  for (int attempt = 0; attempt < 2; ++attempt) EXPECT_EQ(nameOf(AioFlush(writer)), "AIO_CHANGED");
  // Nothing is lost: the image goes into another file.
  File copy;
  ASSERT_EQ(nameOf(AioCreate(copy.out(), (dir_ / "copy").c_str(), 0, nullptr, nullptr, nullptr)), "AIO_OK");
  File reader(path_, AIO_READ_ONLY);
  EXPECT_EQ(nameOf(AioDupFile(reader, copy)), "AIO_OK");
  EXPECT_EQ(nameOf(AioFlush(copy)), "AIO_OK");
}

}  // namespace
