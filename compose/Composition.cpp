#include "compose/Composition.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <utility>

#include "compose/MailText.h"
#include "compose/StagedFiles.h"
#include "compose/StartedProgram.h"
#include "extension/ConstVars.h"
#include "linux/detail/FileTree.h"
#include "linux/detail/FileViewer.h"
#include "model/ExtensionMessage.h"
#include "platform/NSException.h"
#include "platform/detail/Translation.h"
#include "text/ASCII.h"
#include "urlutils/RequestUtils.h"

namespace korvane {
namespace {

using Kind = ComposeError::Kind;

// From here on servers are known to refuse messages.
constexpr std::uint64_t kManyServersRefuse = 25'000'000;

std::string textOf(const Value& value) {
  return value.isText() ? std::string(value.text()) : std::string();
}

std::shared_ptr<ExtensionMessage> messageOf(const NSURL& url) {
  if (!equalIgnoringCase(url.scheme().value_or(""), "korvane"))
    throw ComposeError(Kind::notCompose, translated("this is not a korvane: URL"));
  if (url.host() != commandCompose) {
    throw ComposeError(
        Kind::notCompose,
        translated(
            "only messages are composed here; the command \"{0}\" needs the mail client itself",
            oneLine(url.host().value_or(""))));
  }
  try {
    (void)RequestUtils::URLQueryParameters(url.absoluteString());
  } catch (const NSException&) {
    throw ComposeError(Kind::notCompose, translated("the URL's query cannot be decoded"));
  }
  return ExtensionMessage::ExtensionMessageWithUrl(url);
}

std::string subjectOf(const ExtensionMessage& message, LeftOutList& leftOut) {
  std::string subject = oneLine(textOf(message.subject()));
  if (subject.size() <= kMaxSubject) return subject;
  leftOut.push_back(
      {translated("the subject"), translated("is cut: it is longer than mail clients take")});
  return oneLine(truncated(subject, kMaxSubject));
}

std::vector<std::string> pathsOf(const ExtensionMessage& message) {
  std::vector<std::string> paths;
  for (const Value& path : message.attachments().value_or(List())) paths.push_back(textOf(path));
  return paths;
}

}  // namespace

InstalledClient mailClientFor(const std::optional<std::string>& id) {
  auto client = id ? installedMailClient(*id) : defaultMailClient();
  if (client) return *std::move(client);
  throw ComposeError(
      Kind::noMailClient,
      id ? translated("no mail client {0} is installed", oneLine(*id))
         : translated("no mail client is installed: no program opens mailto: links"));
}

Composition::Composition(InstalledClient client, const std::optional<NSURL>& url)
    : client_(std::move(client)) {
  const auto message = url ? messageOf(*url) : std::make_shared<ExtensionMessage>();
  std::string reason;
  auto folder = makeMessageFolder(client_, reason);
  if (!folder) throw ComposeError(Kind::failed, reason);
  folder_ = *std::move(folder);
  draft_.attachments = takeStagedFiles(pathsOf(*message), folder_.attachments(), leftOut_);

  draft_.subject = subjectOf(*message, leftOut_);
  draft_.to = mailboxesOf(message->toString().value_or(""), leftOut_);
  draft_.cc = mailboxesOf(message->ccString().value_or(""), leftOut_);
  draft_.bcc = mailboxesOf(message->bccString().value_or(""), leftOut_);
  for (const std::string& sender : {textOf(message->from()), textOf(message->account())}) {
    if (sender.empty()) continue;
    leftOut_.push_back(
        {oneLine(truncated(sender, kMaxSubject)),
         translated("is not chosen as the sender: the mail client uses its own default")});
  }
  draft_.body =
      messageBody(message->htmlBody().value_or(""), message->plainBody().value_or(""), leftOut_);

  std::uint64_t size = 0;
  for (const TakenFile& file : draft_.attachments) size += file.size;
  if (size >= kManyServersRefuse) {
    remarks_.push_back(
        translated("The attachments are {0} MB; many mail servers refuse more than 25 MB.",
                   std::to_string(size / 1'000'000)));
  }
}

const ClientCommand& Composition::prepare() try {
  command_ = commandFor(client_, draft_, folder_, leftOut_);
  // What a message file carries is not needed twice.
  if (client_.road == MailRoad::unsentFile || client_.road == MailRoad::draftFile) {
    for (const TakenFile& file : draft_.attachments) (void)::unlink(file.path.c_str());
  }
  return command_;
} catch (const FileFailure& failure) {
  throw ComposeError(Kind::failed,
                     translated("the message cannot be written: {0}", std::strerror(failure.code)));
} catch (const ComposeError&) {
  throw;
} catch (const std::runtime_error& error) {
  throw ComposeError(Kind::noMailClient, error.what());
}

void Composition::open(const Activation& activation) {
  if (const auto failure = startProgram(command_.arguments, activation)) {
    throw ComposeError(Kind::failed,
                       translated("{0} cannot be started: {1}", client_.name, *failure));
  }
  if (command_.showFiles && !showInFileManager(draft_.attachments.front().path, activation)) {
    remarks_.push_back(
        translated("No file manager could be asked to show the files. They are in {0}",
                   folder_.attachments()));
  }
}

}  // namespace korvane
