#pragma once

#include <cstdint>
#include <string_view>

namespace korvane {

/// A name that stands for one or two characters: "amp", "NotEqualTilde".
struct HTMLEntity {
  std::string_view name;
  std::uint32_t first;
  std::uint32_t second;  // 0 where there is none
  /// Whether it counts without its semicolon too.
  bool bare;
};

inline constexpr std::size_t kMaxHTMLEntityName = 31;
inline constexpr std::size_t kMaxBareHTMLEntityName = 6;

/// The entity of the name, in its very case and without "&" and ";"; null where HTML has none. Any
/// thread may call.
const HTMLEntity* findHTMLEntity(std::string_view name);

}  // namespace korvane
