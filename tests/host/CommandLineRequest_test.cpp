#include "host/CommandLineRequest.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>

#include "host/InputError.h"
#include "tests/support/FakeShare.h"
#include "tests/support/TemporaryFolder.h"

namespace korvane {
namespace {

using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Content = ShareRequest::Content;
using Attachment = ShareRequest::Attachment;

class CommandLineRequest : public ::testing::Test {
 protected:
  CommandLineRequest() { std::filesystem::current_path(folder.path()); }
  ~CommandLineRequest() override { std::filesystem::current_path("/"); }

  ShareRequest read(const std::vector<std::string>& arguments) {
    Arguments taken;
    parse(shareCommandLine(taken), arguments);
    ShareRequest request = requestFromArguments(taken);
    unread = request.unread;
    return request;
  }
  ShareRequest::Item item(const std::vector<std::string>& arguments) {
    ShareRequest request = read(arguments);
    EXPECT_THAT(request.items, SizeIs(1));
    return request.items.at(0);
  }
  Attachment attachment(const std::string& argument) {
    const ShareRequest::Item read = item({"--", argument});
    EXPECT_THAT(read.attachments, SizeIs(1)) << argument;
    return read.attachments.at(0);
  }
  /// Runs `work` with these bytes on standard input.
  template <class Work>
  auto withInput(std::string_view bytes, const Work& work) {
    const std::string path = folder.file("standard-input", bytes);
    const int saved = dup(STDIN_FILENO);
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    dup2(file, STDIN_FILENO);
    auto result = work();
    dup2(saved, STDIN_FILENO);
    close(file);
    close(saved);
    return result;
  }

