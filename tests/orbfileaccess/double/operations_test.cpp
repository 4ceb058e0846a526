// What all operations on one file have in common, as one table: the call they make, the lock they hold, when they
// mark the file as modified, and how they answer a closed file, a refusal of the service and an exception.
#include <mutex>

#include "ServiceDouble.h"

namespace orbtest {
namespace {

using namespace com::norvale::orb;

constexpr std::uint32_t kCount = 0x20000007;

enum class Marks { never, before, after };

struct Operation {
  const char* name;
  std::function<std::uint32_t(FileAccess&)> run;
  const char* service_operation;
  const char* call;
  Marks marks;
  bool locks = true;
  const char* failure_line = "";  ///< logged when the service refuses
  std::uint32_t not_open_code = 0xEBE81389;
};

void PrintTo(const Operation& operation, std::ostream* out) {
  *out << operation.name;
}

std::string methodOf(const Operation& operation) {
  const std::string name = operation.name;
  return "FileAccess::" + name.substr(0, name.find('_'));
}

class OperationTest : public DoubleTest, public ::testing::WithParamInterface<Operation> {
 protected:
  OperationTest() {
    service().dictionary[kCount] = {"COUNT", 8, 4, 4};
    service().values[kCount] = bytesOf(std::uint32_t{16});
    open(file_, "a.dat");
    service().watched = {&file_};
  }

