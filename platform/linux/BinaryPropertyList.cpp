#include "platform/linux/BinaryPropertyList.h"

namespace korvane {

bool isBinaryPropertyList(std::string_view bytes) { return bytes.starts_with("bplist0"); }

std::optional<Value> readBinaryPropertyList(std::string_view) { return std::nullopt; }

}  // namespace korvane
