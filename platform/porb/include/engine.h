/// What makes an analysis engine short: the open file as typed values, the C border, and a file that is left as it was
/// found when the engine fails. Header only, C++17. docs/engines.md tells how to write an engine with it.
///
///   ORB_ENGINE RunHalfLife(void* handle, USHORT step, void*, void*) {
///     return orbengine::run(handle, step, {0x2008}, [](orbengine::File& file) { ... });
///   }
///
/// Everything but `run` throws Failure with the status that becomes the engine's result. Nothing keeps a state, so an
/// engine may work on two files from two threads.
#pragma once
#include <algorithm>
#include <chrono>
#include <exception>
#include <initializer_list>
#include <locale>
#include <memory>
#include <new>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "aioproto.h"
#include "engstatus.h"
#include "get_put.h"
#include "number_types.h"
#include "orbparams.h"

/// Begins the definition of an entry point: C linkage, visible to the loader.
#define ORB_ENGINE extern "C" __attribute__((visibility("default"))) LONG

namespace orbengine {

/// What ends an engine before its time.
class Failure : public std::exception {
 public:
  /// @param status  of the engines (engstatus.h), the data-file service or the analysis routines
  explicit Failure(ULONG status) noexcept : status_(static_cast<LONG>(status)) {}
  LONG status() const noexcept { return status_; }
  const char* what() const noexcept override { return "analysis engine failed"; }

 private:
  LONG status_;
};

/// Throws Failure(status) unless the condition holds.
inline void require(bool condition, ULONG status) {
  if (!condition) throw Failure(status);
}

/// Throws Failure(status) for anything but success: for calls of the service and of the analysis routines.
template <typename Status>
void check(Status status) {
  if (status != 0) throw Failure(static_cast<ULONG>(status));
}

/// The numbers of the records of a block, 1 to n, for a loop over them; as many as there were at its begin.
class RecordNumbers {
 public:
  class Iterator {
   public:
    explicit Iterator(unsigned number) : number_(number) {}
    USHORT operator*() const { return static_cast<USHORT>(number_); }
    Iterator& operator++() {
      ++number_;
      return *this;
    }
    bool operator!=(const Iterator& other) const { return number_ != other.number_; }

   private:
    unsigned number_;  // wider than a record number, so that it can pass the last one
  };

  explicit RecordNumbers(USHORT count) : count_(count) {}
  Iterator begin() const { return Iterator(1); }
  Iterator end() const { return Iterator(count_ + 1u); }

 private:
  USHORT count_;
};

/// The values of an open file. Numbers are converted from and to the type that the file's dictionary gives the
/// parameter; a value that was never written is no failure.
class File {
 public:
  File(void* handle, USHORT step) : handle_(handle), step_(step) {}

  /// For calls of the service and of the analysis routines.
  void* handle() const { return handle_; }
  /// Number of the step in its sequence, from 1; 0 when the engine does not run as part of one.
  USHORT step() const { return step_; }

  /// A number; nothing when it was never written or is a text.
  std::optional<double> find(ULONG code, USHORT record = 0, USHORT entry = 0) const {
    DOUBLE number = 0;
    ULONG found = 0;
    check(AioGetNumbers(handle_, code, record, entry, 1, &number, &found));
    return found != 0 ? std::optional(number) : std::nullopt;
  }

  double number(ULONG code, double fallback, USHORT record = 0, USHORT entry = 0) const {
    DOUBLE number = fallback;
    check(AioGetNumbers(handle_, code, record, entry, 1, &number, nullptr));
    return number;
  }

  /// A text; empty when it was never written.
  std::string text(ULONG code, USHORT record = 0, USHORT entry = 0) const {
    // The service fills a text up to its greatest length, which few parameters have beyond the first of these.
    for (const USHORT room : {USHORT{320}, USHORT{AIO_MAX_VALUE_BYTES}}) {
      std::string bytes(room, '\0');
      USHORT size = room;
      const ULONG status = AioGetParam(handle_, code, record, entry, bytes.data(), &size);
      if (status == AIO_NOVALUE) return {};
      if (status == AIO_BADSIZE && room < AIO_MAX_VALUE_BYTES) continue;
      check(status);
      return bytes.c_str();
    }
    return {};
  }

  /// Number of records of a class; 0 without such a block.
  USHORT records(USHORT cls) const { return count(cls, 0); }
  /// for (const USHORT record : file.eachRecord(cls))
  RecordNumbers eachRecord(USHORT cls) const { return RecordNumbers(records(cls)); }
  /// Number of entries of a record, which is there.
  USHORT entries(USHORT cls, USHORT record) const { return count(cls, record); }

  /// The counts of all channels of the first row of a group; element 0 is channel 1.
  std::vector<float> spectrum(ULONG group = 1) const {
    const ULONG channels = countChannels();
    require(channels > 0, ENG_NOSPECTRUM);
    std::vector<float> counts(channels);
    check(AioReadSpectrum2(handle_, counts.data(), AIO_FORMAT_FLOAT, channels, 1, 1, group));
    return counts;
  }

  bool hasBlock(USHORT cls) const {
    for (const AioBlockInfo_T& block : blocks())
      if (block.usClass == cls) return true;
    return false;
  }