  FileAccess file_;
};

TEST_P(OperationTest, PassesItsArgumentsUnderTheLock) {
  EXPECT_EQ(GetParam().run(file_), 0u);
  EXPECT_EQ(service().textsOfWork(), Lines{GetParam().call});
  EXPECT_EQ(service().last().locks, GetParam().locks ? "L" : "-");
  EXPECT_EQ(service().last().modified, GetParam().marks == Marks::before ? "M" : "-");
  EXPECT_EQ(file_.hasBeenModified(), GetParam().marks != Marks::never);
  EXPECT_EQ(log, Lines{});
}

TEST_P(OperationTest, AnswersTheConvertedStatusAndMarksTheFileAllTheSame) {
  service().refuse(GetParam().service_operation);
  EXPECT_EQ(GetParam().run(file_), kRefusedCode);
  EXPECT_EQ(file_.hasBeenModified(), GetParam().marks != Marks::never);
  const std::string line = GetParam().failure_line;
  EXPECT_EQ(log, line.empty() ? Lines{} : Lines{methodOf(GetParam()) + ": " + line + " (0xEBE81232)"});
}

TEST_P(OperationTest, RefusesAClosedFileWithoutCallingTheService) {
  FileAccess closed;
  const std::string code = GetParam().not_open_code == 0xEBE81389 ? "0xEBE81389" : "0xEBE8138D";
  EXPECT_EQ(GetParam().run(closed), GetParam().not_open_code);
  EXPECT_EQ(log, Lines{methodOf(GetParam()) + ": File: (unknown). File is not open (" + code + ")"});
  EXPECT_FALSE(closed.hasBeenModified());
  EXPECT_EQ(service().texts(), Lines{});
}

TEST_P(OperationTest, LetsAnExceptionOfTheServicePassAndReleasesTheLock) {
  service().onNext(GetParam().service_operation, [] { throw 7; });
  EXPECT_THROW(GetParam().run(file_), int);
  EXPECT_EQ(file_.hasBeenModified(), GetParam().marks == Marks::before);
  EXPECT_EQ(log, Lines{});
  service().calls.clear();
  service().watched.clear();
  // The recursive lock would let this thread in anyway: another one has to try.
  FileAccess probe;
  open(probe, "b.dat", kB);
  service().watched = {&file_};
  probe.flush();
  EXPECT_EQ(service().last().locks, "-");
}

std::uint16_t unused_count = 0;

INSTANTIATE_TEST_SUITE_P(
    All, OperationTest,
    ::testing::Values(
        Operation{"flush", [](FileAccess& f) { return f.flush(); }, "AioFlush", "AioFlush(A)", Marks::never},
        Operation{"getParameter",
                  [](FileAccess& f) {
                    Variant value;
                    return f.getParameter(kCount, value, 3, 2);
                  },
                  "AioGetParam", "AioGetParam(A, 20000007, 3, 2, 4)", Marks::never, true,
                  "File: a.dat. Failed to get parameter: COUNT Record: 3 Entry: 2"},
        Operation{"setParameter", [](FileAccess& f) { return f.setParameter(kCount, Variant(4096), 65535, 0); },
                  "AioPutParam", "AioPutParam(A, 20000007, 65535, 0, 00100000)", Marks::before, true,
                  "File: a.dat. Failed to set parameter: COUNT Record: 65535 Entry: 0"},
        Operation{"createBlock_plain", [](FileAccess& f) { return f.createBlock(0x2013000C, 7, 5, 6); },
                  "AioCreateBlock", "AioCreateBlock(A, 2013, 7)", Marks::before},
        Operation{"createBlock_bareClass", [](FileAccess& f) { return f.createBlock(0x2013, 0, 1, 1); },
                  "AioCreateBlock", "AioCreateBlock(A, 2013, 0)", Marks::before},
        Operation{"createBlock_spectrum", [](FileAccess& f) { return f.createBlock(8197, 4096, 0, 0); }, "AioCreatePHA",
                  "AioCreatePHA(A, 1, 4096, 0)", Marks::before},
        Operation{"createBlock_spectrumByCode", [](FileAccess& f) { return f.createBlock(0x20050001, 4096, 3, 2); },
                  "AioCreatePHA", "AioCreatePHA(A, 3, 4096, 2)", Marks::before},
        Operation{"deleteBlock", [](FileAccess& f) { return f.deleteBlock(0xFFFF0001); }, "AioDeleteBlock",
                  "AioDeleteBlock(A, FFFF)", Marks::before},
        Operation{"deleteLevel", [](FileAccess& f) { return f.deleteLevel(0x12345); }, "AioDeleteLevel",
                  "AioDeleteLevel(A, 74565)", Marks::before, false, "", 0xEBE8138D},
        Operation{"insertItem_record", [](FileAccess& f) { return f.insertItem(0x2005, 3, 0); }, "AioInsertRecord",
                  "AioInsertRecord(A, 2005, 3)", Marks::after, true, "File: a.dat. Failed to insert parameter 2005"},
        Operation{"insertItem_entry", [](FileAccess& f) { return f.insertItem(0x2006000A, 3, 1); }, "AioInsertEntry",
                  "AioInsertEntry(A, 2006, 3, 1)", Marks::after, true,
                  "File: a.dat. Failed to insert parameter 2006000a"},
        Operation{"deleteItem", [](FileAccess& f) { return f.deleteItem(0x2006000A, 3, 0); }, "AioDelete",
                  "AioDelete(A, 2006, 3, 0)", Marks::before},
        Operation{"countItems_records", [](FileAccess& f) { return f.countItems(0x2006000A, unused_count, 0); },
                  "AioCount", "AioCount(A, 2006, 0, 0)", Marks::never},
        Operation{"countItems_noRecordNamed",
                  [](FileAccess& f) { return f.countItems(0x2006000A, unused_count, 65535); }, "AioCount",
                  "AioCount(A, 2006, 0, 0)", Marks::never},
        Operation{"countItems_entries", [](FileAccess& f) { return f.countItems(0x2006000A, unused_count, 65534); },
                  "AioCount", "AioCount(A, 2006, 65534, 2006000A)", Marks::never},
        Operation{"countItems_entriesOfBareClass", [](FileAccess& f) { return f.countItems(0x2006, unused_count, 1); },
                  "AioCount", "AioCount(A, 2006, 1, 0)", Marks::never}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(DoubleTest, CountIsWhatTheServiceStoredAlsoOnFailure) {
  FileAccess file;
  open(file, "a.dat");
  service().count = 12;
  service().refuse("AioCount");
  std::uint16_t count = 99;
  EXPECT_EQ(file.countItems(0x2006, count, 0), kRefusedCode);
  EXPECT_EQ(count, 12);
}

}  // namespace
}  // namespace orbtest
