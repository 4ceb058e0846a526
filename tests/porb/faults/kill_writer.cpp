// Writes to data files until it is killed, and tells on its standard output how far it is sure to have come.
//   kill_writer flush FILE   flushes one generation after the other; each number is acknowledged after its flush
//   kill_writer create DIR   creates DIR/1, DIR/2, ...; each number is acknowledged after the creation
#include <unistd.h>

#include <cstdio>
#include <string>

#include "fault_support.h"
#include "generation.h"

using namespace faults;

namespace {

bool acknowledge(LONG number) {
  return write(STDOUT_FILENO, &number, sizeof number) == sizeof number;
}

int fail(const char* what, ULONG status) {
  std::fprintf(stderr, "kill_writer: %s: %s\n", what, AioStatusName(status));
  return 1;
}

int flushGenerations(const std::string& path) {
  const File file(path);
  if (file.status() != AIO_OK) return fail("open", file.status());
  std::string mixture;
  LONG generation = readGeneration(file, mixture);
  if (!mixture.empty()) return fail(mixture.c_str(), AIO_BADCONTENT);
  if (!acknowledge(generation)) return 1;
  for (;;) {
    if (!writeGeneration(file, ++generation)) return fail("change", AIO_INTERNAL);
    const ULONG status = AioFlush(file);
    if (status != AIO_OK) return fail("flush", status);
    if (!acknowledge(generation)) return 1;
  }
}

int createFiles(const std::string& dir) {
  for (LONG number = 1;; ++number) {
    File file;
    const std::string path = dir + "/" + std::to_string(number);
    if (exists(path)) continue;
    const ULONG status = AioCreate(file.out(), path.c_str(), 0, nullptr, nullptr, nullptr);
    if (status != AIO_OK) return fail("create", status);
    if (!acknowledge(number)) return 1;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  return std::string(argv[1]) == "flush" ? flushGenerations(argv[2]) : createFiles(argv[2]);
}
