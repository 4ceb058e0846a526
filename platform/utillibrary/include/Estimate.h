#pragma once

namespace com::norvale::datatypes {

/// A measured or computed quantity: its value and its standard uncertainty, both in the quantity's unit.
template <typename T>
struct Estimate {
  T value{};
  T uncertainty{};
};

}  // namespace com::norvale::datatypes
