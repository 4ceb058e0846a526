// Parameter dictionaries: which are refused and what is said of them, which one is in force, and what is asked of them.
#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <set>

#include "service_fixture.h"
#include "writelog.h"

using namespace porbtest;
using com::norvale::application::vyx::LogLine;
using com::norvale::application::vyx::routeLog;
using testing::HasSubstr;

namespace {

class DictionaryTest : public ServiceTest {
 protected:
  void SetUp() override {
    routeLog([this](const LogLine& line) { lines_.push_back(line); });
  }
  void TearDown() override { routeLog(nullptr); }

  /// Status of asking the dictionary in force for a parameter.
  static ULONG ask(ULONG code) {
    AioParamInfo_T info;
    return AioUtilParamInfo(nullptr, code, &info);
  }
  ULONG tryCreate() {
    void* handle = &lines_;
    const ULONG status = AioCreate(&handle, path().c_str(), 0, nullptr, nullptr, nullptr);
    EXPECT_EQ(handle == nullptr, status != AIO_OK);
    if (status == AIO_OK) AioClose2(handle, AIO_CLOSE_DELETE);
    return status;
  }

  std::vector<LogLine> lines_;
};

constexpr const char* kGoodLine = "0x20060001 | A | header | int32 | 4 | int32 | 4 | - | - | Words.\n";

struct BrokenLine {
  std::string line;  // the fourth of the file
  std::string word;  // in the message
};

std::vector<BrokenLine> brokenLines() {
  const auto with = [](std::size_t field, const std::string& text) {
    std::vector<std::string> fields = {"0x20060002", "B", "header", "int32", "4", "int32", "4", "-", "-", "Words."};
    fields[field] = text;
    std::string line;
    for (const std::string& f : fields) line += " | " + f;
    return line.substr(3) + "\n";
  };
  const auto types = [](const std::string& storage, const std::string& returned) {
    return "0x20060002 | B | header | " + storage + " | " + returned + " | - | - | Words.\n";
  };
  return {{"0x20060002 | B | header\n", "ten fields"},
          {with(9, "Words. | more"), "ten fields"},
          {with(0, "20060002"), "20060002"},
          {with(0, "0x2006002"), "0x2006002"},
          {with(0, "0x200600020"), "0x200600020"},
          {with(0, "0x2006000G"), "0x2006000G"},
          {with(0, "0x-2006001"), "0x-2006001"},
          {with(0, ""), "hexadecimal"},
          {with(0, "0x20060001"), "ascend"},
          {with(0, "0x20050001"), "ascend"},
          {with(1, "a"), "twice"},
          {with(1, ""), "name"},
          {with(1, std::string(56, 'N')), "55"},
          {with(2, "block"), "block"},
          {with(2, "Header"), "Header"},
          {with(3, "int33"), "int33"},
          {with(3, ""), "type"},
          {with(4, "8"), "8"},
          {with(4, "-4"), "-4"},
          {with(4, "4x"), "4x"},
          {with(4, "65540"), "65540"},
          {with(4, ""), "length"},
          {types("text | 0", "text | 0"), "length 0"},
          {types("text | 65535", "text | 65535"), "65535"},
          {types("text | 8", "text | 9"), "length of a text"},
          {types("text | 8", "int32 | 4"), "convert"},
          {types("int32 | 4", "double | 8"), "convert"},
          {types("time | 8", "double | 8"), "convert"},
          {with(7, "resultat"), "resultat"},
          {with(7, "result,,setting"), "flag"},
          {with(8, std::string(32, 'u')), "31"},
          {with(9, std::string(256, 'd')), "255"},
          {"class 2006 Peaks\n", "2006"},
          {"class 0x20060 Peaks\n", "0x20060"}};
}

TEST_F(DictionaryTest, EveryFaultIsReportedWithFileAndLine) {
  int number = 0;
  for (const BrokenLine& c : brokenLines()) {
    SCOPED_TRACE(c.line);
    const std::string name = path("broken" + std::to_string(++number) + ".dat");
    writeText(name, std::string("# comment\norbdb 1\n") + kGoodLine + c.line + kGoodLine);
    environment_.set("ORBDB", name);
    lines_.clear();
    EXPECT_STATUS(AIO_BADDICTIONARY, tryCreate());
    ASSERT_EQ(lines_.size(), 1u);
    EXPECT_THAT(lines_[0].message, testing::StartsWith(name + ":4: "));
    EXPECT_THAT(lines_[0].message, HasSubstr(c.word));
    EXPECT_STATUS(AIO_BADDICTIONARY, lines_[0].code);
    EXPECT_FALSE(std::filesystem::exists(path())) << "a file was made";
    EXPECT_STATUS(AIO_BADDICTIONARY, ask(0x20060001));
  }
}

TEST_F(DictionaryTest, ATextWithoutItsHeadIsReported) {
  int number = 0;
  for (const char* text :
       {"", "# nothing\n", "orbdb 2\n", "0x20060001 | A\n", "orbdb 1\n", "orbdb 1\nclass 0x2006 W\n"}) {
    const std::string name = path("broken" + std::to_string(++number) + ".dat");
    writeText(name, text);
    environment_.set("ORBDB", name);
    lines_.clear();
    EXPECT_STATUS(AIO_BADDICTIONARY, tryCreate()) << text;
    ASSERT_EQ(lines_.size(), 1u) << text;
    EXPECT_THAT(lines_[0].message, HasSubstr(name + ":")) << text;
  }
}

TEST_F(DictionaryTest, BlanksCommentsAndLineEndsOfOtherSystemsDoNotMatter) {
  writeText(path("d.dat"),
            "\r\n  # comment\r\n orbdb 1 \r\n\r\nclass 0x2006   Some words here \r\n"
            "\t0x20060001|ORB_A|entry|text|8|text|8|result , setting|\xC2\xB5Sv/h|Last line without an end");
  environment_.set("ORBDB", path("d.dat"));
  AioParamInfo_T info;
  ASSERT_STATUS(AIO_OK, AioUtilParamInfo(nullptr, 0x20060001, &info));
  EXPECT_EQ(info.ulLevel, AIO_IN_ENTRY);
  EXPECT_STREQ(info.szName, "ORB_A");
  EXPECT_STREQ(info.szUnit, "\xC2\xB5Sv/h");
  EXPECT_STREQ(info.szDescription, "Last line without an end");
  EXPECT_STREQ(AioUtilClassName(0x2006), "Some words here");
  EXPECT_EQ(AioUtilClassName(0x2007), nullptr);
}

TEST_F(DictionaryTest, VariableNamesAPathOrAFileOfTheDataFolderAndOnlyTheDefaultMayBeMissing) {
  const std::string folder = path("data");
  const std::string empty = path("empty");
  std::filesystem::create_directories(folder + "/nested");
  std::filesystem::create_directory(empty);
  writeDictionary(folder + "/own.dat", {{0x20060777, AIO_IN_HEADER, AIO_T_INT32}});
  writeDictionary(folder + "/orbdb.dat", {{0x20060888, AIO_IN_HEADER, AIO_T_INT32}});
  constexpr ULONG kOwn = 0x20060777, kDefault = 0x20060888, kBuiltIn = 0x20020028;
  struct Case {
    std::optional<std::string> orbdb;
    std::string data_dir;
    ULONG code;  // one that only the dictionary in force has; 0: none is in force
  };
  const Case cases[] = {{folder + "/own.dat", empty, kOwn},
                        {"own.dat", folder, kOwn},
                        {"own.dat", empty, 0},
                        {folder + "/none.dat", folder, 0},
                        {folder + "/orbdb.dat", empty, kDefault},
                        {empty + "/orbdb.dat", folder, 0},
                        {"orbdb.dat", folder, kDefault},
                        {"orbdb.dat", empty, kBuiltIn},
                        {"", folder, kDefault},
                        {"", empty, kBuiltIn},
                        {std::nullopt, folder, kDefault},
                        {std::nullopt, empty, kBuiltIn},
                        {std::nullopt, empty + "/none", kBuiltIn},
                        {"nested", folder, 0},
                        {folder, folder, 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.orbdb.value_or("(unset)") + " in " + c.data_dir);
    environment_.set("ORBDB", c.orbdb);
    environment_.set("ORB_DATA_DIR", c.data_dir);
    lines_.clear();
    for (const ULONG code : {kOwn, kDefault, kBuiltIn}) {
      EXPECT_STATUS(c.code == 0      ? AIO_NODICTIONARY
                    : c.code == code ? AIO_OK
                                     : AIO_UNKNOWNPARAM,
                    ask(code))
          << hex(code);
    }
    EXPECT_STATUS(c.code == 0 ? AIO_NODICTIONARY : AIO_OK, tryCreate());
    if (c.code != 0) continue;
    EXPECT_FALSE(std::filesystem::exists(path()));
    ASSERT_FALSE(lines_.empty());
    EXPECT_THAT(lines_[0].message, HasSubstr(*c.orbdb));
    ULONG code = 77;
    char name[AIO_DESCRIPTION_LENGTH] = "untouched";
    EXPECT_STATUS(AIO_NODICTIONARY, AioUtilPname2Code("ORB_X", name, &code));
    EXPECT_STATUS(AIO_NODICTIONARY, AioUtilNextParam(nullptr, 0, &code));
    EXPECT_EQ(code, 77u);
    EXPECT_STREQ(name, "untouched");
    EXPECT_EQ(AioUtilClassName(0x2006), nullptr);
  }
}

TEST_F(DictionaryTest, OpenFileKeepsItsDictionaryAndAChangedOneServesTheNext) {
  const std::string name = path("d.dat");
  environment_.set("ORBDB", name);
  writeDictionary(name, {{0x20060001, AIO_IN_HEADER, AIO_T_INT32}});
  const File first = File::create(path("first.orb"));
  writeDictionary(name, {{0x20060001, AIO_IN_HEADER, AIO_T_INT32}, {0x20060002, AIO_IN_HEADER, AIO_T_INT32}});
  const File second = File::create(path("second.orb"));
  std::filesystem::remove(name);
  AioParamInfo_T info;
  EXPECT_STATUS(AIO_UNKNOWNPARAM, AioUtilParamInfo(first, 0x20060002, &info));
  EXPECT_STATUS(AIO_OK, AioUtilParamInfo(second, 0x20060002, &info));
  EXPECT_STATUS(AIO_NODICTIONARY, AioUtilParamInfo(nullptr, 0x20060002, &info));
  EXPECT_STATUS(AIO_OK, put(first, 0x20060001, 0, 0, LONG{1}));
}

/// A text of a fixed buffer: ends inside it.
template <std::size_t N>
std::string ended(const char (&buffer)[N]) {
  EXPECT_NE(std::memchr(buffer, 0, N), nullptr) << "not ended";
  return {buffer, strnlen(buffer, N)};
}

std::string inCase(std::string text, int (*convert)(int)) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [&](char c) { return static_cast<char>(convert(static_cast<unsigned char>(c))); });
  return text;
}

