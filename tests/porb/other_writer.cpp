// A process of its own that has a data file open for writing, for the tests of sharing. Arguments: what to do and the
// file. On standard output it writes a line with the status of the opening, then one for every flush. It ends when its
// standard input does.
//   hold         opens the file, puts a value that it never flushes, and waits
//   generations  writes one number into several blocks and flushes, again and again
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "generations.h"

namespace {

bool isInputEnded() {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  return poll(&input, 1, 0) != 0;
}

void say(ULONG status) {
  std::printf("%u\n", static_cast<unsigned>(status));
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  void* handle = nullptr;
  const ULONG status = AioOpen2(&handle, argv[2], AIO_READ_WRITE, 0, 0);
  say(status);
  if (status != AIO_OK) return 1;
  if (std::string(argv[1]) == "hold") {
    porbtest::putGeneration(handle, -1);
    char ignored = 0;
    while (read(STDIN_FILENO, &ignored, 1) > 0) {
    }
  } else {
    for (LONG generation = 2; !isInputEnded(); ++generation)
      if (porbtest::putGeneration(handle, generation) == AIO_OK) say(AioFlush(handle));
  }
  return AioClose2(handle, AIO_CLOSE_NOFLUSH) == AIO_OK ? 0 : 1;
}
