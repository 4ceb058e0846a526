/// A scripted stand-in for the data-file service: it defines every Aio operation that the file object calls, writes
/// each call down with its arguments, and answers what the test told it to.
#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "FileAccess.h"
#include "aiolib.h"
#include "writelog.h"

namespace orbtest {

using com::norvale::datatypes::ByteStream;
using com::norvale::datatypes::Variant;
using com::norvale::datatypes::xtime_t;
using com::norvale::orb::FileAccess;
using com::norvale::orb::ParameterMetadata;

/// Handles are small numbers and printed in hexadecimal: A, B, C.
inline void* const kA = reinterpret_cast<void*>(0xA);
inline void* const kB = reinterpret_cast<void*>(0xB);

/// A status of the service and the result code that must be made of it.
constexpr ULONG kRefused = 0x00001232;
constexpr std::uint32_t kRefusedCode = 0xEBE81232;

struct Call {
  std::string text;      ///< "AioCopy(A, B, 2000)": handles, codes and classes in hexadecimal
  std::string locks;     ///< one letter for each watched object: L while another thread cannot lock it, else -
  std::string modified;  ///< likewise: M for modified, else -
};

struct Parameter {
  std::string name;
  LONG type;
  LONG return_length;
  LONG storage_length;
};

class ServiceDouble {
 public:
  /// The next call of `operation` answers `status` and has no effect.
  void refuse(const std::string& operation, ULONG status = kRefused);
  /// The next call of `operation` runs `action`, which may throw, and then answers as usual.
  void onNext(const std::string& operation, std::function<void()> action);

  std::vector<std::string> texts() const;
  /// Without the dictionary look-ups.
  std::vector<std::string> textsOfWork() const;
  const Call& last() const { return calls.back(); }

  /// What every operation does: writes the call down, plays the script; true when the caller should have its effect.
  bool play(const std::string& operation, const std::string& arguments, ULONG& status);

  std::vector<Call> calls;
  std::vector<const FileAccess*> watched;
  std::set<const void*> open_handles;
  void* next_handle = kA;                             ///< given by open and create
  std::map<ULONG, Parameter> dictionary;              ///< any other code is unknown,
  std::optional<Parameter> others;                    ///< or like this one, named P and its code
  std::map<ULONG, std::vector<std::uint8_t>> values;  ///< any other code has no value
  std::vector<std::uint8_t> spectrum;                 ///< what a spectrum read gives
  USHORT count = 0;
  std::optional<USHORT> found;  ///< what a search leaves, whether or not it succeeds

 private:
  struct Step {
    ULONG status = AIO_OK;
    std::function<void()> action;
  };
  std::map<std::string, std::deque<Step>> script_;
};

ServiceDouble& service();

/// A fresh service and a record of the log for each test.
class DoubleTest : public ::testing::Test {
 protected:
  DoubleTest();
  ~DoubleTest() override;

  void open(FileAccess& file, const std::string& name, void* handle = kA);
  /// Log lines as "where: message (0xCODE)"; a line of another priority than err says so.
  std::vector<std::string> log;

 private:
  com::norvale::application::vyx::LogSink previous_sink_;
};

std::vector<std::uint8_t> bytesOf(const void* data, std::size_t n);
template <typename T>
std::vector<std::uint8_t> bytesOf(const T& value) {
  return bytesOf(&value, sizeof value);
}

using Lines = std::vector<std::string>;

}  // namespace orbtest
