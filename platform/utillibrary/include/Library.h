#pragma once
#include <cstdint>
#include <string>

#include "utillibrary_export.h"

namespace com::norvale::datatypes {

/// A shared library loaded at run time, released with the object. Symbols are resolved at once (RTLD_NOW) and
/// are not offered to other libraries (RTLD_LOCAL).
/// @threads one thread per object
class UTILLIBRARY_EXPORT Library {
 public:
  /// Result of open when the library cannot be loaded.
  static constexpr std::uint32_t kNotLoaded = 0x8007007Eu;
  /// Result of open on an object that has a library loaded already.
  static constexpr std::uint32_t kAlreadyOpen = 0x800704DFu;
  /// Result of open with an empty path (which the loader would take for the program itself).
  static constexpr std::uint32_t kEmptyName = 0x80070057u;
  /// Code of the log line about a symbol that the library does not have.
  static constexpr std::uint32_t kNoSymbol = 0x8007007Fu;

  Library() noexcept = default;
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  Library(Library&& other) noexcept;
  Library& operator=(Library&& other) noexcept;

  /// Loads the library at `path`, given to the loader as it is.
  /// @return 0; kNotLoaded, with the loader's own message in one log line under "Library::open";
  ///         kAlreadyOpen; kEmptyName
  std::uint32_t open(const std::string& path);
  /// Address of an exported symbol; null when nothing is loaded or the library has no such symbol (the
  /// loader's message is then logged under "Library::procAddress", code kNoSymbol).
  void* procAddress(const std::string& symbol) const;
  bool isOpen() const noexcept;
  /// The path given to open; empty while nothing is loaded.
  const std::string& name() const noexcept;
  /// Releases the library; nothing happens when none is loaded.
  void close() noexcept;

 private:
  std::string name_;
  void* module_ = nullptr;
};

}  // namespace com::norvale::datatypes
