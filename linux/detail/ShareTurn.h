#pragma once

#include <functional>
#include <optional>
#include <string>

#include "linux/detail/FileDescriptor.h"
#include "platform/Export.h"

namespace korvane {

/// The time in which one share has the staging folder to itself. Each share empties the folder and
/// fills it anew, under the names that were free: of two at once, one would attach the other's
/// files, and so would a mail client that comes for its files when the next share has begun.
///
/// So a turn begins when no other share has one and when what the share before handed over has been
/// taken: as long as that is less than two minutes ago, and there is a file that nobody has read
/// since, the folder may not be emptied. On a file system that does not note when a file was read
/// it is ten seconds.
///
/// A turn ends with this object or with the process, however that ends. What was handed over is
/// noted in the lock file, so that nothing has to stay behind for it.
class KORVANE_EXPORT ShareTurn {
 public:
  /// How long a share waits for its turn, in seconds, and after which time it says so.
  static constexpr double kLongestWait = 15;
  static constexpr double kSilentWait = 1;
  /// How long files that were handed over are kept for a client that has not read them, in seconds:
  /// where reading is noted, and where it is not.
  static constexpr double kKept = 120;
  static constexpr double kKeptUnseen = 10;

  /// Waits for the turn of a share that stages in `folder` (an absolute path below `container`).
  /// `tell` gets one line for the person where that takes longer than a second. Makes the folder
  /// that holds the container; waits on the clock of the Platform, which must be installed.
  ///
  /// `stop`, asked again and again meanwhile, gives a reason where nobody wants the turn any more.
  ///
  /// Without a container, and where its path is not UTF-8, nothing can be staged, so that nothing
  /// needs a turn: the share may begin at once.
  ShareTurn(const std::optional<std::string>& container, const std::string& folder,
            const std::function<void(const std::string& line)>& tell = {},
            const std::function<std::optional<std::string>()>& stop = {});
  ~ShareTurn();
  ShareTurn(const ShareTurn&) = delete;
  ShareTurn& operator=(const ShareTurn&) = delete;

  /// Whether other shares are kept waiting.
  bool isOurs() const { return static_cast<bool>(file_); }
  /// Why the share must not begin, as a sentence for people; absent where it may. Nothing was
  /// changed in the folder then.
  const std::optional<std::string>& refusal() const { return refusal_; }

  /// Notes that what lies in the folder is handed over at this moment; to be called before that
  /// happens, and again when the client has answered. Nothing is noted where nothing lies there.
  /// Gives the reason, for people, where the note cannot be written: the files would not be safe.
  std::optional<std::string> noteHandOver();
  /// Takes the note back: the client has not got the message.
  void forgetHandOver();

 private:
  void begin(const std::function<void(const std::string& line)>& tell,
             const std::function<std::optional<std::string>()>& stop);
  bool mayEmpty();
  /// Replaces what is noted about this folder; gives an errno value, 0 for success.
  int note(const std::optional<double>& time);

  const std::string path_;    // of the lock file
  const std::string folder_;  // absolute
  std::string name_;          // of the folder, relative to the container
  FileDescriptor file_;
  std::optional<std::string> refusal_;
  std::optional<bool> isReadingNoted_;
};

}  // namespace korvane
