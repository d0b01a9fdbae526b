// Property lists of any bytes, in both forms. What one form holds, written in the other, reads the
// same; records made of it can be shown. With clang: libFuzzer, else replay.cpp.
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

#include "formats/plist/PropertyListBytes.h"
#include "fuzz/Require.h"
#include "model/ExtensionAccount.h"
#include "model/ExtensionGroup.h"
#include "platform/NSString.h"
#include "platform/Platform.h"
#include "tests/support/PropertyListWriter.h"

namespace {

using namespace korvane;

class Silence : public LogSink {
 public:
  void write(std::string_view) noexcept override {}
};

// Whether the value can be written in both forms: dates of the XML form are whole seconds of years
// with four digits, and its numbers are no larger than its integers.
bool isPortable(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::absent:  // a null object, which XML does not have
      return false;
    case Value::Kind::date: {
      const double seconds = value.date().timeIntervalSince1970;
      return seconds == std::floor(seconds) && seconds > -6.2e10 && seconds < 2.5e11;
    }
    case Value::Kind::list:
      for (const Value& element : value.list()) {
        if (!isPortable(element)) return false;
      }
      return true;
    case Value::Kind::dictionary:
      for (const auto [key, element] : value.dictionary()) {
        if (!isUTF8(key) || !isPortable(element)) return false;
      }
      return true;
    case Value::Kind::number:
      return !value.isReal() || !std::isnan(value.doubleValue());
    case Value::Kind::text:
      return isUTF8(value.text());
    default:
      return true;
  }
}

// As many values as a text of this size may be worth writing.
std::size_t countUpTo(const Value& value, std::size_t limit) {
  std::size_t count = 1;
  if (value.isList()) {
    for (const Value& element : value.list()) {
      if (count >= limit) break;
      count += countUpTo(element, limit - count);
    }
  } else if (value.isDictionary()) {
    for (const auto [key, element] : value.dictionary()) {
      if (count >= limit) break;
      count += countUpTo(element, limit - count);
    }
  }
  return count;
}

void makeRecords(const Value& element) {
  const ExtensionAccount account(element);
  REQUIRE(account.description().starts_with("ExtensionAccount "));
  const ExtensionGroup group(element);
  group.prettyprint();
  for (const auto& member : group.addresses().value_or(ExtensionGroup::Addresses())) {
    member->prettyprint();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool installed = [] {
    Platform services;
    services.log = std::make_shared<Silence>();
    Platform::install(std::move(services));
    return true;
  }();
  REQUIRE(installed);

  const auto value = propertyListFromBytes({reinterpret_cast<const char*>(data), size});
  if (!value) return 0;
  constexpr std::size_t kWorthWriting = 20'000;
  if (countUpTo(*value, kWorthWriting) == kWorthWriting) return 0;
  if (value->isList()) {
    for (const Value& element : value->list()) makeRecords(element);
  }
  if (!isPortable(*value)) return 0;
  for (const std::string& written :
       {testing::XMLWriter::write(*value), testing::BinaryWriter::write(*value),
        testing::BinaryWriter::write(*value, {.shareTexts = true, .shareContainers = true})}) {
    const auto again = propertyListFromBytes(written);
    REQUIRE(again.has_value());
    REQUIRE(*again == *value);
  }
  return 0;
}
