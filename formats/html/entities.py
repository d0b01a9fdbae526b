#!/usr/bin/env python3
"""Writes HTMLEntities.cpp, the names of HTML's character references, from Python's own table.

Usage: formats/html/entities.py >formats/html/HTMLEntities.cpp
"""

import html.entities

names = html.entities.html5
rows = []
for name in sorted(n[:-1] for n in names if n.endswith(";")):
    codes = [ord(c) for c in names[name + ";"]]
    assert len(codes) <= 2 and codes[-1] < 0x20000
    second = codes[1] if len(codes) > 1 else 0
    rows.append('{"%s", %d, %d, %s}' % (name, codes[0], second, "true" if name in names else "false"))
assert {n for n in names if not n.endswith(";")} <= {n[:-1] for n in names if n.endswith(";")}

print('#include "formats/html/HTMLEntities.h"\n')
print("#include <algorithm>\n#include <array>\n")
print("namespace korvane {\nnamespace {\n")
print("// Written by entities.py. Sorted by name.")
print("// clang-format off")
print("constexpr std::array<HTMLEntity, %d> kEntities = {{" % len(rows))
line = "   "
for row in rows:
    if len(line) + len(row) + 2 > 100:
        print(line)
        line = "   "
    line += " " + row + ","
print(line + "\n}};\n// clang-format on\n")
print("""}  // namespace

const HTMLEntity* findHTMLEntity(std::string_view name) {
  const auto* found = std::lower_bound(
      kEntities.begin(), kEntities.end(), name,
      [](const HTMLEntity& entity, std::string_view n) { return entity.name < n; });
  return found != kEntities.end() && found->name == name ? found : nullptr;
}

}  // namespace korvane""")
