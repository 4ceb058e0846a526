#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "n42_parts.h"
#include "number_scan.h"
#include "text.h"

namespace orb::formats {
namespace {

/// A text node of the counts; comments may cut the text into several.
class CountText final : public Complaints {
 public:
  CountText(const N42Document& document, const pugi::xml_node& node) : document_(document), node_(node) {}
  [[noreturn]] void fail(const char* place, const std::string& what) const override {
    document_.failInside(node_, place, what);
  }

 private:
  const N42Document& document_;
  pugi::xml_node node_;
};

bool isText(const pugi::xml_node& node) {
  return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

/// All numbers of the element as they stand, before runs of zeros are expanded.
void readNumbers(const N42Document& document, const pugi::xml_node& channel_data, std::vector<double>& numbers) {
  numbers.clear();
  for (const pugi::xml_node& node : channel_data.children()) {
    if (!isText(node)) continue;
    const CountText complaints(document, node);
    const char* const begin = node.value();
    const char* const end = begin + std::char_traits<char>::length(begin);
    const char* p = skipBlanks(begin, end);
    while (p != end) {
      double count = 0;
      p = skipBlanks(scanCount(complaints, p, end, count), end);
      numbers.push_back(count);
    }
  }
}

bool isCompressed(const N42Document& document, const pugi::xml_node& channel_data) {
  std::string_view code = attributeOf(channel_data, "compressionCode");
  if (code.empty()) code = attributeOf(channel_data, "Compression");
  if (code.empty() || equalsIgnoringCase(code, "None")) return false;
  if (equalsIgnoringCase(code, "CountedZeroes") || equalsIgnoringCase(code, "CountedZeros")) return true;
  document.fail(channel_data, "the compression '" + cleanText(code) + "' is not known");
}

/// Number of channels, where a zero stands for as many zeros as the number behind it says.
std::size_t expandedSize(const N42Document& document, const pugi::xml_node& channel_data,
                         const std::vector<double>& numbers) {
  double size = 0;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (numbers[i] != 0) {
      size += 1;
      continue;
    }
    if (++i == numbers.size()) document.fail(channel_data, "the last run of zeros has no length");
    if (numbers[i] < 1 || numbers[i] != std::floor(numbers[i])) {
      document.fail(channel_data, "a run of zeros has the length " + numberText(numbers[i]));
    }
    size += numbers[i];
  }
  const double limit = static_cast<double>(kMaxChannels);
  return size > limit ? kMaxChannels + 1 : static_cast<std::size_t>(size);
}

void expand(const std::vector<double>& numbers, std::vector<double>& counts) {
  std::size_t channel = 0;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (numbers[i] != 0) {
      counts[channel++] = numbers[i];
    } else {
      channel += static_cast<std::size_t>(numbers[++i]);
    }
  }
}

}  // namespace

void readChannelData(const N42Document& document, const pugi::xml_node& channel_data, std::size_t& budget,
                     std::vector<double>& numbers, SpectrumData& spectrum) {
  readNumbers(document, channel_data, numbers);
  const bool compressed = isCompressed(document, channel_data);
  const std::size_t n = compressed ? expandedSize(document, channel_data, numbers) : numbers.size();
  if (n == 0) document.fail(channel_data, "there are no counts");
  if (n > kMaxChannels) {
    document.fail(channel_data, "more than " + std::to_string(kMaxChannels) + " channels in one spectrum");
  }
  if (n > budget) {
    document.fail(channel_data, "more than " + std::to_string(kMaxChannelsOfFile) + " channels in one file");
  }
  budget -= n;
  spectrum.whole_counts = std::all_of(numbers.begin(), numbers.end(), isWhole);
  spectrum.counts.assign(n, 0.0);
  if (compressed) {
    expand(numbers, spectrum.counts);
  } else {
    std::copy(numbers.begin(), numbers.end(), spectrum.counts.begin());
  }
}

}  // namespace orb::formats
