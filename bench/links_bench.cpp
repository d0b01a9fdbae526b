// Finding the links of a megabyte of mail text, beside KTextToHTML, which finds them to make HTML.
// The peer gets its UTF-16 text ready-made and no other work than links, paragraphs and escaping.
// "links" tells how many links were found.

#include <benchmark/benchmark.h>

#include <KTextToHTML>
#include <QString>
#include <string>
#include <string_view>

#include "formats/links/LinkDetector.h"
#include "model/ExtensionMessage.h"
#include "platform/Platform.h"

namespace {

using namespace korvane;

constexpr std::size_t megabyte = std::size_t{1} << 20;

std::string repeated(std::string_view piece) {
  std::string text;
  while (text.size() < megabyte) text += piece;
  return text;
}

// What people send: prose, quotations, versions and file names, a few links, a signature.
const std::string& mailText() {
  static const std::string text = repeated(
      "On Tue, 3 Nov 2026 at 10:30, Ann Lee <ann.lee@mail.a.org> wrote:\n"
      "> Hi all, the minutes of v1.2.3 are in notes.txt (see also README.md, p. 12).\n"
      "> The schedule is at https://www.a.org/team/plan?year=2026&week=45#monday, please check.\n"
      "> Grüße aus München, e.g. from the café; we ended at 18.30 or so...\n"
      ">> Who orders the tickets? I asked (twice!) and nobody answered, so I did it myself.\n"
      ">> They are paid; the invoice follows. Seats: 12A, 12B. Price: 1,234.56 each.\n"
      "\n"
      "Dear Ann,\n"
      "thank you for the long mail. I have read all of it, and I agree with nearly everything: "
      "the\n"
      "first part is fine, the second one needs another look by somebody who knows the numbers, "
      "and\n"
      "the third could simply go. As for the venue, www.hotel-example.com has rooms, or have a\n"
      "look at the list (http://b.example.net/hotels_(north)/list.html).\n"
      "Our budget does not allow for more than two nights, though. Could you find out whether "
      "they\n"
      "have a reduction for groups? Their number is in the attached file, on the second page.\n"
      "Всем привет, до встречи в понедельник. 会議は月曜日です。\n"
      "Please reply before Friday; I am away from then on and cannot read mail every day.\n"
      "\n"
      "-- \n"
      "Bob Smith, Example Ltd. - +44 20 7946 0000 - bob@b.co.uk - http://b.co.uk/~bob/\n"
      "\n");
  return text;
}

void report(benchmark::State& state, const std::string& text, std::size_t links) {
  state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) *
                          static_cast<std::int64_t>(state.iterations()));
  state.counters["links"] = static_cast<double>(links);
}

void korvaneLinks(benchmark::State& state, const std::string& text) {
  LinkDetector detector;
  std::size_t links = 0;
  for (auto _ : state) {
    const auto found = detector.matchesInString(text);
    links = found.size();
    benchmark::DoNotOptimize(found.data());
  }
  report(state, text, links);
}

void kTextToHTML(benchmark::State& state, const std::string& text) {
  const QString input = QString::fromUtf8(text.data(), static_cast<int>(text.size()));
  QString html;
  for (auto _ : state) {
    html = KTextToHTML::convertToHtml(input, KTextToHTML::Options());
    benchmark::DoNotOptimize(html.constData());
  }
  report(state, text, static_cast<std::size_t>(html.count(QStringLiteral("<a href"))));
}

// The whole HTML of a plain body, in which every link stands once, like KTextToHTML's.
void korvaneRendering(benchmark::State& state, const std::string& text) {
  Platform services;
  services.links = std::make_shared<LinkDetector>();
  Platform::install(services);
  std::size_t size = 0;
  for (auto _ : state) {
    ExtensionMessage message;
    message.setPlainBody(text);
    size = message.renderHtml().size();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) *
                          static_cast<std::int64_t>(state.iterations()));
  state.counters["htmlBytes"] = static_cast<double>(size);
}

void compare(const char* name, const std::string& text, bool peer) {
  const auto register_ = [&](const std::string& full, auto* run) {
    benchmark::RegisterBenchmark(full.c_str(), [run, &text](benchmark::State& state) {
      run(state, text);
    })->Unit(benchmark::kMillisecond);
  };
  register_(std::string("korvane/") + name, korvaneLinks);
  if (peer) register_(std::string("KTextToHTML/") + name, kTextToHTML);
}

const bool registered = [] {
  static const std::string prose = repeated(
      "This is a long text without any links at all, as most of what people write is: words and "
      "words and words. ");
  static const std::string links = repeated("http://a.example.org/path/of/a/page?id=12345 ");
  static const std::string dots = repeated("a.");
  static const std::string brackets = repeated("http://((((");
  static const std::string ats = repeated("@@@@");
  compare("mail", mailText(), true);
  compare("prose", prose, true);
  compare("links", links, true);
  // Hostile texts, on which the peer may take minutes.
  compare("a.a.a.", dots, false);
  compare("http://((((", brackets, false);
  compare("@@@@", ats, false);

  static const std::string different = [] {
    std::string text;
    for (int i = 0; text.size() < megabyte; ++i) {
      text += "http://a.example.org/path/of/a/page?id=" + std::to_string(i) + "\n";
    }
    return text;
  }();
  benchmark::RegisterBenchmark("renderHtml/links", [](benchmark::State& state) {
    korvaneRendering(state, different);
  })->Unit(benchmark::kMillisecond);
  compare("different links", different, true);
  return true;
}();

}  // namespace