  testing::TemporaryFolder folder;
  testing::SharePlatform platform;
  std::vector<MissingThing> unread;
};

TEST_F(CommandLineRequest, AnItemIsAPathWhereAnythingIsThere) {
  folder.file("http:x");
  folder.folder("mailto:a@b.example");
  std::filesystem::create_symlink("nowhere", "link:broken");
  EXPECT_EQ(attachment("http:x"), Attachment(ShareRequest::File{"http:x"}));
  EXPECT_EQ(attachment("mailto:a@b.example"), Attachment(ShareRequest::File{"mailto:a@b.example"}));
  EXPECT_EQ(attachment("link:broken"), Attachment(ShareRequest::File{"link:broken"}));
  EXPECT_EQ(attachment("."), Attachment(ShareRequest::File{"."}));
}

TEST_F(CommandLineRequest, ElseAURLWhereItHasAScheme) {
  for (const char* url : {"https://a.example/", "mailto:a@b.example", "file:///none", "x-y:z",
                          "https://a.example/a b ä"}) {
    EXPECT_EQ(attachment(url), Attachment(ShareRequest::Link{url}));
  }
}

TEST_F(CommandLineRequest, ADataURLMayHoldAPicture) {
  EXPECT_EQ(attachment("data:image/png;base64,AAEC"),
            Attachment(ShareRequest::ImageData{{0, 1, 2}}));
  for (const char* url : {"data:image/png;base64,!", "data:text/plain,x", "data:image/png,"}) {
    EXPECT_EQ(attachment(url), Attachment(ShareRequest::Link{url}));
  }
}

TEST_F(CommandLineRequest, ElseAPath) {
  for (const char* path : {"none.txt", "/none", "C:\\x", "--title", "-x", "a b:c", "\xFF", "~"}) {
    EXPECT_EQ(attachment(path), Attachment(ShareRequest::File{path}));
  }
  EXPECT_THAT(unread, IsEmpty());
}

TEST_F(CommandLineRequest, EverythingIsOneItemInTheOrderGiven) {
  const std::string page = folder.file("page.html", "<b>x</b>");
  const ShareRequest::Item read = item({"--title", "T", "https://a.example/", "--text", "t",
                                        "--image=p.jpg", "--html", page, "f", "--text=u"});
  EXPECT_EQ(read.title, "T");
  EXPECT_THAT(read.contents, ElementsAre(Content{Content::Kind::text, "t"},
                                         Content{Content::Kind::html, "<b>x</b>"},
                                         Content{Content::Kind::text, "u"}));
  EXPECT_THAT(read.attachments, ElementsAre(Attachment(ShareRequest::Link{"https://a.example/"}),
                                            Attachment(ShareRequest::ImageFile{"p.jpg"}),
                                            Attachment(ShareRequest::File{"f"})));
  EXPECT_EQ(item({}), ShareRequest::Item());
}

TEST_F(CommandLineRequest, TextsBecomeUTF8) {
  const ShareRequest::Item read = item({"--title=gr\xFC\xDF", "--text=\xE4"});
  EXPECT_EQ(read.title, "gr\xC3\xBC\xC3\x9F");
  EXPECT_THAT(read.contents, ElementsAre(Content{Content::Kind::text, "\xC3\xA4"}));
}

TEST_F(CommandLineRequest, StandardInputIsToldByItsContent) {
  const auto read = [&](std::string_view bytes, const std::vector<std::string>& arguments) {
    return withInput(bytes, [&] { return item(arguments); });
  };
  EXPECT_THAT(
      read("GIF89a\0x"s, {"-"}).attachments,
      ElementsAre(Attachment(ShareRequest::ImageData{{'G', 'I', 'F', '8', '9', 'a', 0, 'x'}})));
  EXPECT_THAT(read("<html>x", {"-"}).contents,
              ElementsAre(Content{Content::Kind::html, "<html>x"}));
  EXPECT_THAT(read("\xFF\xFEh\0i\0"s, {"--text=a", "-"}).contents,
              ElementsAre(Content{Content::Kind::text, "a"}, Content{Content::Kind::text, "hi"}));
  EXPECT_THAT(read("anything", {"--image=-"}).attachments, SizeIs(1));
  EXPECT_THAT(read("anything", {"--html", "-"}).contents,
              ElementsAre(Content{Content::Kind::html, "anything"}));
  EXPECT_EQ(read("", {"-"}).contents, (std::vector<Content>{{Content::Kind::text, ""}}));
  EXPECT_THAT(unread, IsEmpty());
}

TEST_F(CommandLineRequest, WhatCannotBeReadDoesNotStopTheRest) {
  const ShareRequest::Item read = withInput(
      "\x7F"
      "ELF\0"s,
      [&] {
        return item({"a:b", "--html=none.html", "-", "f"});
      });
  EXPECT_THAT(read.attachments, SizeIs(2));
  EXPECT_THAT(read.contents, IsEmpty());
  EXPECT_THAT(unread, ElementsAre(MissingThing{"none.html", "No such file or directory"},
                                  MissingThing{"standard input", "neither image, HTML nor text"}));
}

TEST_F(CommandLineRequest, ARequestComesFromAFileOrStandardInput) {
  const std::string json = R"({"items": [{"title": "T"}, {}]})";
  const std::string path = folder.file("request.json", json);
  EXPECT_THAT(read({"--request", path}).items, SizeIs(2));
  EXPECT_THAT(withInput(json, [&] { return read({"--request=-"}); }).items, SizeIs(2));
}

TEST_F(CommandLineRequest, AnUnreadableRequestIsAnError) {
  const auto said = [&](const std::string& path) -> std::string {
    try {
      read({"--request", path});
    } catch (const InputError& error) {
      return error.what();
    }
    return "";
  };
  EXPECT_EQ(said("none.json"), "unreadable request (none.json): No such file or directory");
  EXPECT_EQ(said(folder.path()), "unreadable request (" + folder.path() + "): Is a directory");
  EXPECT_THAT(said(folder.file("x", "{")), HasSubstr("ends too early"));
  std::filesystem::resize_file(folder.path("x"), kMaxInput + 1);
  EXPECT_THAT(said(folder.path("x")), HasSubstr("larger than 256 MiB"));
}

}  // namespace
}  // namespace korvane
