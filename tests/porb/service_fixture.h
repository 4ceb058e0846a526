/// What the tests of the data-file service share: scratch folders, environment variables that come back, open files
/// that close themselves, values as bytes, and the writing of small dictionaries.
#pragma once
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "aiolib.h"
#include "scratch_folder.h"

namespace porbtest {

inline std::string hex(ULONG number, int digits = 8) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%0*X", digits, number);
  return text;
}

/// A status that prints its name.
struct Named {
  ULONG status;
  friend bool operator==(const Named& a, const Named& b) { return a.status == b.status; }
  friend std::ostream& operator<<(std::ostream& out, const Named& named) {
    return out << AioStatusName(named.status) << " " << hex(named.status);
  }
};
#define EXPECT_STATUS(expected, ...) EXPECT_EQ(porbtest::Named{expected}, porbtest::Named{__VA_ARGS__})
#define ASSERT_STATUS(expected, ...) ASSERT_EQ(porbtest::Named{expected}, porbtest::Named{__VA_ARGS__})

using TempDir = orbtest::ScratchFolder;

/// Sets environment variables of the process and brings the former values back.
class Environment {
 public:
  Environment() = default;
  ~Environment() {
    for (const auto& [name, value] : former_) apply(name, value);
  }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  /// Without a value the variable is removed.
  void set(const std::string& name, const std::optional<std::string>& value) {
    const char* present = std::getenv(name.c_str());
    former_.emplace(name, present != nullptr ? std::optional<std::string>(present) : std::nullopt);
    apply(name, value);
  }

 private:
  static void apply(const std::string& name, const std::optional<std::string>& value) {
    if (value)
      setenv(name.c_str(), value->c_str(), 1);
    else
      unsetenv(name.c_str());
  }
  std::map<std::string, std::optional<std::string>> former_;
};

