#include "platform/detail/Translation.h"

#include <atomic>
#include <cstddef>

namespace korvane {
namespace {

std::atomic<Translator> current = nullptr;

}  // namespace

std::string filled(std::string_view text, std::initializer_list<std::string_view> values) {
  std::string result;
  while (!text.empty()) {
    const std::size_t place = text.find('{');
    result += text.substr(0, place);
    if (place == std::string_view::npos) break;
    text.remove_prefix(place);
    const std::size_t number = text.size() < 3 || text[2] != '}' || text[1] < '0' || text[1] > '9'
                                   ? values.size()
                                   : static_cast<std::size_t>(text[1] - '0');
    if (number < values.size()) {
      result += values.begin()[number];
      text.remove_prefix(3);
    } else {
      result += '{';
      text.remove_prefix(1);
    }
  }
  return result;
}

const char* translationOf(const char* text) noexcept { return translationOf(text, nullptr, 1); }

const char* translationOf(const char* one, const char* many, unsigned long count) noexcept {
  const Translator translator = *one == '\0' ? nullptr : current.load();
  if (translator) return translator(one, many, count);
  return many && count != 1 ? many : one;
}

void setTranslator(Translator translator) noexcept { current = translator; }

}  // namespace korvane
