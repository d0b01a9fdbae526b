// Parsing 10,000 varied URLs, percent escapes of 1 MB of HTML, and a query of 200 attachments,
// against GLib, Qt and Boost.URL.
#include <benchmark/benchmark.h>
#include <glib.h>

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <QUrlQuery>
#include <boost/url.hpp>
#include <random>
#include <string>
#include <vector>

#include "platform/NSURL.h"
#include "urlutils/RequestUtils.h"

namespace {

namespace urls = boost::urls;
namespace RequestUtils = korvane::RequestUtils;
using korvane::NSURL;

// URLs as mails and shares hold them; every peer accepts each of them.
const std::vector<std::string>& urlTexts() {
  static const std::vector<std::string> made = [] {
    std::mt19937 random(2024);
    const auto pick = [&](auto const& from) {
      return std::string(from[random() % std::size(from)]);
    };
    static constexpr const char* schemes[] = {"https", "https", "https",   "http",
                                              "ftp",   "file",  "korvane", "imap"};
    static constexpr const char* users[] = {"", "", "", "", "user@", "user:secret@", "a%40b:p@"};
    static constexpr const char* hosts[] = {
        "example.com",   "www.example.org",       "mail.example.net",        "127.0.0.1",
        "[2001:db8::1]", "xn--bcher-kva.example", "cdn3.assets.shop.example"};
    static constexpr const char* ports[] = {"", "", "", ":80", ":8080"};
    static constexpr const char* segments[] = {
        "index.html",    "articles", "2024",      "a%20picture.jpg", "search",  "..",
        "%C3%A9t%C3%A9", "download", "user~name", "v1.2.3",          "a;b=c,d", "file.tar.gz"};
    static constexpr const char* keys[] = {"q", "utm_source", "utm_medium", "page", "id", "lang"};
    static constexpr const char* values[] = {"1",         "newsletter",       "a+b%20c",
                                             "%E6%BC%A2", "9f86d081884c7d65", "en-US"};
    std::vector<std::string> list;
    while (list.size() < 10'000) {
      std::string url = pick(schemes);
      if (url == "file") {
        url += "://";
      } else {
        url += "://" + pick(users) + pick(hosts) + pick(ports);
      }
      for (std::size_t n = random() % 6 + 1; n > 0; --n) url += "/" + pick(segments);
      for (std::size_t n = random() % 5, i = 0; i < n; ++i) {
        url += (i == 0 ? "?" : "&") + pick(keys) + "=" + pick(values);
      }
      if (random() % 4 == 0) url += "#section-" + std::to_string(random() % 100);
      list.push_back(std::move(url));
    }
    return list;
  }();
  return made;
}

void countURLs(benchmark::State& state, std::size_t bad) {
  if (bad != 0) state.SkipWithError("a URL was refused");
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * urlTexts().size()));
}

void parseKorvane(benchmark::State& state) {
  std::size_t bad = 0;
  for (auto _ : state) {
    for (const std::string& text : urlTexts()) {
      const auto url = NSURL::URLWithString(text);
      bad += url ? 0 : 1;
      benchmark::DoNotOptimize(&url);
    }
  }
  countURLs(state, bad);
}
BENCHMARK(parseKorvane);

void parseGLib(benchmark::State& state) {
  std::size_t bad = 0;
  for (auto _ : state) {
    for (const std::string& text : urlTexts()) {
      GUri* uri = g_uri_parse(text.c_str(), G_URI_FLAGS_ENCODED, nullptr);
      bad += uri == nullptr ? 1 : 0;
      benchmark::DoNotOptimize(uri);
      if (uri != nullptr) g_uri_unref(uri);
    }
  }
  countURLs(state, bad);
}
BENCHMARK(parseGLib);

void parseQt(benchmark::State& state) {
  std::vector<QString> texts;
  for (const std::string& text : urlTexts()) texts.push_back(QString::fromStdString(text));
  std::size_t bad = 0;
  for (auto _ : state) {
    for (const QString& text : texts) {
      const QUrl url(text, QUrl::StrictMode);
      bad += url.isValid() ? 0 : 1;
      benchmark::DoNotOptimize(&url);
    }
  }
  countURLs(state, bad);
}
BENCHMARK(parseQt);

// A view into the text: nothing is copied.
void parseBoostView(benchmark::State& state) {
  std::size_t bad = 0;
  for (auto _ : state) {
    for (const std::string& text : urlTexts()) {
      const auto url = urls::parse_uri(text);
      bad += url ? 0 : 1;
      benchmark::DoNotOptimize(&url);
    }
  }
  countURLs(state, bad);
}
BENCHMARK(parseBoostView);

// Parsing, then reading every part once.
template <class T>
void use(const T& part) {
  benchmark::DoNotOptimize(&part);
}

