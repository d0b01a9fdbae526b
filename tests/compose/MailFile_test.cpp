#include "compose/MailFile.h"

#include <fcntl.h>
#include <gmime/gmime.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cstdlib>
#include <random>

#include "compose/MailText.h"
#include "linux/detail/FileDescriptor.h"
#include "linux/detail/FileTree.h"
#include "linux/detail/GLibPointer.h"
#include "support/ChildProcess.h"
#include "support/JsonLines.h"
#include "support/Places.h"
#include "support/PrivateDesktop.h"
#include "support/TemporaryFolder.h"
#include "text/Base64.h"

namespace korvane {
namespace {

using testing::contentOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::JsonReader;
using ::testing::Not;
using ::testing::SizeIs;
using testing::TemporaryFolder;

const std::vector<std::string> kTexts = {
    "",
    "a",
    "gr\u00fc\u00df",
    "\u6587\u4ef6 \u540d",
    "\U0001F600 \U0001F468\u200D\U0001F469",
    "q \"q\"",
    "back\\slash",
    "it's 1",
    "a, b & c;d",
    "100%25 %",
    "-dash %U",
    "=?utf-8?q?x?=",
    "=?UTF-8?B?w7w=?= and more",
    "a  b   c",
    "a  \u00fc   b \u00fc  c",
    "\u00fc =?utf-8?q?x?= \u00fc",
    "e\u0301 combining",
    "\u0627\u0644\u0639\u0631\u0628\u064a\u0629 rtl",
    "',attachment='/etc/passwd",
    "a@b.example, c@d.example",
    "<angle> (round) [square]",
    "x=y; filename=z",
    "UTF-8''caf%C3%A9",
    "dots...",
    ".hidden",
    "tilde~",
    "*star*0*",
    "a\u00a0b",
    "ends with \\",
    "quote\"",
    "very long "
    "wwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwww"
    "wwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwwww",
    "very long \u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc"
    "\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc"
    "\u00fc"
    "\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc\u00fc"
    "\u00fc",
    "word word word word word word word word word word word word word word word word word word "
    "word",
};

class Messages : public ::testing::Test {
 protected:
  /// A text that is odd in a way of its own.
  std::string oddText(std::size_t i) {
    if (i < 2 * kTexts.size()) return kTexts[i % kTexts.size()];
    static const std::vector<std::string> kCharacters = {
        "a",          "b",      "Z",      "0",      " ",    ".",      "-",      "_",
        "=",          "?",      "\"",     "'",      "\\",   ";",      ",",      ":",
        "<",          ">",      "(",      ")",      "@",    "%",      "&",      "*",
        "#",          "/",      "\n",     "\r",     "\t",   "\u00e9", "\u00df", "\u4e2d",
        "\U0001F600", "\u202e", "\u200b", "\u0301", "\x01", "\x7f",   "\u0085", "\xff"};
    std::string text;
    const std::size_t length = random() % 60;
    for (std::size_t k = 0; k < length; ++k) text += kCharacters[random() % kCharacters.size()];
    return text;
  }

  MailDraft draftOf(std::size_t i) {
    MailDraft draft;
    draft.subject = oneLine(oddText(i));
    LeftOutList broken;
    const auto quoted = [](const std::string& name) {
      std::string text = "\"";
      for (const char c : oneLine(name)) {
        if (c == '"' || c == '\\') text += '\\';
        text += c;
      }
      return text + "\"";
    };
    const std::string tag = std::to_string(i);
    draft.to = mailboxesOf(quoted(oddText(i + 3)) + " <to" + tag + "@a.example>;plain+" + tag +
                               "@b.example;\"odd " + tag + "\"@c.example;",
                           broken);
    draft.cc = mailboxesOf("x@b\u00fccher.example;", broken);
    draft.bcc = mailboxesOf(quoted(oddText(i + 5)) + " <bcc@d.example>", broken);
    EXPECT_THAT(broken, IsEmpty());
    draft.body.plain = plainLines("Hello,\n\n" + oddText(i + 7) + "\n.\nFrom here\n" +
                                  std::string(2000, 'l') + "\n-- \n");
    draft.body.html = "<!DOCTYPE html>\n<html><body>\u00fc = " + tag + "</body></html>\n";
    for (std::size_t k = 0; k < i % 4; ++k) {
      std::string content;
      const std::size_t size = random() % 5000;
      for (std::size_t n = 0; n < size; ++n) content += static_cast<char>(random());
      const std::string name = mailFileName(oddText(i + k) + (k == 1 ? ".txt" : ""));
      draft.attachments.push_back({name, files.file(tag + "-" + std::to_string(k), content), size});
    }
    return draft;
  }

  std::string write(const MailDraft& draft, MailFileKind kind, const std::string& name) {
    const std::string path = files.path(name);
    const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600));
    writeMailFile(draft, kind, file.get(), leftOut);
    return path;
  }

  TemporaryFolder files;
  std::mt19937 random{1};
  LeftOutList leftOut;
};

std::string withoutOuterSpace(const std::string& text) { return oneLine(text); }

