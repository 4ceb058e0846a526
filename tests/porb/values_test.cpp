// Values: what is put comes back bit for bit, and SQLite alone can read it; what does not fit is refused and changes
// nothing.
#include <gmock/gmock.h>

#include <bit>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>

#include "sqlite_query.h"
#include "typed_values.h"

using namespace porbtest;
using testing::ElementsAre;

namespace {

template <typename T>
std::string bytesOf(T value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}
std::string doubleBits(std::uint64_t bits) {
  return bytesOf(bits);
}
std::string floatBits(std::uint32_t bits) {
  return bytesOf(bits);
}

// ---- Round trip -------------------------------------------------------------------------------------------------

struct RoundTripCase {
  int type;
  std::string bytes;        // a text without its NUL
  const char* column_type;  // what SQLite sees
  std::string column;       // as text; empty: not looked at
};

std::vector<RoundTripCase> roundTripCases() {
  using Limits64 = std::numeric_limits<std::int64_t>;
  std::vector<RoundTripCase> cases = {
      {AIO_T_BOOL, bytesOf(FLAG{0}), "integer", "0"},
      {AIO_T_BOOL, bytesOf(FLAG{1}), "integer", "1"},
      {AIO_T_FLAG, bytesOf(FLAG{1}), "integer", "1"},
      {AIO_T_INT16, bytesOf(SHORT{-32768}), "integer", "-32768"},
      {AIO_T_INT16, bytesOf(SHORT{32767}), "integer", "32767"},
      {AIO_T_UINT16, bytesOf(USHORT{65535}), "integer", "65535"},
      {AIO_T_INT32, bytesOf(std::numeric_limits<LONG>::min()), "integer", "-2147483648"},
      {AIO_T_INT32, bytesOf(LONG{-1}), "integer", "-1"},
      {AIO_T_INT64, bytesOf(Limits64::min()), "integer", "-9223372036854775808"},
      {AIO_T_INT64, bytesOf(Limits64::max()), "integer", "9223372036854775807"},
      {AIO_T_FLOAT, bytesOf(0.1F), "real", ""},
      {AIO_T_FLOAT, bytesOf(3.0F), "real", "3.0"},
      {AIO_T_FLOAT, floatBits(0x80000000u), "blob", "00000080"},
      {AIO_T_FLOAT, floatBits(0x00000001u), "real", ""},
      {AIO_T_FLOAT, floatBits(0x807FFFFFu), "real", ""},
      {AIO_T_FLOAT, floatBits(0x7F7FFFFFu), "real", ""},
      {AIO_T_FLOAT, floatBits(0xFF800000u), "real", "-Inf"},
      {AIO_T_FLOAT, floatBits(0x7FC00000u), "blob", "0000C07F"},
      {AIO_T_FLOAT, floatBits(0x7F800001u), "blob", "0100807F"},
      {AIO_T_FLOAT, floatBits(0xFFABCDEFu), "blob", "EFCDABFF"},
      {AIO_T_TEXT, "", "text", ""},
      {AIO_T_TEXT, "12345678", "text", "12345678"},
      {AIO_T_TEXT, "123456789", "text", "123456789"},
      {AIO_T_TEXT, "42", "text", "42"},
      {AIO_T_TEXT, "1e400", "text", "1e400"},
      {AIO_T_TEXT, "\xC2\xB5Sv/h \xE2\x82\xAC \xF0\x9F\x98\x80", "text", "\xC2\xB5Sv/h \xE2\x82\xAC \xF0\x9F\x98\x80"},
      {AIO_T_TEXT, std::string(65534, 'x'), "text", ""},
      {AIO_T_TEXT, std::string(65534, '\xFF'), "blob", ""},
      {AIO_T_NAME, "Cs-137", "text", "Cs-137"},
      {AIO_T_NAME, "\r\n\t\x7F\x01", "text", ""},
  };
  // Latin-1, a lone continuation, too long a form, a surrogate, beyond the last code point, cut off at the end.
  for (const char* text :
       {"\xB5Sv/h", "\x80", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF5zzz", "abc\xE2\x82"})
    cases.push_back({AIO_T_TEXT, text, "blob", ""});
  struct Real {
    std::uint64_t bits;
    const char* column_type;
  };
  constexpr Real kReals[] = {{0x0000000000000000, "real"}, {0x8000000000000000, "blob"}, {0x0000000000000001, "real"},
                             {0x800FFFFFFFFFFFFF, "real"}, {0x0010000000000000, "real"}, {0x7FEFFFFFFFFFFFFF, "real"},
                             {0x7FF0000000000000, "real"}, {0xFFF0000000000000, "real"}, {0x7FF8000000000000, "blob"},
                             {0xFFF8000000000000, "blob"}, {0x7FF0000000000001, "blob"}, {0xFFF7FFFFFFFFFFFF, "blob"},
                             {0x7FFFDEADBEEF0001, "blob"}, {0x3FB999999999999A, "real"}, {0x4340000000000001, "real"},
                             {0x43E0000000000000, "real"}, {0xC3E0000000000000, "real"}, {0x4059000000000000, "real"}};
  for (const int type : {AIO_T_DOUBLE, AIO_T_REAL8, AIO_T_TIME})
    for (const Real& real : kReals) cases.push_back({type, doubleBits(real.bits), real.column_type, ""});
  return cases;
}

class RoundTripTest : public ServiceTest {};

TEST_F(RoundTripTest, EveryValueComesBackBitForBitAndLiesInItsNativeColumnType) {
  useDictionary(everyType());
  const std::vector<RoundTripCase> cases = roundTripCases();
  File file = File::create(path());
  // Case i lies in record i + 1, as a record value and as the second entry.
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const auto record = static_cast<USHORT>(i + 1);
    const auto type = static_cast<ULONG>(cases[i].type);
    ASSERT_STATUS(AIO_OK, putBytes(file, kRecord + type, record, 0, cases[i].bytes));
    ASSERT_STATUS(AIO_OK, AioInsertEntry(file, 0x2006, record, 0));
    ASSERT_STATUS(AIO_OK, putBytes(file, kEntry + type, record, 2, cases[i].bytes));
  }
  const auto verify = [&](const char* when) {
    for (std::size_t i = 0; i < cases.size(); ++i) {
      const RoundTripCase& c = cases[i];
      const auto record = static_cast<USHORT>(i + 1);
      SCOPED_TRACE(std::string(when) + ", case " + std::to_string(i) + ", type " + std::to_string(c.type));
      const bool is_text = c.type == AIO_T_TEXT || c.type == AIO_T_NAME;
      std::string wanted = c.bytes;
      if (is_text) wanted.resize(c.type == AIO_T_TEXT ? 65535 : 10, '\0');
      std::string found;
      ASSERT_STATUS(AIO_OK, getBytes(file, kRecord + static_cast<ULONG>(c.type), record, 0, wanted.size(), found));
      EXPECT_TRUE(found == wanted);
      ASSERT_STATUS(AIO_OK, getBytes(file, kEntry + static_cast<ULONG>(c.type), record, 2, wanted.size(), found));
      EXPECT_TRUE(found == wanted) << "as an entry";
    }
  };
  verify("before the flush");
  ASSERT_STATUS(AIO_OK, file.close(AIO_CLOSE_FLUSH));
  file = File::open(path());
  verify("after reopening");
  EXPECT_STATUS(AIO_OK, AioCheck(file, nullptr, nullptr));

  const std::vector<std::string> rows = orbtest::runSql(
      path(),
      "SELECT typeof(value), CASE typeof(value) WHEN 'blob' THEN hex(value) ELSE CAST(value AS TEXT) END FROM value "
      "JOIN record ON record.class=value.class AND record.id=value.record WHERE entry=0 ORDER BY rank");
  ASSERT_EQ(rows.size(), cases.size());
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const std::string expected = std::string(cases[i].column_type) + "|" + cases[i].column;
    EXPECT_EQ(rows[i].substr(0, cases[i].column.empty() ? expected.size() : std::string::npos), expected)
        << "case " << i << ", type " << cases[i].type;
  }
}

TEST_F(RoundTripTest, TheViewIsReadableWithAnySqliteTool) {
  useDictionary({{0x20060000, AIO_IN_HEADER, AIO_T_TIME, 0, 0, "START"},
                 {0x20060001, AIO_IN_RECORD, AIO_T_DOUBLE, 0, 0, "ENERGY"},
                 {0x20060002, AIO_IN_ENTRY, AIO_T_NAME, 16, 0, "NUCLIDE"}});
  File file = File::create(path());
  // 40587 days lie between the two epochs 1858-11-17 and 1970-01-01.
  ASSERT_STATUS(AIO_OK, put(file, 0x20060000, 0, 0, (40587.0 * 86400 + 951782400 + 0.5) * 1e7));
  ASSERT_STATUS(AIO_OK, put(file, 0x20060001, 1, 0, 661.657));
  ASSERT_STATUS(AIO_OK, put(file, 0x20060002, 1, 1, "Cs-137"));
  ASSERT_STATUS(AIO_OK, AioFlush(file));
  for (const double energy : {-0.0, std::nan(""), 122.06}) {
    ASSERT_STATUS(AIO_OK, AioInsertRecord(file, 0x2006, 0));
    ASSERT_STATUS(AIO_OK, put(file, 0x20060001, 1, 0, energy));
    ASSERT_STATUS(AIO_OK, AioFlush(file));
  }
  EXPECT_THAT(
      orbtest::runSql(path(), "SELECT * FROM parameter ORDER BY class, record, entry, code"),
      ElementsAre("0x2006|0|0|0x20060000|START|2000-02-29T00:00:00.500Z|u", "0x2006|1|0|0x20060001|ENERGY|122.06|u",
                  "0x2006|2|0|0x20060001|ENERGY|NaN|u", "0x2006|3|0|0x20060001|ENERGY|-0.0|u",
                  "0x2006|4|0|0x20060001|ENERGY|661.657|u", "0x2006|4|1|0x20060002|NUCLIDE|Cs-137|u"));
  EXPECT_THAT(orbtest::runSql(path(), "SELECT DISTINCT typeof(value) FROM parameter WHERE name='ENERGY' ORDER BY 1"),
              ElementsAre("real", "text"));
}

// ---- Refusals ---------------------------------------------------------------------------------------------------

TEST_F(ValuesTest, BufferOfTheWrongSizeIsRefusedAndNothingIsWritten) {
  for (const TypeWord& word : kTypeWords) {
    if (word.width == 0) continue;
    SCOPED_TRACE(word.word);
    const ULONG code = kHeader + static_cast<ULONG>(word.type);
    const std::string value(word.width, '\1');
    for (const std::size_t size : {std::size_t{0}, word.width - std::size_t{1}, word.width + std::size_t{1}}) {
      EXPECT_STATUS(AIO_BADSIZE, putBytes(file_, code, 0, 0, std::string(size, '\1'))) << "put " << size;
    }
    std::string found;
    EXPECT_STATUS(AIO_NOVALUE, getBytes(file_, code, 0, 0, word.width, found));
    ASSERT_STATUS(AIO_OK, putBytes(file_, code, 0, 0, value));
    EXPECT_STATUS(AIO_BADSIZE, getBytes(file_, code, 0, 0, word.width - std::size_t{1}, found));
    EXPECT_EQ(found, std::string(word.width - std::size_t{1}, '\x5A')) << "buffer was written to";
    EXPECT_STATUS(AIO_OK, getBytes(file_, code, 0, 0, 200, found));
    EXPECT_EQ(found, value) << "a larger buffer";
  }
}

TEST_F(ValuesTest, TextEndsAtItsFirstNulOrAtTheEndOfTheBuffer) {
  constexpr ULONG kName = kHeader + AIO_T_NAME;  // nine characters
  const std::string nul(1, '\0');
  const std::pair<std::string, std::string> kCases[] = {{"", ""},
                                                        {nul, ""},
                                                        {"abc", "abc"},
                                                        {"abc" + nul + "def", "abc"},
                                                        {"123456789", "123456789"},
                                                        {"123456789" + nul, "123456789"},
                                                        {"short" + nul + std::string(500, 'x'), "short"},
                                                        {nul + std::string(65534, 'x'), ""}};
  for (const auto& [given, kept] : kCases) {
    ASSERT_STATUS(AIO_OK, putBytes(file_, kName, 0, 0, given)) << given;
    std::string found;
    ASSERT_STATUS(AIO_OK, getBytes(file_, kName, 0, 0, 10, found));
    EXPECT_EQ(found, kept + std::string(10 - kept.size(), '\0'));
  }
  ASSERT_STATUS(AIO_OK, put(file_, kName, 0, 0, "kept"));
  for (const std::size_t length : {10u, 1000u, 65535u}) {
    EXPECT_STATUS(AIO_TOOLONG, put(file_, kName, 0, 0, std::string(length, 'x'))) << length;
  }
  EXPECT_STATUS(AIO_TOOLONG, put(file_, kHeader + AIO_T_TEXT, 0, 0, std::string(65535, 'x')));
  std::string found;
  EXPECT_STATUS(AIO_BADSIZE, getBytes(file_, kName, 0, 0, 9, found));
  EXPECT_EQ(found, std::string(9, '\x5A'));
  EXPECT_EQ(got<std::string>(file_, kName), "kept");
}

TEST_F(ValuesTest, NullArgumentsAndUnknownParametersAreRefused) {
  constexpr ULONG kLong = kHeader + AIO_T_INT32;
  LONG value = 7;
  USHORT size = sizeof value;
  ASSERT_STATUS(AIO_OK, AioPutParam(file_, kLong, 0, 0, &value, &size));
  EXPECT_STATUS(AIO_BADARG, AioPutParam(file_, kLong, 0, 0, nullptr, &size));
  EXPECT_STATUS(AIO_BADARG, AioPutParam(file_, kLong, 0, 0, &value, nullptr));
  EXPECT_STATUS(AIO_BADARG, AioGetParam(file_, kLong, 0, 0, nullptr, &size));
  EXPECT_STATUS(AIO_BADARG, AioGetParam(file_, kLong, 0, 0, &value, nullptr));
  for (const ULONG code : {ULONG{0}, kLong + 0x80, ULONG{0x20070008}, ULONG{0xFFFFFFFF}}) {
    EXPECT_STATUS(AIO_UNKNOWNPARAM, AioPutParam(file_, code, 0, 0, &value, &size)) << hex(code);
    EXPECT_STATUS(AIO_UNKNOWNPARAM, AioGetParam(file_, code, 0, 0, &value, &size)) << hex(code);
  }
  EXPECT_EQ(got<LONG>(file_, kLong), 7);
}

TEST_F(ServiceTest, NumbersAreReadInARowAndWhatIsMissingStaysAsItIs) {
  useDictionary({{0x20060001, AIO_IN_RECORD, AIO_T_INT32},
                 {0x20060002, AIO_IN_RECORD, AIO_T_TEXT, 8},
                 {0x20060003, AIO_IN_RECORD, AIO_T_FLOAT},
                 {0x20060004, AIO_IN_RECORD, AIO_T_INT64},
                 {0x20060005, AIO_IN_HEADER, AIO_T_UINT16}});
  const File file = File::create(path());
  ASSERT_STATUS(AIO_OK, put(file, 0x20060001, 1, 0, LONG{-7}));
  ASSERT_STATUS(AIO_OK, put(file, 0x20060002, 1, 0, std::string("text")));
  ASSERT_STATUS(AIO_OK, put(file, 0x20060003, 1, 0, 0.5f));
  ASSERT_STATUS(AIO_OK, put(file, 0x20060005, 0, 0, std::uint16_t{65535}));
  DOUBLE values[5] = {1, 2, 3, 4, 5};
  ULONG found = 99;
  EXPECT_STATUS(AIO_OK, AioGetNumbers(file, 0x20060001, 1, 0, 5, values, &found));
  EXPECT_THAT(values, ElementsAre(-7, 2, 0.5, 4, 65535));
  EXPECT_EQ(found, 3u);
  EXPECT_STATUS(AIO_UNKNOWNPARAM, AioGetNumbers(file, 0x20060004, 1, 0, 3, values, nullptr));
  EXPECT_STATUS(AIO_BADARG, AioGetNumbers(file, 0x20060001, 1, 0, 1, nullptr, nullptr));
  EXPECT_STATUS(AIO_OK, AioGetNumbers(file, 0x20060001, 9, 9, 1, values, &found));
  EXPECT_EQ(found, 0u);
}

TEST_F(ServiceTest, NumberThatDoesNotFitItsStorageTypeIsRefused) {
  useDictionary({{0x20060001, AIO_IN_HEADER, AIO_T_INT16, 0, AIO_T_INT32},
                 {0x20060002, AIO_IN_HEADER, AIO_T_UINT16, 0, AIO_T_INT64},
                 {0x20060003, AIO_IN_HEADER, AIO_T_BOOL, 0, AIO_T_INT32},
                 {0x20060004, AIO_IN_HEADER, AIO_T_INT32, 0, AIO_T_UINT16},
                 {0x20060005, AIO_IN_HEADER, AIO_T_FLOAT, 0, AIO_T_DOUBLE}});
  File file = File::create(path());
  struct Case {
    ULONG code;
    std::int64_t value;
    bool fits;
  };
  constexpr Case kCases[] = {{0x20060001, -32768, true},  {0x20060001, 32767, true},  {0x20060001, 32768, false},
                             {0x20060001, -32769, false}, {0x20060001, 65536, false}, {0x20060002, 65535, true},
                             {0x20060002, -1, false},     {0x20060002, 65536, false}, {0x20060002, 1LL << 62, false},
                             {0x20060003, 1, true},       {0x20060003, 256, false},   {0x20060003, -1, false},
                             {0x20060004, 65535, true}};
  for (const Case& c : kCases) {
    const std::size_t width = c.code == 0x20060002 ? 8 : c.code == 0x20060004 ? 2 : 4;
    std::string bytes = bytesOf(c.value).substr(0, width), old, now;
    const ULONG had = getBytes(file, c.code, 0, 0, width, old);
    EXPECT_STATUS(c.fits ? AIO_OK : AIO_OUTOFRANGE, putBytes(file, c.code, 0, 0, bytes)) << hex(c.code) << c.value;
    EXPECT_STATUS(c.fits ? ULONG{AIO_OK} : had, getBytes(file, c.code, 0, 0, width, now));
    EXPECT_EQ(now, c.fits ? bytes : old) << hex(c.code) << " " << c.value;
  }
  // A double that is kept as a float comes back as the nearest float.
  for (const double value : {0.0, -0.0, 1.5, 16777217.0, 0.1, 1e-42, -HUGE_VAL, HUGE_VAL}) {
    ASSERT_STATUS(AIO_OK, put(file, 0x20060005, 0, 0, value));
    EXPECT_EQ(bytesOf(got<double>(file, 0x20060005)), bytesOf(static_cast<double>(static_cast<float>(value)))) << value;
  }
  ASSERT_STATUS(AIO_OK, put(file, 0x20060005, 0, 0, std::nan("")));
  EXPECT_TRUE(std::isnan(got<double>(file, 0x20060005)));
}

TEST_F(ServiceTest, ValueOfAnotherTypeThanTheDictionarySaysIsNeitherReadNorReplaced) {
  useDictionary({{0x20060001, AIO_IN_RECORD, AIO_T_INT32}, {0x20060002, AIO_IN_RECORD, AIO_T_DOUBLE}});
  File file = File::create(path());
  ASSERT_STATUS(AIO_OK, put(file, 0x20060001, 1, 0, LONG{42}));
  ASSERT_STATUS(AIO_OK, put(file, 0x20060002, 1, 0, 1.5));
  ASSERT_STATUS(AIO_OK, file.close(AIO_CLOSE_FLUSH));

  useDictionary({{0x20060001, AIO_IN_RECORD, AIO_T_FLOAT}, {0x20060002, AIO_IN_RECORD, AIO_T_DOUBLE}});
  file = File::open(path());
  std::string found;
  EXPECT_STATUS(AIO_TYPEMISMATCH, getBytes(file, 0x20060001, 1, 0, 4, found));
  EXPECT_STATUS(AIO_TYPEMISMATCH, put(file, 0x20060001, 1, 0, 1.0F));
  EXPECT_STATUS(AIO_TYPEMISMATCH, AioCheck(file, nullptr, nullptr));
  EXPECT_EQ(got<double>(file, 0x20060002, 1), 1.5);
  EXPECT_STATUS(AIO_OK, put(file, 0x20060002, 1, 0, 2.5));
  EXPECT_STATUS(AIO_OK, put(file, 0x20060001, 2, 0, 3.0F)) << "where there is none of the old type";
  ASSERT_STATUS(AIO_OK, file.close(AIO_CLOSE_FLUSH));

  useDictionary({{0x20060001, AIO_IN_RECORD, AIO_T_INT32}, {0x20060002, AIO_IN_RECORD, AIO_T_DOUBLE}});
  file = File::open(path());
  EXPECT_EQ(got<LONG>(file, 0x20060001, 1), 42);
  EXPECT_EQ(got<double>(file, 0x20060002, 1), 2.5);
}

// ---- Places -----------------------------------------------------------------------------------------------------

TEST_F(ServiceTest, RefusedPutMakesNoBlock) {
  useDictionary({{0x20050001, AIO_IN_HEADER, AIO_T_INT32}, {0x20060001, AIO_IN_RECORD, AIO_T_INT16, 0, AIO_T_INT32}});
  const File file = File::create(path());
  EXPECT_STATUS(AIO_BADRECORD, put(file, 0x20060001, 2, 0, LONG{1}));
  EXPECT_STATUS(AIO_OUTOFRANGE, put(file, 0x20060001, 1, 0, LONG{70000}));
  EXPECT_STATUS(AIO_NOTPLAINBLOCK, put(file, 0x20050001, 0, 0, LONG{1}));
  ULONG n = 7;
  EXPECT_STATUS(AIO_OK, AioListBlocks(file, nullptr, 0, &n));
  EXPECT_EQ(n, 0u);
}

/// Values of the first parameter of class 0x2006 in records 1..n.
std::vector<LONG> column(void* handle, ULONG code) {
  std::vector<LONG> values;
  for (USHORT record = 1; record <= countOf(handle, 0x2006); ++record)
    values.push_back(got<LONG>(handle, code, record));
  return values;
}

TEST_F(ValuesTest, OrderSurvivesThousandsOfInsertionsBetweenTheSameTwoRecords) {
  constexpr ULONG kR = kRecord + AIO_T_INT32;
  constexpr LONG kInsertions = 5000;
  std::vector<LONG> front, back;  // the halves that grow towards each other
  ASSERT_STATUS(AIO_OK, put(file_, kR, 1, 0, LONG{-1}));
  ASSERT_STATUS(AIO_OK, put(file_, kR, 2, 0, LONG{-2}));
  for (LONG i = 0; i < kInsertions; ++i) {
    const auto after = static_cast<USHORT>(1 + front.size());
    ASSERT_STATUS(AIO_OK, AioInsertRecord(file_, 0x2006, after));
    ASSERT_STATUS(AIO_OK, put(file_, kR, static_cast<USHORT>(after + 1), 0, i));
    (i % 3 == 0 ? front : back).push_back(i);
    if (i % 1250 == 40) {
      ASSERT_STATUS(AIO_OK, AioFlush(file_));
    }
    if (i % 1250 == 80) {
      ASSERT_STATUS(AIO_OK, file_.close(AIO_CLOSE_FLUSH));
      file_ = File::open(path());
    }
  }
  std::vector<LONG> wanted = {-1};
  wanted.insert(wanted.end(), front.begin(), front.end());
  wanted.insert(wanted.end(), back.rbegin(), back.rend());
  wanted.push_back(-2);
  EXPECT_EQ(column(file_, kR), wanted);
  ASSERT_STATUS(AIO_OK, file_.close(AIO_CLOSE_FLUSH));
  file_ = File::open(path());
  EXPECT_EQ(column(file_, kR), wanted) << "after reopening";
  EXPECT_STATUS(AIO_OK, AioCheck(file_, nullptr, nullptr));
}

TEST_F(ValuesTest, RecordsAndEntriesEndAtTheirLimitAndNothingIsChangedBeyond) {
  constexpr ULONG kR = kRecord + AIO_T_INT32, kE = kEntry + AIO_T_INT32;
  ASSERT_STATUS(AIO_OK, put(file_, kR, 1, 0, LONG{1}));
  for (ULONG n = 1; n < AIO_MAX_RECORDS; ++n) ASSERT_STATUS(AIO_OK, AioInsertRecord(file_, 0x2006, 65535));
  for (ULONG n = 0; n < AIO_MAX_ENTRIES; ++n) ASSERT_STATUS(AIO_OK, AioInsertEntry(file_, 0x2006, 65535, 65535));
  ASSERT_STATUS(AIO_OK, put(file_, kR, 65535, 0, LONG{65535}));
  ASSERT_STATUS(AIO_OK, put(file_, kE, 65535, 65535, LONG{-65535}));
  const auto verify = [&] {
    for (const USHORT after : {USHORT{0}, USHORT{1}, USHORT{65535}}) {
      EXPECT_STATUS(AIO_RECORDSFULL, AioInsertRecord(file_, 0x2006, after));
      EXPECT_STATUS(AIO_ENTRIESFULL, AioInsertEntry(file_, 0x2006, 65535, after));
    }
    EXPECT_EQ(countOf(file_, 0x2006), 65535);
    EXPECT_EQ(countOf(file_, 0x2006, 65535), 65535);
    EXPECT_EQ(got<LONG>(file_, kR, 1), 1);
    EXPECT_EQ(got<LONG>(file_, kR, 65535), 65535);
    EXPECT_EQ(got<LONG>(file_, kE, 65535, 65535), -65535);
  };
  verify();
  ASSERT_STATUS(AIO_OK, file_.close(AIO_CLOSE_FLUSH));
  file_ = File::open(path());
  verify();
  ASSERT_STATUS(AIO_OK, AioDelete(file_, 0x2006, 2, 0));
  EXPECT_STATUS(AIO_OK, AioInsertRecord(file_, 0x2006, 0)) << "there is room again";
}

// ---- Blocks -----------------------------------------------------------------------------------------------------

TEST_F(ValuesTest, ListingsTellTheWholeNumberAndFillNoMoreThanThereIsRoomFor) {
  ASSERT_STATUS(AIO_OK, put(file_, kRecord + AIO_T_INT32, 1, 0, LONG{1}));
  ASSERT_STATUS(AIO_OK, put(file_, kRecord + AIO_T_DOUBLE, 1, 0, 1.0));
  ASSERT_STATUS(AIO_OK, put(file_, kEntry + AIO_T_NAME, 1, 1, "Co-60"));
  ASSERT_STATUS(AIO_OK, AioCreatePHA(file_, 3, 1, 2));
  const LONG one = 1;
  for (const ULONG group : {3u, 1u})
    ASSERT_STATUS(AIO_OK, AioWriteSpectrum2(file_, &one, AIO_FORMAT_LONG, 1, 1, 2, group));
  ASSERT_STATUS(AIO_OK, AioFlush(file_));
  const File reader = File::open(path(), AIO_READ_ONLY);
  for (void* handle : {static_cast<void*>(file_), static_cast<void*>(reader)}) {
    for (ULONG room = 0; room <= 4; ++room) {
      ULONG n = 0;
      AioBlockInfo_T blocks[5];
      AioValueInfo_T values[5];
      AioSpectrumInfo_T spectra[5];
      std::memset(blocks, 0x5A, sizeof blocks);
      std::memset(values, 0x5A, sizeof values);
      std::memset(spectra, 0x5A, sizeof spectra);
      EXPECT_STATUS(AIO_OK, AioListBlocks(handle, room != 0 ? blocks : nullptr, room, &n));
      EXPECT_EQ(n, 2u);
      for (ULONG i = 0; i < 5; ++i) {
        const int wanted[] = {0x2005, 0x2006};
        EXPECT_EQ(blocks[i].usClass, i < room && i < 2 ? wanted[i] : 0x5A5A);
      }
      EXPECT_STATUS(AIO_OK, AioListValues(handle, 0x2006, 1, room != 0 ? values : nullptr, room, &n));
      EXPECT_EQ(n, 3u);
      for (ULONG i = 0; i < 5; ++i) {
        const int wanted[] = {AIO_T_INT32, AIO_T_DOUBLE, AIO_T_NAME};
        EXPECT_EQ(values[i].lType, i < room && i < 3 ? wanted[i] : 0x5A5A5A5A);
      }
      EXPECT_STATUS(AIO_OK, AioListSpectra(handle, room != 0 ? spectra : nullptr, room, &n));
      EXPECT_EQ(n, 2u);
      for (ULONG i = 0; i < 5; ++i) {
        const ULONG wanted[] = {1, 3};
        EXPECT_EQ(spectra[i].ulGroup, i < room && i < 2 ? wanted[i] : 0x5A5A5A5Au);
      }
    }
  }
  ULONG n = 77;
  AioValueInfo_T value;
  EXPECT_STATUS(AIO_BADARG, AioListBlocks(file_, nullptr, 1, &n));
  EXPECT_STATUS(AIO_BADARG, AioListBlocks(file_, nullptr, 0, nullptr));
  EXPECT_STATUS(AIO_NOBLOCK, AioListValues(file_, 0x2008, 0, &value, 1, &n));
  EXPECT_STATUS(AIO_BADRECORD, AioListValues(file_, 0x2006, 2, &value, 1, &n));
  EXPECT_STATUS(AIO_BADARG, AioListSpectra(file_, nullptr, 1, &n));
  EXPECT_EQ(n, 77u) << "an output of a call that failed";
}

}  // namespace
