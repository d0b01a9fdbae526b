#include <model/ExtensionMessage.h>

#include <cstdio>

int main() {
  korvane::ExtensionMessage message;
  message.setSubject("Tea & biscuits");
  const auto url = message.queryUrl("compose");
  if (!url) return 1;
  std::puts(url->absoluteString().c_str());
  const auto back = korvane::ExtensionMessage::ExtensionMessageWithUrl(*url);
  return back->subject() == message.subject() ? 0 : 1;
}
