#include "compose/ClientCommand.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <string_view>

#include "compose/DesktopExec.h"
#include "compose/DocumentsPortal.h"
#include "compose/MailFile.h"
#include "compose/MailText.h"
#include "compose/MailtoURL.h"
#include "linux/detail/FileDescriptor.h"
#include "linux/detail/FileTree.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

// What all arguments of a program may be together; the kernel allows two MiB, its environment
// included.
constexpr std::size_t kMaxArguments = std::size_t{1} << 20;

FileDescriptor createFile(const std::string& path) {
  FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                             S_IRUSR | S_IWUSR));
  if (!file) throw FileFailure{errno, path};
  return file;
}

void writeText(const std::string& path, std::string_view text) {
  const FileDescriptor file = createFile(path);
  while (!text.empty()) {
    const ssize_t count = ::write(file.get(), text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw FileFailure{errno, path};
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

std::vector<std::string> require(std::optional<std::vector<std::string>> command,
                                 const InstalledClient& client) {
  if (!command)
    throw std::runtime_error(
        translated("{0} needs a terminal, and none is installed", client.name));
  return *std::move(command);
}

/// Adds to a command line as long as it stays short enough.
class Arguments {
 public:
  explicit Arguments(std::vector<std::string> begin) : arguments_(std::move(begin)) {}

  void add(std::string argument) {
    size_ += argument.size() + sizeof(char*) + 1;
    arguments_.push_back(std::move(argument));
  }
  /// A value that is one with its option, so that it can be none itself.
  void addValue(const char* option, const std::string& value) {
    if (!value.empty()) add(std::string(option).append("=").append(value));
  }
  bool hasRoomFor(const std::string& argument) const {
    return argument.size() <= kMaxArgument && size_ + argument.size() + 64 <= kMaxArguments;
  }
  std::vector<std::string> take() { return std::move(arguments_); }

 private:
  std::vector<std::string> arguments_;
  std::size_t size_ = 0;
};

/// Adds every attachment's path, after an option for each or one for all.
void addAttachments(Arguments& arguments, const MailDraft& draft, bool optionForEach,
                    LeftOutList& leftOut) {
  bool first = true;
  for (const TakenFile& file : draft.attachments) {
    if (!arguments.hasRoomFor(file.path)) {
      leftOut.push_back(
          {file.name, translated("is not attached: the mail client takes no more at once")});
      continue;
    }
    if (first || optionForEach) arguments.add("--attach");
    arguments.add(file.path);
    first = false;
  }
}

/// As many of the mailboxes as one argument holds, with commas between.
std::string recipientsArgument(const std::vector<Mailbox>& mailboxes, LeftOutList& leftOut) {
  std::string text;
  for (const Mailbox& mailbox : mailboxes) {
    const std::string one = mailboxText(mailbox);
    if (text.size() + one.size() + 64 > kMaxArgument) {
      leftOut.push_back(
          {one, translated("is not a recipient: the mail client takes no more at once")});
      continue;
    }
    if (!text.empty()) text += ", ";
    text += one;
  }
  return text;
}

ClientCommand kmail(const InstalledClient& client, const MailDraft& draft,
                    const MessageFolder& folder, LeftOutList& leftOut) {
  Arguments arguments(client.program);
  arguments.add("--composer");
  arguments.addValue("--subject", draft.subject);
  arguments.addValue("--cc", recipientsArgument(draft.cc, leftOut));
  arguments.addValue("--bcc", recipientsArgument(draft.bcc, leftOut));
  const std::string body = folder.path + "/text.txt";
  writeText(body, draft.body.plain);
  arguments.add("--msg");
  arguments.add(body);
  addAttachments(arguments, draft, true, leftOut);
  for (const Mailbox& mailbox : draft.to) {
    const std::string text = mailboxText(mailbox);
    if (arguments.hasRoomFor(text)) {
      arguments.add(text);
    } else {
      leftOut.push_back(
          {text, translated("is not a recipient: the mail client takes no more at once")});
    }
  }
  return {arguments.take(), std::nullopt};
}

ClientCommand clawsMail(const InstalledClient& client, const MailDraft& draft,
                        const MessageFolder& folder, LeftOutList& leftOut) {
  std::string text;
  const auto header = [&](std::string_view name, const std::string& value) {
    if (!value.empty()) text.append(name).append(": ").append(value).append("\n");
  };
  // Without a "To:" it ends at once, without a window.
  text.append("To: ").append(mailboxesText(draft.to)).append("\n");
  header("Cc", mailboxesText(draft.cc));
  header("Bcc", mailboxesText(draft.bcc));
  header("Subject", draft.subject);
  text.append("\n").append(draft.body.plain);
  const std::string file = folder.path + "/message.txt";
  writeText(file, text);

  Arguments arguments(client.program);
  arguments.add("--compose-from-file");
  arguments.add(file);
  addAttachments(arguments, draft, false, leftOut);
  return {arguments.take(), file};
}

ClientCommand sylpheed(const InstalledClient& client, const MailDraft& draft,
                       LeftOutList& leftOut) {
  for (const Mailbox& mailbox : draft.bcc) {
    leftOut.push_back({mailboxText(mailbox),
                       translated("is not a recipient: {0} takes no Bcc from here", client.name)});
  }
  Arguments arguments(client.program);
  arguments.add("--compose");
  arguments.add(mailtoURL(draft, {.bcc = false}, leftOut));
  addAttachments(arguments, draft, false, leftOut);
  return {arguments.take(), std::nullopt};
}

std::string writeMessage(const MailDraft& draft, MailFileKind kind, const MessageFolder& folder,
                         LeftOutList& leftOut) {
  std::string path = folder.path + "/message.eml";
  const FileDescriptor file = createFile(path);
  writeMailFile(draft, kind, file.get(), leftOut);
  return path;
}

ClientCommand mailto(const InstalledClient& client, const MailDraft& draft, LeftOutList& leftOut) {
  for (const TakenFile& file : draft.attachments) {
    leftOut.push_back(
        {file.name,
         translated("is not attached: {0} takes no files from here; drag it in from the folder",
                    client.name)});
  }
  return {require(commandOfEntry(client, mailtoURL(draft, {}, leftOut)), client), std::nullopt,
          !draft.attachments.empty()};
}

ClientCommand mailtoAttached(const InstalledClient& client, const MailDraft& draft,
                             LeftOutList& leftOut) {
  MailtoForm form;
  bool hidden = false;
  for (const TakenFile& file : draft.attachments) {
    const auto path =
        client.flatpak.empty() ? std::optional(file.path) : documentFor(file.path, client.flatpak);
    if (path) {
      form.attachments.push_back(*path);
    } else {
      leftOut.push_back(
          {file.name,
           translated("is not attached: {0} cannot be given files; drag it in from the folder",
                      client.name)});
      hidden = true;
    }
  }
  return {require(commandOfEntry(client, mailtoURL(draft, form, leftOut)), client), std::nullopt,
          hidden};
}

}  // namespace

ClientCommand commandFor(const InstalledClient& client, const MailDraft& draft,
                         const MessageFolder& folder, LeftOutList& leftOut) {
  switch (client.road) {
    case MailRoad::unsentFile: {
      const std::string file = writeMessage(draft, MailFileKind::unsent, folder, leftOut);
      return {require(commandOfEntry(client, fileURI(file)), client), file};
    }
    case MailRoad::draftFile: {
      const std::string file = writeMessage(draft, MailFileKind::draft, folder, leftOut);
      std::vector<std::string> command = client.program;
      command.insert(command.end(), {"-H", file});
      return {require(commandInTerminal(std::move(command)), client), file};
    }
    case MailRoad::kmail:
      return kmail(client, draft, folder, leftOut);
    case MailRoad::clawsMail:
      return clawsMail(client, draft, folder, leftOut);
    case MailRoad::sylpheed:
      return sylpheed(client, draft, leftOut);
    case MailRoad::mailtoAttached:
      return mailtoAttached(client, draft, leftOut);
    case MailRoad::mailto:
      break;
  }
  return mailto(client, draft, leftOut);
}

}  // namespace korvane