std::string withoutSpaces(std::string text) {
  std::erase(text, ' ');
  return text;
}

constexpr std::size_t kMessages = 200;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

TEST_F(Messages, ReadBackByPythonsStrictPolicy) {
  std::vector<MailDraft> drafts;
  std::vector<std::string> command{"python3", KORVANE_SOURCE_DIR "/tests/compose/read_mail.py"};
  for (std::size_t i = 0; i < kMessages; ++i) {
    drafts.push_back(draftOf(i));
    command.push_back(write(drafts.back(), i % 2 == 0 ? MailFileKind::unsent : MailFileKind::draft,
                            std::to_string(i) + ".eml"));
  }
  EXPECT_THAT(leftOut, IsEmpty());
  testing::PrivateDesktop desktop;
  desktop.set("PYTHONIOENCODING", "utf-8");
  const auto finished = desktop.run(command);
  ASSERT_EQ(finished.status, 0) << finished.errors;

  std::istringstream lines(finished.output);
  std::size_t count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    SCOPED_TRACE(count);
    const Value read = JsonReader::read(line);
    const MailDraft& draft = drafts.at(count);
    const auto at = [&](const char* key) { return read.dictionary().objectForKey(key); };
    EXPECT_TRUE(at("defects").list().empty()) << at("defects").description();
    EXPECT_EQ(at("subject"), draft.subject.empty() ? Value() : Value(draft.subject))
        << line.substr(0, 300);
    for (const auto& [key, mailboxes] :
         {std::pair{"to", &draft.to}, {"cc", &draft.cc}, {"bcc", &draft.bcc}}) {
      const List found = at(key).list();
      ASSERT_EQ(found.size(), mailboxes->size()) << key;
      for (std::size_t i = 0; i < found.size(); ++i) {
        const Mailbox& mailbox = mailboxes->at(i);
        EXPECT_EQ(found[i].list().at(1).text(), mailbox.address);
        std::string name(found[i].list().at(0).text());
        // Python sees a space between the encoded words that a long name needs.
        if (mailbox.name.size() > 20) {
          EXPECT_EQ(withoutSpaces(name), withoutSpaces(mailbox.name));
        } else {
          EXPECT_EQ(name, mailbox.name);
        }
      }
    }
    EXPECT_EQ(at("plain"), Value(draft.body.plain));
    EXPECT_EQ(at("html"), Value(draft.body.html));
    std::vector<std::string> names;
    std::vector<std::string> contents;
    for (const TakenFile& file : draft.attachments) {
      names.push_back(file.name);
      contents.push_back(contentOf(file.path));
    }
    // Python takes white space off the ends of a name.
    std::vector<std::string> readNames;
    for (const Value& name : at("names").list()) readNames.emplace_back(name.text());
    ASSERT_EQ(readNames.size(), names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
      EXPECT_EQ(withoutOuterSpace(readNames[i]), withoutOuterSpace(names[i]));
    }
    const List encoded = at("contents").list();
    for (std::size_t i = 0; i < contents.size(); ++i) {
      EXPECT_EQ(encoded.at(i).text(), encodeBase64(contents[i]));
    }
    List structure;
    if (!names.empty()) structure.push_back(Value("multipart/mixed"));
    for (const char* type : {"multipart/alternative", "text/plain", "text/html"}) {
      structure.push_back(Value(type));
    }
    EXPECT_EQ(at("structure"), Value(structure));
    EXPECT_EQ(line.find("\"from\""), line.npos);
    EXPECT_EQ(line.find("\"x-unsent\"") != line.npos, count % 2 == 0);
  }
  EXPECT_EQ(count, kMessages);
}

std::string decodedContent(GMimePart* part) {
  const GObjectPointer<GMimeStream> stream(g_mime_stream_mem_new());
  g_mime_data_wrapper_write_to_stream(g_mime_part_get_content(part), stream.get());
  const GByteArray* const bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream.get()));
  return {reinterpret_cast<const char*>(bytes->data), bytes->len};
}

