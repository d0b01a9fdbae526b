// A message: filled, turned into the command URL that opens the mail client, and read back.
#include <cstdio>
#include <memory>

#include "linux/LinuxPlatform.h"
#include "model/ExtensionMessage.h"

using namespace korvane;

int main() {
  Platform::install(linuxPlatform({}));

  ExtensionMessage message;
  message.setSubject("Tea & biscuits");
  message.setPlainBody("At five, see http://tea.example/menu\nBring nothing.");
  auto ann = std::make_shared<ExtensionAddress>();
  ann->setMail("ann@a.example");
  message.setTo(ExtensionMessage::Addresses{ann});
  message.addAttachments({"/tmp/menu.pdf"});

  const std::optional<NSURL> url = message.queryUrl("compose");
  if (!url) return 1;
  std::puts(url->absoluteString().c_str());

  const auto back = ExtensionMessage::ExtensionMessageWithUrl(*url);
  const bool same =
      back->subject() == message.subject() && back->plainBody() == message.plainBody() &&
      back->toString() == "ann@a.example;" && back->attachments() == List{"/tmp/menu.pdf"};

  // A body that was read back has an empty HTML form: the plain one is rendered.
  const std::string html = back->renderHtml();
  std::puts(html.c_str());
  return same && html ==
                     "At five, see <a href='http://tea.example/menu'>http://tea.example/menu</a>"
                     "<br>Bring nothing."
             ? 0
             : 1;
}