/// An open data file; closes without flush.
class File {
 public:
  File() = default;
  ~File() { close(); }
  File(File&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  File& operator=(File&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  static File create(const std::string& path) {
    File file;
    EXPECT_STATUS(AIO_OK, AioCreate(&file.handle_, path.c_str(), 0, nullptr, nullptr, nullptr)) << path;
    return file;
  }
  static File open(const std::string& path, ULONG access = AIO_READ_WRITE) {
    File file;
    EXPECT_STATUS(AIO_OK, AioOpen2(&file.handle_, path.c_str(), access, 0, 0)) << path;
    return file;
  }
  /// The status of an attempt to open; the file is closed again.
  static ULONG tryOpen(const std::string& path, ULONG access = AIO_READ_WRITE) {
    File file;
    return AioOpen2(&file.handle_, path.c_str(), access, 0, 0);
  }
  ULONG close(ULONG option = AIO_CLOSE_NOFLUSH) {
    void* handle = std::exchange(handle_, nullptr);
    return handle != nullptr ? AioClose2(handle, option) : ULONG{AIO_OK};
  }
  operator void*() const { return handle_; }

 private:
  void* handle_ = nullptr;
};

inline ULONG putBytes(void* handle, ULONG code, USHORT record, USHORT entry, std::string_view bytes) {
  const auto size = static_cast<USHORT>(bytes.size());
  return AioPutParam(handle, code, record, entry, bytes.data(), &size);
}
template <typename T>
ULONG put(void* handle, ULONG code, USHORT record, USHORT entry, const T& value) {
  if constexpr (std::is_convertible_v<T, std::string_view>)
    return putBytes(handle, code, record, entry, value);
  else
    return putBytes(handle, code, record, entry, {reinterpret_cast<const char*>(&value), sizeof value});
}

/// The bytes that a get delivers into a buffer of just `room` bytes.
inline ULONG getBytes(void* handle, ULONG code, USHORT record, USHORT entry, std::size_t room, std::string& bytes) {
  bytes.assign(room, '\x5A');
  auto size = static_cast<USHORT>(room);
  const ULONG status = AioGetParam(handle, code, record, entry, bytes.data(), &size);
  if (status == AIO_OK) bytes.resize(size);
  return status;
}
template <typename T>
ULONG get(void* handle, ULONG code, USHORT record, USHORT entry, T& value) {
  if constexpr (std::is_same_v<T, std::string>) {
    const ULONG status = getBytes(handle, code, record, entry, AIO_MAX_VALUE_BYTES, value);
    if (status == AIO_OK) value.resize(std::strlen(value.c_str()));
    return status;
  } else {
    USHORT size = sizeof value;
    return AioGetParam(handle, code, record, entry, &value, &size);
  }
}
/// The value, or the name of the status as a failure of the test.
template <typename T>
T got(void* handle, ULONG code, USHORT record = 0, USHORT entry = 0) {
  T value{};
  EXPECT_STATUS(AIO_OK, get(handle, code, record, entry, value)) << hex(code) << " at " << record << "," << entry;
  return value;
}

inline USHORT countOf(void* handle, USHORT cls, USHORT record = 0) {
  USHORT count = 0;
  EXPECT_STATUS(AIO_OK, AioCount(handle, cls, record, 0, &count)) << hex(cls, 4) << " record " << record;
  return count;
}

/// Types of parameters as a dictionary calls them.
struct TypeWord {
  int type;
  const char* word;
  USHORT width;  // 0: text
};
inline constexpr TypeWord kTypeWords[] = {  // ascending
    {AIO_T_BOOL, "bool", 1},   {AIO_T_INT16, "int16", 2},   {AIO_T_FLAG, "flag", 1},   {AIO_T_UINT16, "uint16", 2},
    {AIO_T_INT32, "int32", 4}, {AIO_T_INT64, "int64", 8},   {AIO_T_FLOAT, "float", 4}, {AIO_T_TEXT, "text", 0},
    {AIO_T_NAME, "name", 0},   {AIO_T_DOUBLE, "double", 8}, {AIO_T_TIME, "time", 8},   {AIO_T_REAL8, "real8", 8}};

/// One line of a dictionary. A length of 0 is the type's own, a return type of 0 that of storage.
struct ParameterLine {
  ULONG code;
  int level = AIO_IN_HEADER;
  int type = AIO_T_INT32;
  USHORT length = 0;
  int return_type = 0;
  std::string name{};

  static const TypeWord& wordOf(int type) {
    for (const TypeWord& word : kTypeWords)
      if (word.type == type) return word;
    throw std::logic_error("no such type");
  }
  bool isText() const { return wordOf(type).width == 0; }
  USHORT bufferSize() const {
    return isText() ? static_cast<USHORT>(length + 1) : wordOf(return_type != 0 ? return_type : type).width;
  }
  std::string text() const {
    static constexpr const char* kLevels[] = {"header", "record", "entry"};
    const auto field = [&](int of) {
      const TypeWord& word = wordOf(of);
      return std::string(word.word) + " | " + std::to_string(word.width != 0 ? word.width : length);
    };
    return hex(code) + " | " + (name.empty() ? "P" + hex(code) : name) + " | " + kLevels[level] + " | " + field(type) +
           " | " + field(return_type != 0 ? return_type : type) + " | - | u | Parameter of a test.\n";
  }
};

inline void writeText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}
inline void writeDictionary(const std::string& path, const std::vector<ParameterLine>& lines) {
  std::string text = "orbdb 1\n";
  for (const ParameterLine& line : lines) text += line.text();
  writeText(path, text);
}

/// A test in a folder of its own, with the dictionary that ORBDB names.
class ServiceTest : public testing::Test {
 protected:
  /// Makes `lines` the dictionary of the files opened from now on.
  void useDictionary(const std::vector<ParameterLine>& lines) {
    const std::string path = dir_ / ("dictionary" + std::to_string(++n_dictionaries_) + ".dat");
    writeDictionary(path, lines);
    environment_.set("ORBDB", path);
  }
  std::string path(const std::string& name = "file.orb") const { return dir_ / name; }

  TempDir dir_;
  Environment environment_;

 private:
  int n_dictionaries_ = 0;
};

}  // namespace porbtest