void parseAndReadKorvane(benchmark::State& state) {
  for (auto _ : state) {
    for (const std::string& text : urlTexts()) {
      const auto url = NSURL::URLWithString(text);
      use(url->scheme());
      use(url->user());
      use(url->password());
      use(url->host());
      use(url->port());
      use(url->path());
      use(url->query());
      use(url->fragment());
    }
  }
  countURLs(state, 0);
}
BENCHMARK(parseAndReadKorvane);

void parseAndReadQt(benchmark::State& state) {
  std::vector<QString> texts;
  for (const std::string& text : urlTexts()) texts.push_back(QString::fromStdString(text));
  for (auto _ : state) {
    for (const QString& text : texts) {
      const QUrl url(text, QUrl::StrictMode);
      use(url.scheme());
      use(url.userName(QUrl::FullyDecoded));
      use(url.password(QUrl::FullyEncoded));
      use(url.host(QUrl::FullyDecoded));
      use(url.port());
      use(url.path(QUrl::FullyDecoded));
      use(url.query(QUrl::FullyEncoded));
      use(url.fragment(QUrl::FullyEncoded));
    }
  }
  countURLs(state, 0);
}
BENCHMARK(parseAndReadQt);

void parseAndReadGLib(benchmark::State& state) {
  for (auto _ : state) {
    for (const std::string& text : urlTexts()) {
      GUri* uri =
          g_uri_parse(text.c_str(),
                      static_cast<GUriFlags>(G_URI_FLAGS_HAS_PASSWORD | G_URI_FLAGS_ENCODED_QUERY |
                                             G_URI_FLAGS_ENCODED_FRAGMENT),
                      nullptr);
      use(g_uri_get_host(uri));  // all parts were copied while parsing
      g_uri_unref(uri);
    }
  }
  countURLs(state, 0);
}
BENCHMARK(parseAndReadGLib);

void parseAndReadBoost(benchmark::State& state) {
  for (auto _ : state) {
    for (const std::string& text : urlTexts()) {
      const auto url = urls::parse_uri(text);
      use(url->scheme());
      use(url->user());
      use(url->encoded_password());
      use(url->host());
      use(url->port_number());
      use(url->path());
      use(url->encoded_query());
      use(url->encoded_fragment());
    }
  }
  countURLs(state, 0);
}
BENCHMARK(parseAndReadBoost);

// 1 MB of HTML as a mail has it. Words and tags change from line to line, so that no branch
// predictor learns the text by heart.
const std::string& html() {
  static const std::string made = [] {
    std::mt19937 random(1);
    const char* const words[] = {"the",     "quick",    "brown",   "fox",  "Grüße",  "aus",
                                 "München", "meeting",  "on",      "next", "Monday", "please",
                                 "find",    "attached", "invoice", "a",    "is",     "l’été",
                                 "and",     "100%",     "of"};
    const char* const tags[] = {"<p>",
                                "</p>\n",
                                "<br/>",
                                "<b>",
                                "</b>",
                                "<div class=\"quote\">",
                                "</div>\n",
                                "&amp; ",
                                "<a href=\"https://example.com/?id=",
                                "<span style=\"color: #336699; font-size: 12px\">",
                                "</span>"};
    std::string result;
    while (result.size() < 1'000'000) {
      for (std::size_t n = random() % 14; n > 0; --n) {
        result += words[random() % std::size(words)];
        result += random() % 8 == 0 ? ", " : " ";
      }
      result += tags[random() % std::size(tags)];
      if (result.ends_with('=')) result += std::to_string(random()) + "\">link</a> ";
    }
    return result;
  }();
  return made;
}
const std::string& encodedHTML() {
  static const std::string made = RequestUtils::URLEncodedString(html());
  return made;
}

void countBytes(benchmark::State& state, std::size_t size) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}

void encodeKorvane(benchmark::State& state) {
  for (auto _ : state) use(RequestUtils::URLEncodedString(html()));
  countBytes(state, html().size());
}
BENCHMARK(encodeKorvane);

void encodeGLib(benchmark::State& state) {
  for (auto _ : state) {
    char* result =
        g_uri_escape_bytes(reinterpret_cast<const guint8*>(html().data()), html().size(), nullptr);
    use(result);
    g_free(result);
  }
  countBytes(state, html().size());
}
BENCHMARK(encodeGLib);

void encodeQt(benchmark::State& state) {
  const QByteArray bytes = QByteArray::fromStdString(html());
  for (auto _ : state) use(bytes.toPercentEncoding());
  countBytes(state, html().size());
}
BENCHMARK(encodeQt);

void encodeBoost(benchmark::State& state) {
  for (auto _ : state) {
    std::string result(urls::encoded_size(html(), urls::unreserved_chars), '\0');
    urls::encode(result.data(), result.size(), html(), urls::unreserved_chars);
    use(result);
  }
  countBytes(state, html().size());
}
BENCHMARK(encodeBoost);

