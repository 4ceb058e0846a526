/// Output files that appear whole or not at all.
#pragma once
#include <string>
#include <string_view>

#include "leftovers.h"
#include "open_file.h"

namespace orb::tool {

/// A file under a name of its own beside its target, renamed to the target when it is complete. A draft that is not
/// published is removed, also when a signal ends the program. Several threads may make drafts, 128 at once.
class DraftFile {
 public:
  /// @param force  whether an existing file may be replaced. Never replaced: what is not a regular file, a data file
  ///               that somebody is writing, a file beside which a crashed writer's journal lies.
  /// @throws Failure
  DraftFile(const std::string& target, bool force);
  ~DraftFile();
  DraftFile(const DraftFile&) = delete;
  DraftFile& operator=(const DraftFile&) = delete;

  /// Name of the draft. Nothing lies there yet.
  const std::string& path() const { return draft_; }
  /// Makes the draft of a text. @throws Failure
  void write(std::string_view text);
  /// Writes and closes a data file that was made under path(). @throws Failure
  void write(FileAccess& file);
  /// Gives the draft its name; both are on disk afterwards. @throws Failure
  void publish();

 private:
  std::string named_;   // as the user wrote it
  std::string target_;  // symbolic links resolved
  std::string draft_;
  bool force_;
  Leftovers leftovers_;
  bool is_published_ = false;
};

/// Writes a data file that does not bear its name yet, without waiting for the disk: a draft that a crash leaves behind
/// is worth nothing, whole or not.
/// @throws Failure naming `shown_name`
void flushDraft(FileAccess& file, const std::string& shown_name);

/// Refuses to put a data file in the place of something else, even when replacing is allowed: of a spectrum in a text
/// format there may be no other copy.
/// @throws Failure when the path names a file with content that is no data file
void requireNoOtherFile(const std::string& path);

}  // namespace orb::tool
