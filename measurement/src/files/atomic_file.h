/// Output files that appear whole or not at all.
#pragma once
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "aioproto.h"
#include "draft_folder.h"
#include "open_file.h"

namespace com::norvale::measurement {

/// A file in a folder of its own beside its target, renamed to the target when it is complete. A draft that is not
/// published is removed, also when a signal ends the program; what a killed program left is removed by the next one.
/// Several threads may make drafts, 128 at once.
class DraftFile {
 public:
  enum class Content { kData, kText };

  /// Nobody writes a data file of that name until the draft is published or gone.
  /// @param force  whether an existing file may be replaced. Never replaced: what is not a regular file, a data file
  ///               that somebody is writing, a file beside which a stranger's journal lies; by data: what is neither
  ///               data file nor empty, since of a spectrum in a text format there may be no other copy.
  /// @throws Failure
  DraftFile(const std::string& target, bool force, Content content = Content::kData);
  DraftFile(const DraftFile&) = delete;
  DraftFile& operator=(const DraftFile&) = delete;

  /// Name of the draft. Nothing lies there yet.
  const std::string& path() const { return folder_->draft(); }
  /// Makes the draft of a text. @throws Failure
  void write(std::string_view text);
  /// Writes and closes a data file that was made under path(). @throws Failure
  void write(FileAccess& file);
  /// Gives the draft its name, and owner, group, mode and access list of the file that it replaces; all of it is on
  /// disk afterwards. @throws Failure
  void publish();

 private:
  void reserve();

  struct Release {
    void operator()(AioReservation_T* reservation) const { AioRelease(reservation); }
  };

  std::string named_;   // as the user wrote it
  std::string target_;  // symbolic links resolved
  bool force_;
  std::unique_ptr<AioReservation_T, Release> reservation_;
  std::optional<Leftovers> lock_file_;  // for a signal; otherwise the reservation takes it away
  std::unique_ptr<DraftFolder> folder_;
};

}  // namespace com::norvale::measurement
