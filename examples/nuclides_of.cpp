// Opens a spectrum in any format, analyses it, prints its nuclides and keeps the results as a data file.
#include <measurement.h>

#include <cstdio>

using namespace com::norvale::measurement;

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  try {
    auto m = Measurement::open(argv[1]);
    m.analyse();
    for (const Nuclide& n : m.nuclides())
      std::printf("%-8s confidence %.2f  %zu lines\n", n.name.c_str(), n.confidence, n.lines.size());
    if (argc > 2) m.save(argv[2]);
    return 0;
  } catch (const Failure& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
  }
}