void decodeKorvane(benchmark::State& state) {
  if (RequestUtils::URLDecodedString(encodedHTML(), true) != html()) {
    state.SkipWithError("wrong result");
  }
  for (auto _ : state) use(RequestUtils::URLDecodedString(encodedHTML(), true));
  countBytes(state, encodedHTML().size());
}
BENCHMARK(decodeKorvane);

void decodeGLib(benchmark::State& state) {
  for (auto _ : state) {
    char* result = g_uri_unescape_string(encodedHTML().c_str(), nullptr);
    use(result);
    g_free(result);
  }
  countBytes(state, encodedHTML().size());
}
BENCHMARK(decodeGLib);

void decodeQt(benchmark::State& state) {
  const QByteArray bytes = QByteArray::fromStdString(encodedHTML());
  for (auto _ : state) use(QString::fromUtf8(QByteArray::fromPercentEncoding(bytes)));
  countBytes(state, encodedHTML().size());
}
BENCHMARK(decodeQt);

// The bytes alone, without Qt's conversion of texts to UTF-16.
void decodeQtBytes(benchmark::State& state) {
  const QByteArray bytes = QByteArray::fromStdString(encodedHTML());
  for (auto _ : state) use(QByteArray::fromPercentEncoding(bytes));
  countBytes(state, encodedHTML().size());
}
BENCHMARK(decodeQtBytes);

void decodeBoost(benchmark::State& state) {
  for (auto _ : state) {
    const urls::pct_string_view view = urls::make_pct_string_view(encodedHTML()).value();
    std::string result = view.decode();
    use(result);
  }
  countBytes(state, encodedHTML().size());
}
BENCHMARK(decodeBoost);

// A message's query with 200 attachments, written and read back.
const std::vector<std::string>& attachments() {
  static const std::vector<std::string> made = [] {
    std::vector<std::string> paths;
    for (int i = 0; i < 200; ++i) {
      paths.push_back(
          "/home/user/.local/share/Q7K4M2XW9P.korvane/SharedData/Share/Foto aus München " +
          std::to_string(i) + ".jpeg");
    }
    return paths;
  }();
  return made;
}

void queryKorvane(benchmark::State& state) {
  korvane::List list;
  for (const std::string& path : attachments()) list.emplace_back(path);
  korvane::Dictionary parameters;
  parameters.set("subject", "Fotos");
  parameters.set("attachments", korvane::Value(std::move(list)));
  for (auto _ : state) {
    const std::string query = RequestUtils::URLQueryWithParameters(parameters);
    const korvane::Dictionary read =
        RequestUtils::URLQueryParameters(query, RequestUtils::URLQueryModeCollect);
    if (read.objectForKey("attachments").list().size() != 200) state.SkipWithError("wrong result");
  }
}
BENCHMARK(queryKorvane);

void queryGLib(benchmark::State& state) {
  for (auto _ : state) {
    GString* query = g_string_new("subject=Fotos");
    for (const std::string& path : attachments()) {
      g_string_append(query, "&attachments=");
      char* value = g_uri_escape_string(path.c_str(), nullptr, TRUE);
      g_string_append(query, value);
      g_free(value);
    }
    // GUriParams read into a dictionary keep one value per key, so the pairs are listed.
    GUriParamsIter iter;
    g_uri_params_iter_init(&iter, query->str, static_cast<gssize>(query->len), "&",
                           G_URI_PARAMS_WWW_FORM);
    std::size_t pairs = 0;
    char *key = nullptr, *value = nullptr;
    while (g_uri_params_iter_next(&iter, &key, &value, nullptr)) {
      ++pairs;
      g_free(key);
      g_free(value);
    }
    if (pairs != 201) state.SkipWithError("wrong result");
    g_string_free(query, TRUE);
  }
}
BENCHMARK(queryGLib);

void queryQt(benchmark::State& state) {
  std::vector<QString> paths;
  for (const std::string& path : attachments()) paths.push_back(QString::fromStdString(path));
  for (auto _ : state) {
    QUrlQuery query;
    query.addQueryItem("subject", "Fotos");
    for (const QString& path : paths) query.addQueryItem("attachments", path);
    const QString text = query.toString(QUrl::FullyEncoded);
    const QUrlQuery read(text);
    const QStringList list = read.allQueryItemValues("attachments", QUrl::FullyDecoded);
    if (list.size() != 200) state.SkipWithError("wrong result");
  }
}
BENCHMARK(queryQt);

void queryBoost(benchmark::State& state) {
  for (auto _ : state) {
    urls::url url;
    auto parameters = url.params();
    parameters.append({"subject", "Fotos"});
    for (const std::string& path : attachments()) parameters.append({"attachments", path});
    std::size_t pairs = 0;
    std::vector<std::string> list;
    for (const auto& parameter : urls::parse_query(url.encoded_query()).value()) {
      list.push_back(parameter.value.decode());
      ++pairs;
    }
    if (pairs != 201) state.SkipWithError("wrong result");
  }
}
BENCHMARK(queryBoost);

}  // namespace