TEST_F(DictionaryTest, ShippedDictionaryIsWalkedInOrderAndEveryQuestionGetsTheSameAnswer) {
  std::size_t n = 0;
  for (const bool shipped : {true, false}) {  // the file, and the copy inside the library
    environment_.set("ORBDB", shipped ? std::optional<std::string>(PORB_SHIPPED_DICTIONARY) : std::nullopt);
    environment_.set("ORB_DATA_DIR", dir_.path());
    std::set<std::string> names;
    std::map<USHORT, bool> has_records;
    std::map<ULONG, LONG> block_types;
    ULONG code = 0, last = 0;
    ULONG status = AIO_OK;
    for (; (status = AioUtilNextParam(nullptr, last, &code)) == AIO_OK; last = code) {
      SCOPED_TRACE(hex(code));
      ASSERT_GT(code, last);
      AioParamInfo_T info;
      std::memset(&info, 0x5A, sizeof info);
      ASSERT_STATUS(AIO_OK, AioUtilParamInfo(nullptr, code, &info));
      EXPECT_EQ(info.ulCode, code);
      EXPECT_TRUE(names.insert(ended(info.szName)).second) << info.szName;
      EXPECT_NE(ended(info.szDescription), "");
      EXPECT_NE(ended(info.szUnit), "");
      EXPECT_NE(AioUtilClassName(static_cast<USHORT>(code >> 16)), nullptr);

      char name[AIO_NAME_LENGTH], description[AIO_DESCRIPTION_LENGTH];
      std::memset(name, 0x5A, sizeof name);
      std::memset(description, 0x5A, sizeof description);
      USHORT flags = 0;
      LONG storage_type = 0, storage_length = 0, return_type = 0, return_length = 0, block_type = 0, device = 77;
      ASSERT_STATUS(AIO_OK, AioUtilGetPInfo(nullptr, code, name, description, &flags, &storage_type, &storage_length,
                                            &return_type, &return_length, &block_type, &device));
      EXPECT_EQ(ended(name), info.szName);
      EXPECT_EQ(ended(description), info.szDescription);
      EXPECT_EQ(flags & AIO_LEVEL_MASK, info.ulLevel);
      EXPECT_EQ(storage_type, info.lStorageType);
      EXPECT_EQ(storage_length, info.lStorageLength);
      EXPECT_EQ(return_type, info.lReturnType);
      EXPECT_EQ(return_length, info.lReturnLength);
      EXPECT_EQ(device, 0);
      block_types[code] = block_type;
      has_records[static_cast<USHORT>(code >> 16)] |= info.ulLevel != AIO_IN_HEADER;

      for (const std::string& spelling : {std::string(info.szName), inCase(info.szName, std::tolower)}) {
        char full_name[AIO_DESCRIPTION_LENGTH];
        std::memset(full_name, 0x5A, sizeof full_name);
        ULONG found = 0;
        EXPECT_STATUS(AIO_OK, AioUtilPname2Code(spelling.c_str(), full_name, &found)) << spelling;
        EXPECT_EQ(found, code);
        EXPECT_EQ(ended(full_name), info.szName);
      }
    }
    EXPECT_STATUS(AIO_NOMORE, status);
    for (const auto& [each, block_type] : block_types)
      EXPECT_EQ(block_type, has_records[static_cast<USHORT>(each >> 16)] ? 2 : 1) << hex(each);
    if (shipped) n = names.size();
    EXPECT_GT(names.size(), 250u);
    EXPECT_EQ(names.size(), n);
  }
  EXPECT_THAT(lines_, testing::IsEmpty());
}

