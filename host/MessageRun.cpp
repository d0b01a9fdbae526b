#include "host/MessageRun.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "extension/ConstVars.h"
#include "extension/ExtensionUtilities.h"
#include "linux/detail/FileDescriptor.h"
#include "linux/detail/OpenWithoutLinks.h"
#include "model/ExtensionMessage.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

/// Opens what an absolute path leads to, for nothing but to be opened again. Without a descriptor
/// `why` is the reason.
FileDescriptor openAttachment(const std::string& path, std::string& why) {
  if (!path.starts_with('/')) {
    // What GLib says where it has no text for a path.
    why = path == "[Invalid UTF-8]"
              ? translated("its name is not UTF-8, and the desktop cannot say which it is")
              : translated("it is not an absolute path");
    return {};
  }
  FileDescriptor file = openWithoutLinks(AT_FDCWD, path, O_PATH);
  if (!file) why = errno == ELOOP ? translated("it is behind a link") : std::strerror(errno);
  return file;
}

bool isControl(char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; }

/// Whether a text is one address, and would be after others were put behind it with ";" between.
bool isOneAddress(std::string_view text) {
  if (text.starts_with('@') || text.ends_with('@') || std::ranges::any_of(text, isControl)) {
    return false;
  }
  int ats = 0;
  bool isQuoted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') isQuoted = !isQuoted;
    if (isQuoted && text[i] == '\\') {
      ++i;
    } else if (!isQuoted && text[i] == '@') {
      ++ats;
    } else if (!isQuoted && std::string_view(" ,;<>()").find(text[i]) != std::string_view::npos) {
      return false;
    }
  }
  return !isQuoted && ats == 1;
}

/// The attachments of a message, opened.
class Attachments {
 public:
  Attachments(const std::vector<std::string>& paths, RunWatch& run) {
    for (const std::string& path : paths) {
      std::string why;
      FileDescriptor file = openAttachment(path, why);
      if (!file) {
        run.miss(path, why);
        continue;
      }
      run.setOpened(path, "/proc/self/fd/" + std::to_string(file.get()));
      const std::string presumed = path == "/"
                                       ? translated("the root folder has no name of its own")
                                       : translated("it could not be copied");
      opened_.push_back({path, run.addFile(path, presumed, path), std::move(file)});
    }
  }

  /// Copies them into the staging folder.
  void stage(RunWatch& run, ExtensionMessage& message) const {
    for (const Opened& file : opened_) {
      run.deliverStaged(file.thing, [&] {
        message.addAttachments(ExtensionUtilities::ShareFiles(kShareService, {file.path}));
      });
    }
  }

 private:
  struct Opened {
    std::string path;
    std::size_t thing;
    FileDescriptor file;
  };
  std::vector<Opened> opened_;
};

ExtensionMessage::Addresses addressesOf(const std::vector<std::string>& texts, RunWatch& run) {
  ExtensionMessage::Addresses addresses;
  for (const std::string& text : texts) {
    if (!isOneAddress(text)) {
      run.miss(translated("the recipient \"{0}\"", text), translated("it is not a mail address"));
      continue;
    }
    const auto address = std::make_shared<ExtensionAddress>();
    address->setMail(text);
    addresses.push_back(address);
  }
  return addresses;
}

std::string onOneLine(std::string text) {
  std::ranges::replace_if(text, isControl, ' ');
  return text;
}

}  // namespace

ShareOutcome runMessage(const ComposedMessage& composed, const ShareOptions& options) {
  const auto run = std::make_shared<RunWatch>(options.hooks);
  ExtensionMessage message;
  message.setTo(addressesOf(composed.to, *run));
  message.setCc(addressesOf(composed.cc, *run));
  message.setBcc(addressesOf(composed.bcc, *run));
  message.setSubject(onOneLine(composed.subject));
  message.setPlainBody(composed.body);
  const Attachments attachments(composed.attachments, *run);

  const auto isCancelled = [&] {
    const auto& cancellation = options.hooks.cancellation;
    if (!cancellation || !cancellation->isCancelled()) return false;
    RunScope::current()->launchFailed(translated(kCancelled));
    return true;
  };
  ShareOutcome outcome = handOver(run, options, [&] {
    if (isCancelled()) return;
    ExtensionUtilities::ShareInit(kShareService);
    attachments.stage(*run, message);
    if (isCancelled()) return;
    if (auto url = message.queryUrl(commandCompose)) {
      std::vector<NSURL> urls;
      urls.push_back(*std::move(url));  // of up to 64 MiB
      ExtensionUtilities::LaunchCommands(urls, false);
    }
  });
  const bool hasText = !composed.subject.empty() || !composed.body.empty() ||
                       !message.to()->empty() || !message.cc()->empty() || !message.bcc()->empty();
  outcome.empty = outcome.status == ShareOutcome::Status::opened && !outcome.missing.empty() &&
                  run->namesDelivered().empty() && !hasText;
  return outcome;
}

}  // namespace korvane