TEST_F(Messages, ReadBackByGMime) {
  for (std::size_t i = 0; i < kMessages; ++i) {
    SCOPED_TRACE(i);
    const MailDraft draft = draftOf(i);
    const std::string path = write(draft, MailFileKind::unsent, "message.eml");
    const GObjectPointer<GMimeStream> stream(
        g_mime_stream_fs_open(path.c_str(), O_RDONLY, 0600, nullptr));
    const GObjectPointer<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
    const GObjectPointer<GMimeMessage> message(
        g_mime_parser_construct_message(parser.get(), nullptr));
    ASSERT_TRUE(message);
    const char* subject = g_mime_message_get_subject(message.get());
    EXPECT_EQ(std::string(subject ? subject : ""), draft.subject);
    const std::pair<InternetAddressList*, const std::vector<Mailbox>*> lists[] = {
        {g_mime_message_get_to(message.get()), &draft.to},
        {g_mime_message_get_cc(message.get()), &draft.cc},
        {g_mime_message_get_bcc(message.get()), &draft.bcc}};
    for (const auto& [list, mailboxes] : lists) {
      ASSERT_EQ(internet_address_list_length(list), static_cast<int>(mailboxes->size()));
      for (int k = 0; k < internet_address_list_length(list); ++k) {
        InternetAddress* const address = internet_address_list_get_address(list, k);
        const char* name = internet_address_get_name(address);
        const Mailbox& mailbox = mailboxes->at(static_cast<std::size_t>(k));
        EXPECT_EQ(std::string(name ? name : ""), mailbox.name);
        EXPECT_EQ(
            std::string(internet_address_mailbox_get_idn_addr(INTERNET_ADDRESS_MAILBOX(address))),
            mailbox.address);
      }
    }
    GMimeObject* const top = g_mime_message_get_mime_part(message.get());
    ASSERT_TRUE(GMIME_IS_MULTIPART(top));
    const int count = draft.attachments.empty() ? 0 : static_cast<int>(draft.attachments.size());
    ASSERT_EQ(g_mime_multipart_get_count(GMIME_MULTIPART(top)), count == 0 ? 2 : 1 + count);
    for (int k = 0; k < count; ++k) {
      GMimePart* const part = GMIME_PART(g_mime_multipart_get_part(GMIME_MULTIPART(top), 1 + k));
      const TakenFile& file = draft.attachments.at(static_cast<std::size_t>(k));
      EXPECT_EQ(std::string(g_mime_part_get_filename(part)), file.name);
      EXPECT_EQ(std::string(g_mime_object_get_content_type_parameter(GMIME_OBJECT(part), "name")),
                file.name);
      EXPECT_EQ(decodedContent(part), contentOf(file.path));
    }
  }
}

TEST_F(Messages, LinesAreShortAndASCII) {
  for (std::size_t i = 0; i < kMessages; ++i) {
    std::istringstream lines(contentOf(write(draftOf(i), MailFileKind::unsent, "message.eml")));
    for (std::string line; std::getline(lines, line);) {
      ASSERT_LE(line.size(), 998U) << i;
      ASSERT_TRUE(line.ends_with('\r')) << i << line.substr(0, 300);
      for (const char c : line)
        ASSERT_TRUE(static_cast<unsigned char>(c) < 0x7F) << i << line.substr(0, 300);
    }
  }
}

TEST_F(Messages, AnEmptyMessage) {
  const std::string text = contentOf(write({}, MailFileKind::unsent, "message.eml"));
  EXPECT_THAT(text, HasSubstr("X-Unsent: 1\r\n"));
  EXPECT_THAT(text, HasSubstr("multipart/alternative"));
  EXPECT_THAT(text, Not(HasSubstr("multipart/mixed")));
}

TEST_F(Messages, AnAttachmentThatIsGoneIsLeftOut) {
  MailDraft draft;
  draft.attachments = {{"gone.txt", files.path("gone.txt"), 1}};
  write(draft, MailFileKind::unsent, "message.eml");
  ASSERT_THAT(leftOut, SizeIs(1));
  EXPECT_EQ(leftOut[0].item, "gone.txt");
}

TEST_F(Messages, WhatCannotBeWrittenIsAnError) {
  const FileDescriptor full(::open("/dev/full", O_WRONLY));
  EXPECT_THROW(writeMailFile({}, MailFileKind::unsent, full.get(), leftOut), FileFailure);
}

TEST_F(Messages, TypesOfAttachments) {
  const auto type = [&](const std::string& name, std::string_view content) {
    const FileDescriptor file(::open(files.file("typed", content).c_str(), O_RDONLY));
    return mimeTypeOf(name, file.get());
  };
  EXPECT_EQ(type("a.txt", ""), "application/octet-stream");
  // Neither may be written in base64.
  EXPECT_EQ(type("a.eml", "From: a@b\nSubject: c\n\nd\n"), "application/octet-stream");
  EXPECT_THAT(type("a.bin", std::string_view("\0\1\2\3", 4)), HasSubstr("/"));
}

TEST_F(Messages, LargeAttachmentsNeedLittleMemory) {
  const std::string large = files.file("large");
  constexpr off_t kSize = off_t{256} << 20;
  ASSERT_EQ(::truncate(large.c_str(), kSize), 0);
  MailDraft draft;
  draft.attachments = {{"large.bin", large, static_cast<std::uint64_t>(kSize)}};
  EXPECT_EQ(testing::inChild([&] {
              rusage before{};
              ::getrusage(RUSAGE_SELF, &before);
              write(draft, MailFileKind::unsent, "message.eml");
              rusage after{};
              ::getrusage(RUSAGE_SELF, &after);
              // A sanitizer keeps what was given back.
              constexpr long kAllowed = kSanitized ? 1 << 30 : 30 * 1024;
              return after.ru_maxrss - before.ru_maxrss < kAllowed;
            }),
            0);
  EXPECT_GT(std::filesystem::file_size(files.path("message.eml")), static_cast<std::size_t>(kSize));
}

}  // namespace
}  // namespace korvane
