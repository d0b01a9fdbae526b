// Base64 of 1 MB of text, both ways, against GLib and Qt.
#include <benchmark/benchmark.h>
#include <glib.h>

#include <QByteArray>
#include <string>

#include "urlutils/RequestUtils.h"

namespace {

namespace RequestUtils = korvane::RequestUtils;

constexpr std::size_t kSize = 1'000'000;

// A letter with some characters outside ASCII, as mails have them.
const std::string& text() {
  static const std::string made = [] {
    std::string result;
    while (result.size() < kSize) {
      result += "Grüße aus München, the quick brown fox jumps over the lazy dog. 0123456789\n";
    }
    result.resize(kSize);
    while ((static_cast<unsigned char>(result.back()) & 0xC0) == 0x80) result.pop_back();
    if (static_cast<unsigned char>(result.back()) >= 0xC0) result.pop_back();
    return result;
  }();
  return made;
}

const std::string& encoded() {
  static const std::string made = RequestUtils::base64EncodedString(text()).value();
  return made;
}

void count(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text().size()));
}

void encodeKorvane(benchmark::State& state) {
  for (auto _ : state) {
    auto result = RequestUtils::base64EncodedString(text());
    benchmark::DoNotOptimize(result->data());
  }
  count(state);
}
BENCHMARK(encodeKorvane);

void encodeGLib(benchmark::State& state) {
  for (auto _ : state) {
    gchar* result = g_base64_encode(reinterpret_cast<const guchar*>(text().data()), text().size());
    benchmark::DoNotOptimize(result);
    g_free(result);
  }
  count(state);
}
BENCHMARK(encodeGLib);

void encodeQt(benchmark::State& state) {
  const QByteArray bytes(text().data(), static_cast<qsizetype>(text().size()));
  for (auto _ : state) {
    QByteArray result = bytes.toBase64();
    benchmark::DoNotOptimize(result.data());
  }
  count(state);
}
BENCHMARK(encodeQt);

void decodeKorvane(benchmark::State& state) {
  if (RequestUtils::base64DecodedString(encoded()) != text()) state.SkipWithError("wrong result");
  for (auto _ : state) {
    auto result = RequestUtils::base64DecodedString(encoded());
    benchmark::DoNotOptimize(result->data());
  }
  count(state);
}
BENCHMARK(decodeKorvane);

void decodeGLib(benchmark::State& state) {
  for (auto _ : state) {
    gsize size = 0;
    guchar* result = g_base64_decode(encoded().c_str(), &size);
    benchmark::DoNotOptimize(result);
    g_free(result);
  }
  count(state);
}
BENCHMARK(decodeGLib);

void decodeQt(benchmark::State& state) {
  const QByteArray bytes(encoded().data(), static_cast<qsizetype>(encoded().size()));
  for (auto _ : state) {
    QByteArray result = QByteArray::fromBase64(bytes);
    benchmark::DoNotOptimize(result.data());
  }
  count(state);
}
BENCHMARK(decodeQt);

// The same in lines of 76 characters, as mails have them.
void decodeLinesKorvane(benchmark::State& state) {
  std::string lines;
  for (std::size_t at = 0; at < encoded().size(); at += 76) {
    lines += encoded().substr(at, 76) + "\r\n";
  }
  if (RequestUtils::base64DecodedString(lines) != text()) state.SkipWithError("wrong result");
  for (auto _ : state) {
    auto result = RequestUtils::base64DecodedString(lines);
    benchmark::DoNotOptimize(result->data());
  }
  count(state);
}
BENCHMARK(decodeLinesKorvane);

}  // namespace