TEST_F(DictionaryTest, QuestionsWithoutAnAnswerLeaveTheOutputsAlone) {
  useDictionary({{0x20060001, AIO_IN_HEADER, AIO_T_INT32, 0, 0, "ORB_A"}, {0x20060002, AIO_IN_HEADER, AIO_T_INT32}});
  char name[AIO_DESCRIPTION_LENGTH] = "untouched";
  ULONG code = 77;
  for (const char* wrong : {"", "ORB_", "ORB_AA", " ORB_A", "0x20060001"})
    EXPECT_STATUS(AIO_UNKNOWNPARAM, AioUtilPname2Code(wrong, name, &code)) << wrong;
  EXPECT_STATUS(AIO_BADARG, AioUtilPname2Code(nullptr, name, &code));
  EXPECT_STATUS(AIO_BADARG, AioUtilPname2Code("ORB_A", nullptr, &code));
  EXPECT_STATUS(AIO_BADARG, AioUtilPname2Code("ORB_A", name, nullptr));
  EXPECT_STATUS(AIO_NOMORE, AioUtilNextParam(nullptr, 0x20060002, &code));
  EXPECT_STATUS(AIO_NOMORE, AioUtilNextParam(nullptr, 0xFFFFFFFF, &code));
  EXPECT_STATUS(AIO_BADARG, AioUtilNextParam(nullptr, 0, nullptr));
  EXPECT_STATUS(AIO_BADARG, AioUtilParamInfo(nullptr, 0x20060001, nullptr));
  EXPECT_EQ(code, 77u);
  EXPECT_STREQ(name, "untouched");
  EXPECT_STATUS(AIO_OK, AioUtilNextParam(nullptr, 0x20060001, &code));
  EXPECT_EQ(code, 0x20060002u);
  USHORT flags = 0;
  LONG n[6];
  EXPECT_STATUS(AIO_UNKNOWNPARAM,
                AioUtilGetPInfo(nullptr, 3, name, name, &flags, n, n + 1, n + 2, n + 3, n + 4, n + 5));
  EXPECT_STATUS(AIO_BADARG,
                AioUtilGetPInfo(nullptr, 0x20060001, name, nullptr, &flags, n, n + 1, n + 2, n + 3, n + 4, n + 5));
  EXPECT_STREQ(name, "untouched");
}

