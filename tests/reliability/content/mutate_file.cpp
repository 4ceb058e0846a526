// mutate_file MODE FILE FOLDER SEED COUNT: writes COUNT copies of a data file, each changed in a way of its own, as
// FOLDER/SEED.dat, FOLDER/SEED+1.dat and so on. MODE: rows or bytes.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>

#include "mutations.h"

int main(int argc, char** argv) {
  static const std::map<std::string, void (*)(const std::string&, content::Dice&)> kModes = {
      {"rows", content::mutateRows}, {"bytes", content::mutateBytes}};
  if (argc != 6 || kModes.count(argv[1]) == 0) {
    std::fprintf(stderr, "usage: mutate_file rows|bytes FILE FOLDER SEED COUNT\n");
    return 2;
  }
  const std::uint64_t first = std::strtoull(argv[4], nullptr, 10);
  const std::uint64_t count = std::strtoull(argv[5], nullptr, 10);
  for (std::uint64_t seed = first; seed < first + count; ++seed) {
    const std::string path = argv[3] + ("/" + std::to_string(seed)) + ".dat";
    std::filesystem::copy_file(argv[2], path, std::filesystem::copy_options::overwrite_existing);
    content::Dice dice(seed);
    kModes.at(argv[1])(path, dice);
  }
  return 0;
}
