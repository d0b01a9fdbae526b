#include "formats/plist/XMLEncoding.h"

#include <unicode/ucnv.h>
#include <unicode/ustring.h>

#include <limits>
#include <memory>

namespace korvane {
namespace {

using namespace std::string_view_literals;

struct Mark {
  std::string_view bytes;
  const char* encoding;
};
constexpr Mark kMarks[] = {{"\x00\x00\xFE\xFF"sv, "UTF-32BE"},
                           {"\xFF\xFE\x00\x00"sv, "UTF-32LE"},
                           {"\xEF\xBB\xBF"sv, "UTF-8"},
                           {"\xFE\xFF"sv, "UTF-16BE"},
                           {"\xFF\xFE"sv, "UTF-16LE"}};

// The encoding that the declaration names; empty where it names none.
std::string_view declaredEncoding(std::string_view bytes) {
  if (!bytes.starts_with("<?xml")) return {};
  const std::string_view declaration = bytes.substr(5, bytes.find_first_of("?>", 5) - 5);
  constexpr std::string_view kName = "encoding=";
  const std::size_t found = declaration.find(kName);
  if (found == std::string_view::npos) return {};
  const std::string_view value = declaration.substr(found + kName.size());
  if (value.empty() || (value[0] != '"' && value[0] != '\'')) return {};
  const std::size_t end = value.find(value[0], 1);
  return end == std::string_view::npos ? std::string_view() : value.substr(1, end - 1);
}

bool isUTF8Name(std::string_view name) {
  return name.size() == 5 && (name[0] | 0x20) == 'u' && (name[1] | 0x20) == 't' &&
         (name[2] | 0x20) == 'f' && name.substr(3) == "-8";
}

void stopAtErrors(UConverter* converter, UErrorCode* error) {
  ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, error);
}

using Converter = std::unique_ptr<UConverter, void (*)(UConverter*)>;

Converter openConverter(const char* encoding, UErrorCode* error) {
  return Converter(ucnv_open(encoding, error), ucnv_close);
}

std::optional<std::string> convert(std::string_view bytes, const std::string& encoding) {
  // ICU counts in 32 bits, and the result may be three times as long.
  if (bytes.size() > std::numeric_limits<std::int32_t>::max() / 4) return std::nullopt;
  UErrorCode error = U_ZERO_ERROR;
  Converter converter = openConverter(encoding.c_str(), &error);
  if (U_FAILURE(error)) return std::nullopt;
  // Writers that say ASCII, under any of its names, and mean Latin-1 are believed in that.
  if (ucnv_getName(converter.get(), &error) == "US-ASCII"sv) {
    converter = openConverter("ISO-8859-1", &error);
  }
  stopAtErrors(converter.get(), &error);
  std::u16string wide(bytes.size() + 1, u'\0');
  const std::int32_t length =
      ucnv_toUChars(converter.get(), wide.data(), static_cast<std::int32_t>(wide.size()),
                    bytes.data(), static_cast<std::int32_t>(bytes.size()), &error);
  if (U_FAILURE(error)) return std::nullopt;
  std::string text(static_cast<std::size_t>(length) * 3, '\0');
  std::int32_t size = 0;
  u_strToUTF8(text.data(), static_cast<std::int32_t>(text.size()), &size, wide.data(), length,
              &error);
  if (U_FAILURE(error)) return std::nullopt;
  text.resize(static_cast<std::size_t>(size));
  return text;
}

}  // namespace

std::optional<XMLText> utf8OfXML(std::string_view bytes) {
  std::string encoding(declaredEncoding(bytes));
  for (const Mark& mark : kMarks) {
    if (!bytes.starts_with(mark.bytes)) continue;
    bytes.remove_prefix(mark.bytes.size());
    encoding = mark.encoding;
    break;
  }
  if (encoding.empty() || isUTF8Name(encoding)) return XMLText{bytes, std::nullopt};
  auto converted = convert(bytes, encoding);
  if (!converted) return std::nullopt;
  return XMLText{{}, std::move(converted)};
}

}  // namespace korvane
