#include "read_bytes.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "failure.h"
#include "file_descriptor.h"
#include "neighbours.h"
#include "spectrum_data.h"

namespace com::norvale::measurement {

namespace {

/// A pipe is waited for as long as somebody may still write to it; one that nobody has open is empty.
void awaitWriter(int descriptor) {
  pollfd wait{descriptor, POLLIN, 0};
  poll(&wait, 1, -1);
  errno = EAGAIN;
}

}  // namespace

std::string readBytes(const std::string& path) {
  const com::norvale::datatypes::FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file) failWithErrno(errno, path, "cannot open");
  std::string bytes;
  constexpr std::size_t kStep = std::size_t{1} << 20;
  for (std::size_t size = 0;;) {
    bytes.resize(size + kStep);
    const ssize_t n = read(file.get(), bytes.data() + size, kStep);
    if (n < 0 && errno == EAGAIN) awaitWriter(file.get());
    if (n < 0 && errno != EINTR && errno != EAGAIN) failWithErrno(errno, path, "cannot read");
    if (n > 0) size += static_cast<std::size_t>(n);
    bytes.resize(size);
    if (n == 0) return bytes;
    if (size > formats::kMaxTextBytes) {
      throw Failure(path, "longer than the " + std::to_string(formats::kMaxTextBytes >> 20) + " MiB that are read");
    }
  }
}

}  // namespace com::norvale::measurement
