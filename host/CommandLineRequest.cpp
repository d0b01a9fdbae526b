#include "host/CommandLineRequest.h"

#include <sys/stat.h>

#include <stdexcept>
#include <utility>

#include "host/ClipboardRequest.h"
#include "host/DataURL.h"
#include "host/InputData.h"
#include "host/InputError.h"
#include "host/URLText.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

using Content = ShareRequest::Content;
using Kind = Arguments::Thing::Kind;

std::string nameOfInput(const std::string& path) {
  return path == "-" ? translated("standard input") : path;
}

std::string_view bytesOf(const NSData& data) {
  return {reinterpret_cast<const char*>(data.data()), data.size()};
}

std::string textOf(const std::string& bytes) { return decodeText(bytes).value_or(bytes); }

bool exists(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

void addData(ShareRequest::Item& item, NSData data) {
  switch (kindOfData(data)) {
    case DataKind::image:
      item.attachments.push_back(ShareRequest::ImageData{std::move(data)});
      break;
    case DataKind::html:
      item.contents.push_back({Content::Kind::html, std::string(bytesOf(data))});
      break;
    case DataKind::text:
      item.contents.push_back({Content::Kind::text, decodeText(data).value_or(std::string())});
      break;
    case DataKind::unknown:
      throw InputError(translated("neither image, HTML nor text"));
  }
}

void addThing(ShareRequest::Item& item, const Arguments::Thing& thing) {
  const bool isInput = thing.value == "-";
  switch (thing.kind) {
    case Kind::text:
      item.contents.push_back({Content::Kind::text, textOf(thing.value)});
      break;
    case Kind::html:
      item.contents.push_back({Content::Kind::html, std::string(bytesOf(readInput(thing.value)))});
      break;
    case Kind::image:
      if (isInput) {
        item.attachments.push_back(ShareRequest::ImageData{readInput("-")});
      } else {
        item.attachments.push_back(ShareRequest::ImageFile{thing.value});
      }
      break;
    case Kind::item:
      if (isInput) {
        addData(item, readInput("-"));
      } else if (exists(thing.value) || schemeOf(thing.value).empty()) {
        item.attachments.push_back(ShareRequest::File{thing.value});
      } else if (auto picture = pictureOfDataURL(thing.value)) {
        item.attachments.push_back(ShareRequest::ImageData{*std::move(picture)});
      } else {
        item.attachments.push_back(ShareRequest::Link{thing.value});
      }
      break;
  }
}

}  // namespace

ShareRequest requestFromArguments(const Arguments& arguments) {
  if (arguments.clipboard) {
    std::string reason;
    const auto clipboard = Clipboard::ofSession(reason);
    if (!clipboard) throw std::runtime_error(reason);
    return requestFromClipboard(*clipboard);
  }
  if (!arguments.request.empty()) {
    try {
      return readShareRequest(bytesOf(readInput(arguments.request)));
    } catch (const InputError& error) {
      throw InputError(translated("unreadable request ({0}): {1}", nameOfInput(arguments.request),
                                  error.what()));
    }
  }
  ShareRequest request;
  ShareRequest::Item item;
  if (arguments.title) item.title = textOf(*arguments.title);
  for (const Arguments::Thing& thing : arguments.things) {
    try {
      addThing(item, thing);
    } catch (const InputError& error) {
      request.unread.push_back({nameOfInput(thing.value), error.what()});
    }
  }
  request.items.push_back(std::move(item));
  return request;
}

}  // namespace korvane