  /// Number of channels of the spectral block; 0 when the file has none.
  ULONG countChannels() const {
    for (const AioBlockInfo_T& block : blocks())
      if (block.usClass == ORB_CLS_SPECTRUM) return block.ulChannels;
    return 0;
  }

  /// Writes a number, saturating at the ends of the parameter's type. Records and entries are appended one by one.
  void set(ULONG code, double value, USHORT record = 0, USHORT entry = 0) {
    LONG type = 0;
    check(AioUtilReturnType(handle_, code, &type));
    const bool is_number = porb::withNumberType(type, [&](auto kind) {
      const auto raw = porb::nearest<decltype(kind)>(value);
      const USHORT size = sizeof raw;
      check(AioPutParam(handle_, code, record, entry, &raw, &size));
    });
    require(is_number, AIO_TYPEMISMATCH);
  }

  /// Writes a text.
  void setText(ULONG code, const std::string& value, USHORT record = 0, USHORT entry = 0) {
    require(value.size() <= AIO_MAX_VALUE_BYTES, AIO_TOOLONG);
    const auto size = static_cast<USHORT>(value.size());
    check(AioPutParam(handle_, code, record, entry, value.data(), &size));
  }

  /// Empties a block: it is there afterwards, and holds nothing.
  void renewBlock(USHORT cls) {
    const ULONG status = AioDeleteBlock(handle_, cls);
    if (status != AIO_NOBLOCK) check(status);
    check(AioCreateBlock(handle_, cls, 0));
  }

  /// Leaves word of what produced a block of results: engine, version, time and the settings that mattered. For the
  /// result classes, which keep them in the header parameters 0xF0 to 0xF3.
  void stamp(USHORT cls, const std::string& engine, const std::string& version, std::initializer_list<ULONG> settings) {
    stampAt((static_cast<ULONG>(cls) << 16) | 0xF0u, engine, version, settings);
  }

  /// The same in the four header parameters from a code on, for an engine that adds to the results of another.
  void stampAt(ULONG first_code, const std::string& engine, const std::string& version,
               std::initializer_list<ULONG> settings) {
    setText(first_code, engine);
    setText(first_code + 1, version);
    set(first_code + 2, presentTime());
    setText(first_code + 3, inWords(settings));
  }

  /// From here on the table of lines is to cover the whole spectrum: the limits that the look at a single region left
  /// in the settings hold no longer. Limits that somebody set for the whole spectrum stay.
  void coverWholeSpectrum() {
    if (number(ORB_L_PKSCOPE, 0) == 0) return;
    if (number(ORB_L_ONEREGION, 0) != 0) {
      const double last = std::max<double>(65535, countChannels());
      for (const ULONG code : {ORB_L_LOCFIRST, ORB_L_FITFIRST}) set(code, 1);
      for (const ULONG code : {ORB_L_LOCLAST, ORB_L_FITLAST}) set(code, last);
      set(ORB_L_ONEREGION, 0);
    }
    set(ORB_L_PKSCOPE, 0);
  }

  /// The file's blocks.
  std::vector<AioBlockInfo_T> blocks() const {
    ULONG count = 0;
    check(AioListBlocks(handle_, nullptr, 0, &count));
    std::vector<AioBlockInfo_T> found(count);
    check(AioListBlocks(handle_, found.data(), count, &count));
    return found;
  }

 private:
  USHORT count(USHORT cls, USHORT record) const {
    USHORT number = 0;
    const ULONG status = AioCount(handle_, cls, record, 0, &number);
    if (status != AIO_NOBLOCK) check(status);
    return number;
  }

  /// The present time as parameters hold it: ticks of 100 ns since 1858-11-17.
  static double presentTime() {
    constexpr double kEpoch_days = 40587;  // from 1858-11-17 to 1970-01-01
    const std::chrono::duration<double> now = std::chrono::system_clock::now().time_since_epoch();
    return (now.count() + kEpoch_days * 86400) * 1e7;
  }

  /// "NAME=value" lines; what was never written has no line.
  std::string inWords(std::initializer_list<ULONG> codes) const {
    std::ostringstream lines;
    lines.exceptions(std::ios::badbit);  // without memory it would end early, and nobody would know
    lines.imbue(std::locale::classic());
    for (const ULONG code : codes) {
      AioParamInfo_T info;
      check(AioUtilParamInfo(handle_, code, &info));
      if (info.lReturnType == AIO_T_TEXT || info.lReturnType == AIO_T_NAME) {
        if (const std::string value = text(code); !value.empty()) lines << info.szName << '=' << value << '\n';
      } else if (const auto value = find(code)) {
        lines << info.szName << '=' << *value << '\n';
      }
    }
    return lines.str();
  }

  void* handle_;
  USHORT step_;
};

/// Another data file, open for reading as long as the object lives.
class OtherFile {
 public:
  /// Throws Failure with `status`, or with that of the service when it is 0, for a file that cannot be opened.
  explicit OtherFile(const std::string& path, ULONG status = 0) {
    const ULONG opened = AioOpen2(&handle_, path.c_str(), AIO_READ_ONLY, 0, 0);
    require(opened == AIO_OK, status != 0 ? status : opened);
  }
  ~OtherFile() { AioClose2(handle_, AIO_CLOSE_NOFLUSH); }
  OtherFile(const OtherFile&) = delete;
  OtherFile& operator=(const OtherFile&) = delete;

