#include "Library.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <utility>
#include <vector>

#include "writelog.h"

namespace {

using com::norvale::application::vyx::LogLine;
using com::norvale::application::vyx::routeLog;
using com::norvale::datatypes::Library;
using testing::HasSubstr;

template <typename Function>
Function* function(const Library& library, const char* symbol) {
  return reinterpret_cast<Function*>(library.procAddress(symbol));
}

class LibraryTest : public testing::Test {
 protected:
  void SetUp() override {
    routeLog([this](const LogLine& line) { lines_.push_back(line); });
  }
  void TearDown() override { routeLog(nullptr); }

  std::vector<LogLine> lines_;
};

TEST_F(LibraryTest, OpenModuleOffersItsFunctionsToNobodyElse) {
  Library library;
  ASSERT_EQ(library.open(LOADER_SAMPLE), 0u);
  EXPECT_TRUE(library.isOpen());
  EXPECT_EQ(library.name(), LOADER_SAMPLE);
  auto* answer = function<int()>(library, "sample_answer");
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(answer(), 42);
  EXPECT_EQ(dlsym(RTLD_DEFAULT, "sample_answer"), nullptr);
  EXPECT_TRUE(lines_.empty());
}

TEST_F(LibraryTest, WhatCannotBeLoadedIsReportedWithTheLoadersReason) {
  const std::string text_file = testing::TempDir() + "not_a_module.so";
  std::ofstream(text_file) << "This is a text.\n";
  const struct {
    std::string path, reason;
  } cases[] = {
      {"/no/such/folder/module.so", "No such file"},
      {text_file, "not_a_module.so"},
      {testing::TempDir(), "directory"},
      {LOADER_UNRESOLVED, "function_that_no_library_has"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    lines_.clear();
    Library library;
    EXPECT_EQ(library.open(c.path), Library::kNotLoaded);
    EXPECT_FALSE(library.isOpen());
    EXPECT_EQ(library.name(), "");
    ASSERT_EQ(lines_.size(), 1u);
    EXPECT_EQ(lines_[0].where, "Library::open");
    EXPECT_EQ(lines_[0].priority, com::norvale::application::vyx::err);
    EXPECT_EQ(lines_[0].code, Library::kNotLoaded);
    EXPECT_THAT(lines_[0].message, HasSubstr(c.reason));
    EXPECT_EQ(library.open(LOADER_SAMPLE), 0u) << "a failed open leaves the object usable";
  }
}

TEST_F(LibraryTest, EmptyPathIsNotTakenForTheProgram) {
  Library library;
  EXPECT_EQ(library.open(""), Library::kEmptyName);
  EXPECT_EQ(library.open(std::string(3, '\0')), Library::kEmptyName);
  EXPECT_FALSE(library.isOpen());
  EXPECT_EQ(library.procAddress("malloc"), nullptr);
}

TEST_F(LibraryTest, SecondOpenIsRefusedAndKeepsTheFirst) {
  Library library;
  ASSERT_EQ(library.open(LOADER_SAMPLE), 0u);
  EXPECT_EQ(library.open(LOADER_SAMPLE), Library::kAlreadyOpen);
  EXPECT_EQ(library.open("/no/such/module.so"), Library::kAlreadyOpen);
  EXPECT_EQ(library.name(), LOADER_SAMPLE);
  EXPECT_NE(library.procAddress("sample_answer"), nullptr);
}

TEST_F(LibraryTest, MissingSymbolIsReportedAndNullSymbolIsNot) {
  Library library;
  ASSERT_EQ(library.open(LOADER_SAMPLE), 0u);
  EXPECT_EQ(library.procAddress("sample_null"), nullptr);
  EXPECT_TRUE(lines_.empty());
  EXPECT_EQ(library.procAddress("sample_missing"), nullptr);
  ASSERT_EQ(lines_.size(), 1u);
  EXPECT_EQ(lines_[0].where, "Library::procAddress");
  EXPECT_EQ(lines_[0].code, Library::kNoSymbol);
  EXPECT_THAT(lines_[0].message, HasSubstr("sample_missing"));
}

TEST_F(LibraryTest, ModuleIsReleasedOnceByItsLastOwner) {
  int unloaded = 0;
  Library first;
  ASSERT_EQ(first.open(LOADER_SAMPLE), 0u);
  function<void(int*)>(first, "sample_count_unload")(&unloaded);
  {
    Library second(std::move(first));
    EXPECT_FALSE(first.isOpen());  // NOLINT(bugprone-use-after-move): closed is what it must be
    EXPECT_EQ(first.name(), "");
    Library& same = second;
    second = std::move(same);
    Library third;
    third = std::move(second);
    EXPECT_NE(third.procAddress("sample_answer"), nullptr);
    EXPECT_EQ(unloaded, 0);
  }
  EXPECT_EQ(unloaded, 1);

  ASSERT_EQ(first.open(LOADER_SAMPLE), 0u);
  function<void(int*)>(first, "sample_count_unload")(&unloaded);
  first.close();
  EXPECT_EQ(unloaded, 2);
  first.close();
  EXPECT_FALSE(first.isOpen());
  EXPECT_EQ(first.procAddress("sample_answer"), nullptr);
  EXPECT_EQ(unloaded, 2);
}

}  // namespace
