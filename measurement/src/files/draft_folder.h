/// A folder for a file that does not bear its name yet.
#pragma once
#include <optional>
#include <string>

#include "leftovers.h"

namespace com::norvale::measurement {

/// A new folder beside a target, which only this user can enter, gone again with the object, also when a signal ends
/// the program. As long as the process lives it holds a lock on the folder: that is how the next one tells what a
/// killed process left, whatever its number, machine or container was, and removes it.
class DraftFolder {
 public:
  /// @throws Failure naming `shown_name`
  DraftFolder(const std::string& target, const std::string& shown_name);
  ~DraftFolder();
  DraftFolder(const DraftFolder&) = delete;
  DraftFolder& operator=(const DraftFolder&) = delete;

  /// Where the draft goes. Nothing lies there yet.
  const std::string& draft() const { return draft_; }

 private:
  void remember(const std::string& path);

  std::string draft_;
  int lock_ = -1;
  std::optional<Leftovers> leftovers_;
};

/// Removes what killed processes of this user left in the folder of the target, once per folder and process.
void removeDeadDrafts(const std::string& target);

}  // namespace com::norvale::measurement