  File values() const { return File(handle_, 0); }

 private:
  void* handle_ = nullptr;
};

/// One block as it was, for putting it back.
class BlockCopy {
 public:
  BlockCopy(void* handle, USHORT cls) : handle_(handle) {
    AioKeptBlock_T* kept = nullptr;
    check(AioKeepBlock(handle, cls, &kept));
    kept_.reset(kept);
  }

  /// Makes the block again what it was, or absent when it was. Throws Failure when that cannot be done, for want of
  /// memory; the block stays as it is.
  void restore() const { check(tryRestore()); }
  /// The same where another failure is told already. @return the status of the service
  ULONG tryRestore() const noexcept { return AioRestoreBlock(handle_, kept_.get()); }

 private:
  struct Free {
    void operator()(AioKeptBlock_T* kept) const noexcept { AioFreeKeptBlock(kept); }
  };

  void* handle_;
  std::unique_ptr<AioKeptBlock_T, Free> kept_;
};

/// The options of a step (ORB_T_ACSTEPOPTS): NAME=VALUE pairs separated by blanks, each a processing setting of class
/// 0x2003 that holds for this step alone. The settings are put into the file; takeBack() makes them again what they
/// were, and so does the end of an object whose step failed.
class StepOptions {
 public:
  explicit StepOptions(File& file) {
    const std::string options = file.step() > 0 ? file.text(kStepOptions, file.step()) : std::string();
    if (options.find_first_not_of(' ') == std::string::npos) return;
    former_.emplace(file.handle(), USHORT{ORB_CLS_PROC});
    try {
      std::istringstream pairs(options);
      pairs.exceptions(std::ios::badbit);
      for (std::string pair; pairs >> pair;) apply(file, pair);
    } catch (...) {
      former_->tryRestore();
      throw;
    }
  }
  ~StepOptions() {
    if (former_) former_->tryRestore();
  }
  void takeBack() {
    if (former_) former_->restore();
    former_.reset();
  }
  StepOptions(const StepOptions&) = delete;
  StepOptions& operator=(const StepOptions&) = delete;

 private:
  static constexpr ULONG kStepOptions = ORB_T_ACSTEPOPTS;

  static void apply(File& file, const std::string& pair) {
    const std::size_t sign = pair.find('=');
    require(sign != std::string::npos, ENG_BADOPTION);
    char full_name[AIO_DESCRIPTION_LENGTH];
    ULONG code = 0;
    require(AioUtilPname2Code(pair.substr(0, sign).c_str(), full_name, &code) == AIO_OK, ENG_BADOPTION);
    require(code >> 16 == ORB_CLS_PROC, ENG_BADOPTION);
    LONG type = 0;
    check(AioUtilReturnType(file.handle(), code, &type));
    const std::string value = pair.substr(sign + 1);
    if (type == AIO_T_TEXT || type == AIO_T_NAME) return file.setText(code, value);
    std::istringstream text(value);
    text.exceptions(std::ios::badbit);
    text.imbue(std::locale::classic());
    double number = 0;
    require(static_cast<bool>(text >> number) && text.eof(), ENG_BADOPTION);
    file.set(code, number);
  }

  std::optional<BlockCopy> former_;
};

/// Runs an engine at the C border: applies the options of the step, turns what the body throws into a status, and after
/// a failure puts the blocks back that the engine writes.
/// @param writes  classes of the blocks that the body changes
/// @param body    void(File&)
/// @return 0, or the status that the body failed with; ENG_NOMEMORY; ENG_INTERNAL for any other exception
template <typename Body>
LONG run(void* handle, USHORT step, std::initializer_list<USHORT> writes, Body&& body) noexcept {
  try {
    File file(handle, step);
    std::vector<BlockCopy> former;
    for (const USHORT cls : writes) former.emplace_back(handle, cls);
    try {
      StepOptions options(file);
      body(file);
      options.takeBack();
    } catch (...) {
      for (const BlockCopy& block : former) block.tryRestore();
      throw;
    }
    return ENG_OK;
  } catch (const Failure& failure) {
    return failure.status();
  } catch (const std::bad_alloc&) {
    return ENG_NOMEMORY;
  } catch (...) {
    return ENG_INTERNAL;
  }
}

/// As run, for an engine that makes the table of lines anew. It covers the whole spectrum, whatever region somebody
/// looked at before; options of the step may narrow it.
template <typename Body>
LONG runOnWholeSpectrum(void* handle, USHORT step, std::initializer_list<USHORT> writes, Body&& body) noexcept {
  // Outside of the step's options, which take the settings with them when they end.
  return run(handle, 0, {ORB_CLS_PROC, ORB_CLS_PEAKS}, [&](File& file) {
    file.coverWholeSpectrum();
    check(run(handle, step, writes, body));
  });
}

}  // namespace orbengine