TEST(StatusTest, TextsAndNamesAreFoundByStatusAndByResultCode) {
  struct Case {
    ULONG status;
    const char* name;
    const char* text;
  };
  constexpr Case kCases[] = {{0, "AIO_OK", "done"},
                             {0x0000805A, "AIO_NOVALUE", "the parameter has no value there"},
                             {0xEBE8805A, "AIO_NOVALUE", "the parameter has no value there"},
                             {0x00008102, "AIO_NOBLOCK", "the file has no block of that class"},
                             {0xEBE88102, "AIO_NOBLOCK", "the file has no block of that class"},
                             {0x0061000A, "AIO_BADHANDLE", "the handle does not name an open file"},
                             {0xE061000A, "AIO_BADHANDLE", "the handle does not name an open file"},
                             {0xE061006A, "AIO_DISKFULL", "the disk is full"},
                             {0xE061014A, "AIO_NOMORE", "there is no further parameter"},
                             {0x0061014B, "", "unknown status"},
                             {0xE061805A, "", "unknown status"},
                             {0xEBE8000A, "", "unknown status"},
                             {0xEBE81389, "", "unknown status"},
                             {0xE0610000, "", "unknown status"},
                             {1, "", "unknown status"},
                             {0xFFFFFFFF, "", "unknown status"}};
  for (const Case& c : kCases) {
    EXPECT_STREQ(AioStatusName(c.status), c.name) << hex(c.status);
    EXPECT_STREQ(AioStatusText(c.status), c.text) << hex(c.status);
  }
  // Every status has a number, a name and a text of its own, and so has the result code that is made of it.
  std::set<std::string> texts;
  std::set<ULONG> numbers;
#define CHECK_STATUS(name, value, text)                                                                       \
  EXPECT_TRUE(texts.insert(AioStatusText(value)).second) << #name;                                            \
  EXPECT_TRUE(numbers.insert((value)&0xFFFFu).second) << #name;                                               \
  EXPECT_STREQ(AioStatusName(value), #name);                                                                  \
  if ((value) != 0) {                                                                                         \
    EXPECT_STREQ(AioStatusName(((value) >> 16 != 0 ? 0xE0610000u : 0xEBE80000u) | ((value)&0xFFFFu)), #name); \
    EXPECT_EQ((value)&7u, 2u) << #name << " is an error";                                                     \
  }
  AIO_STATUS_TABLE(CHECK_STATUS)
#undef CHECK_STATUS
}

}  // namespace
