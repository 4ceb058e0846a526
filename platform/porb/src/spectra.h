#pragma once
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "citypes.h"
#include "status.h"

namespace porb {

/// Size of a spectral block: groups x rows spectra of as many channels each.
struct SpectralShape {
  std::uint32_t groups = 0;
  std::uint32_t rows = 0;
  std::uint32_t channels = 0;
};

/// AIO_OK, AIO_BADCHANNELS or AIO_BADSPECTRUM: whether a block may have this shape.
Status checkShape(const SpectralShape& shape) noexcept;

/// One spectrum as it is stored: the bit patterns of its channels in one format.
struct Spectrum {
  LONG format = 0;
  std::vector<std::uint32_t> channels;
  bool dirty = true;

  std::uint64_t hash() const noexcept;
};

/// Group and row of a spectrum, both from 1.
struct SpectrumKey {
  std::uint32_t group;
  std::uint32_t row;
  friend bool operator<(const SpectrumKey& a, const SpectrumKey& b) noexcept {
    return a.group != b.group ? a.group < b.group : a.row < b.row;
  }
};

/// The spectra of a spectral block. Only those that were written take memory; the others read as zeros.
class Spectra {
 public:
  explicit Spectra(const SpectralShape& shape) : shape_(shape) {}

  const SpectralShape& shape() const noexcept { return shape_; }

  /// Channels are numbered from 1; `first` 0 means 1, as do group and row 0.
  Status read(void* buffer, LONG format, ULONG channels, ULONG first, ULONG row, ULONG group) const noexcept;
  /// @throws std::bad_alloc, and nothing has changed
  Status write(const void* buffer, LONG format, ULONG channels, ULONG first, ULONG row, ULONG group);
  Spectra clone() const;

  // ---- For the storage ----------------------------------------------------------------------------------
  const std::map<SpectrumKey, Spectrum>& written() const noexcept { return spectra_; }
  /// False when there is one at that place already.
  bool addLoaded(const SpectrumKey& key, Spectrum&& spectrum) {
    return spectra_.try_emplace(key, std::move(spectrum)).second;
  }
  bool isRewrite() const noexcept { return rewrite_; }
  void setRewrite() noexcept { rewrite_ = true; }
  bool isDirty() const noexcept;
  void markClean() noexcept;

 private:
  struct Range {
    SpectrumKey key;
    std::uint32_t offset;
  };
  Status locate(LONG format, ULONG channels, ULONG first, ULONG row, ULONG group, Range& range) const noexcept;

  SpectralShape shape_;
  std::map<SpectrumKey, Spectrum> spectra_;
  bool rewrite_ = false;
};

}  // namespace porb
