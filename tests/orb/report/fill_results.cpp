// Puts nuclides and detection limits into a data file with fitted lines, as an identification would leave them:
// fill_results FILE. The third nuclide's name tries to get out of every place where a text goes.
#include <iostream>

#include "FileAccess.h"

namespace {

using com::norvale::datatypes::Variant;
using com::norvale::orb::FileAccess;

constexpr std::uint32_t kNuclides = 0x20080000;
constexpr std::uint32_t kLimits = 0x20090000;

class Filler {
 public:
  explicit Filler(FileAccess& file) : file_(file) {}

  template <typename Value>
  void put(std::uint32_t code, Value value, std::uint16_t record = 0, std::uint16_t entry = 0) {
    is_good_ &= file_.setParameter(code, Variant(value), record, entry) == 0;
  }
  bool isGood() const { return is_good_; }

  /// A value and the uncertainty that stands behind it.
  void putPair(std::uint32_t code, double value, double uncertainty, std::uint16_t record, std::uint16_t entry = 0) {
    put(code, value, record, entry);
    put(code + 1, uncertainty, record, entry);
  }

  void nuclide(std::uint16_t record, const std::string& name, double activity_bq, int marks) {
    put(kNuclides + 0x01, name, record);
    put(kNuclides + 0x02, 0.97, record);
    putPair(kNuclides + 0x03, activity_bq, activity_bq * 0.031, record);
    putPair(kNuclides + 0x05, activity_bq * 1.02, activity_bq * 0.032, record);
    putPair(kNuclides + 0x07, activity_bq * 2.04, activity_bq * 0.064, record);
    put(kNuclides + 0x09, 4.267e8, record);
    put(kNuclides + 0x0B, 2, record);
    put(kNuclides + 0x0C, 1, record);
    put(kNuclides + 0x12, marks, record);
    line(record, 1, 121.7817, 1, activity_bq);
    line(record, 2, 444.0, 0, 0);
  }

  void limit(std::uint16_t record, const std::string& name, double limit_bq) {
    put(kLimits + 0x01, name, record);
    put(kLimits + 0x02, 661.657, record);
    put(kLimits + 0x03, 1.85, record);
    if (limit_bq > 0) put(kLimits + 0x04, limit_bq, record);
    put(kLimits + 0x09, 21.5, record);
    put(kLimits + 0x0A, 46.1, record);
    put(kLimits + 0x16, std::string("normal approximation"), record);
    put(kLimits + 0x17, limit_bq > 0 ? 0 : 1, record);
  }

 private:
  void line(std::uint16_t record, std::uint16_t entry, double energy_keV, int peak, double activity_bq) {
    put(kNuclides + 0x20, energy_keV, record, entry);
    put(kNuclides + 0x21, peak, record, entry);
    put(kNuclides + 0x22, 28.53, record, entry);
    if (peak == 0) return;
    putPair(kNuclides + 0x23, activity_bq, activity_bq * 0.04, record, entry);
    put(kNuclides + 0x25, -0.42, record, entry);
    put(kNuclides + 0x26, 100.0, record, entry);
    put(kNuclides + 0x27, 0.012, record, entry);
  }

  FileAccess& file_;
  bool is_good_ = true;
};

}  // namespace

int main(int argc, char** argv) {
  FileAccess file;
  if (argc != 2 || file.open(argv[1], com::norvale::orb::READWRITE) != 0) {
    std::cerr << "usage: fill_results FILE\n";
    return 2;
  }
  Filler filler(file);
  filler.nuclide(1, "Eu-152", 2987, 0);
  filler.nuclide(2, "K-40", 305, 4);
  filler.nuclide(3, "<img src=x>", 12, 0);
  filler.limit(1, "Cs-137", 3.7);
  filler.limit(2, "Eu-152", 1);  // was found: not among those that were not
  filler.limit(3, "Cs-134", 0);
  filler.put(kNuclides + 0x41, std::string("STDLIB.NLB"));
  filler.put(kNuclides + 0xF0, std::string("fill_results"));
  filler.put(kNuclides + 0xF3, std::string("tolerance=1\nmode=0"));
  filler.put(0x20060056, true, 2);  // the second peak is explained by nothing
  filler.put(0x20060057, std::string("Eu-152"), 1);
  filler.put(0x20030002, std::string("kBq"));
  filler.put(0x20010006, std::string("kg"));
  return filler.isGood() && file.close(com::norvale::orb::FLUSH) == 0 ? 0 : 1;
}
