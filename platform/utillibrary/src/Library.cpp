#include "Library.h"

#include <dlfcn.h>

#include <utility>

#include "writelog.h"

namespace com::norvale::datatypes {
namespace {

using application::vyx::err;
using application::vyx::writelog;

}  // namespace

Library::~Library() {
  close();
}

Library::Library(Library&& other) noexcept
    : name_(std::exchange(other.name_, {})), module_(std::exchange(other.module_, nullptr)) {}

Library& Library::operator=(Library&& other) noexcept {
  if (this == &other) return *this;
  close();
  name_ = std::exchange(other.name_, {});
  module_ = std::exchange(other.module_, nullptr);
  return *this;
}

std::uint32_t Library::open(const std::string& path) {
  if (isOpen()) return kAlreadyOpen;
  if (*path.c_str() == '\0') return kEmptyName;  // also a path that begins with a zero byte
  std::string name = path;                       // what can fail comes before the library is loaded
  void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) {
    const char* reason = dlerror();
    writelog("Library::open", err, reason != nullptr ? reason : path, kNotLoaded);
    return kNotLoaded;
  }
  name_ = std::move(name);
  module_ = module;
  return 0;
}

void* Library::procAddress(const std::string& symbol) const {
  if (!isOpen()) return nullptr;
  // A symbol may exist and have the value null; only the loader's error text tells that from a missing one.
  dlerror();
  void* address = dlsym(module_, symbol.c_str());
  if (address != nullptr) return address;
  if (const char* reason = dlerror()) writelog("Library::procAddress", err, reason, kNoSymbol);
  return nullptr;
}

bool Library::isOpen() const noexcept {
  return module_ != nullptr;
}

const std::string& Library::name() const noexcept {
  return name_;
}

void Library::close() noexcept {
  if (module_ != nullptr) dlclose(module_);
  module_ = nullptr;
  name_.clear();
}

}  // namespace com::norvale::datatypes
