#pragma once
#include <cstdint>
#include <variant>

#include "spectra.h"
#include "table.h"

namespace porb {

/// One block of a file: either values (a Table) or, for class 0x2005, spectra.
class Block {
 public:
  Block(std::uint16_t cls, std::uint32_t size, std::variant<Table, Spectra> body)
      : cls_(cls), size_(size), body_(std::move(body)) {}

  std::uint16_t cls() const noexcept { return cls_; }
  std::uint32_t size() const noexcept { return size_; }
  Table* table() noexcept { return std::get_if<Table>(&body_); }
  const Table* table() const noexcept { return std::get_if<Table>(&body_); }
  Spectra* spectra() noexcept { return std::get_if<Spectra>(&body_); }
  const Spectra* spectra() const noexcept { return std::get_if<Spectra>(&body_); }

  /// A copy that counts as not yet written. @throws std::bad_alloc
  Block clone() const {
    if (const Spectra* mine = spectra()) return {cls_, size_, mine->clone()};
    return {cls_, size_, table()->clone()};
  }
  /// All rows of the class on disk are replaced.
  bool isRewrite() const noexcept {
    return std::visit([](const auto& body) { return body.isRewrite(); }, body_);
  }
  void setRewrite() noexcept {
    std::visit([](auto& body) { body.setRewrite(); }, body_);
  }
  bool isDirty() const noexcept {
    return std::visit([](const auto& body) { return body.isDirty(); }, body_);
  }
  void markClean() noexcept {
    std::visit([](auto& body) { body.markClean(); }, body_);
  }

 private:
  std::uint16_t cls_;
  std::uint32_t size_;
  std::variant<Table, Spectra> body_;
};

}  // namespace porb
