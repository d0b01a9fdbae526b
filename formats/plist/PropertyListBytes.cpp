#include "formats/plist/PropertyListBytes.h"

#include <new>

#include "formats/plist/BinaryPropertyList.h"
#include "formats/plist/XMLPropertyList.h"

namespace korvane {

std::optional<Value> propertyListFromBytes(std::string_view bytes) {
  try {
    return isBinaryPropertyList(bytes) ? readBinaryPropertyList(bytes) : readXMLPropertyList(bytes);
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

}  // namespace korvane
