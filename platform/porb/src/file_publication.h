#pragma once
#include <memory>
#include <string>

#include "writer_lock.h"

namespace porb {

/// Waits until a file is on disk. @throws Failure
void synchronise(int descriptor);

/// Gives a file another name. @param replace  whether a file of that name may go
/// @throws Failure(AIO_FILEEXISTS), AIO_NOACCESS, AIO_DISKFULL, AIO_IOERROR
void renameOver(const std::string& from, const std::string& to, bool replace);

/// The right to put a data file under a name: nobody writes to a file of that name, or makes one, meanwhile.
class Reservation {
 public:
  /// Takes the writer's lock. What a dead writer left half done to a file of the name is undone first, so that no
  /// journal stays that would be taken for that of the new file.
  /// @throws Failure(AIO_LOCKED), AIO_BADJOURNAL, AIO_NOTREGULAR and what opening for writing may give
  explicit Reservation(const std::string& path);

  const std::string& name() const noexcept { return target_; }
  /// Brings a closed data file to disk and gives it the name. It takes over owner, group, mode and access list of the
  /// file that it replaces. @throws Failure(AIO_FILEEXISTS) unless `replace`; AIO_NOACCESS, also when the new file
  /// could not belong to the owner of the former one
  void publish(const std::string& draft, bool replace);

 private:
  std::string target_;
  std::unique_ptr<WriterLock> lock_;
};

}  // namespace porb
