// What the build's flags leave in the programs: read from the files themselves, as a flag that does
// not reach the compiler or the linker is not missed by anybody else.
#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "support/Places.h"

namespace {

namespace fs = std::filesystem;

/// A program or shared library of this machine's kind.
class Binary {
 public:
  explicit Binary(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(file), {});
    header_ = at<Elf64_Ehdr>(0);
    for (unsigned i = 0; i < header_.e_phnum; ++i) {
      segments.push_back(at<Elf64_Phdr>(header_.e_phoff + i * sizeof(Elf64_Phdr)));
    }
    std::vector<Elf64_Shdr> sections;
    for (unsigned i = 0; i < header_.e_shnum; ++i) {
      sections.push_back(at<Elf64_Shdr>(header_.e_shoff + i * sizeof(Elf64_Shdr)));
    }
    for (const Elf64_Shdr& section : sections) {
      if (section.sh_type == SHT_DYNAMIC) {
        for (std::size_t i = 0; i < section.sh_size / sizeof(Elf64_Dyn); ++i) {
          dynamic.push_back(at<Elf64_Dyn>(section.sh_offset + i * sizeof(Elf64_Dyn)));
        }
      }
      if (section.sh_type != SHT_DYNSYM && section.sh_type != SHT_SYMTAB) continue;
      for (std::size_t i = 0; i < section.sh_size / sizeof(Elf64_Sym); ++i) {
        const auto symbol = at<Elf64_Sym>(section.sh_offset + i * sizeof(Elf64_Sym));
        std::string name = bytes_.data() + sections.at(section.sh_link).sh_offset + symbol.st_name;
        if (symbol.st_shndx == SHN_UNDEF) {
          imported.insert(name.substr(0, name.find('@')));
        } else if (name == "main") {
          mainStart = bytes_.substr(fileOffset(symbol.st_value), 4);
        }
      }
    }
  }
  static bool isOne(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    char magic[EI_NIDENT] = {};
    file.read(magic, sizeof magic);
    return std::memcmp(magic, ELFMAG, SELFMAG) == 0 && magic[EI_CLASS] == ELFCLASS64;
  }
  unsigned type() const { return header_.e_type; }
  unsigned machine() const { return header_.e_machine; }
  const Elf64_Phdr* segment(unsigned type) const {
    for (const Elf64_Phdr& each : segments) {
      if (each.p_type == type) return &each;
    }
    return nullptr;
  }
  /// The value of an entry of the dynamic section, 0 where it is missing.
  std::uint64_t entry(std::int64_t tag) const {
    for (const Elf64_Dyn& each : dynamic) {
      if (each.d_tag == tag) return each.d_un.d_val;
    }
    return 0;
  }

  std::vector<Elf64_Phdr> segments;
  std::vector<Elf64_Dyn> dynamic;
  std::set<std::string> imported;
  std::string mainStart;

 private:
  template <class T>
  T at(std::size_t offset) const {
    T value{};
    if (offset + sizeof value > bytes_.size()) throw std::out_of_range("cut off");
    std::memcpy(&value, bytes_.data() + offset, sizeof value);
    return value;
  }
  std::size_t fileOffset(std::uint64_t address) const {
    for (const Elf64_Phdr& each : segments) {
      if (each.p_type == PT_LOAD && address >= each.p_vaddr &&
          address < each.p_vaddr + each.p_filesz) {
        return address - each.p_vaddr + each.p_offset;
      }
    }
    throw std::out_of_range("no such address");
  }

  std::string bytes_;
  Elf64_Ehdr header_{};
};

/// Every program of the build that people run, and every library that they load.
std::vector<fs::path> programs() {
  std::vector<fs::path> found;
  for (const char* folder : {"bin", "libexec/korvane", "lib"}) {
    std::error_code error;
    const fs::path path = fs::path(KORVANE_BINARY_DIR) / folder;
    for (const auto& entry : fs::directory_iterator(path, error)) {
      if (entry.is_regular_file() && Binary::isOne(entry.path())) found.push_back(entry.path());
    }
  }
  return found;
}

TEST(Hardening, ProgramsAreBuiltWithWhatTheCompilerHas) {
#ifdef KORVANE_SANITIZED
  GTEST_SKIP() << "the sanitizers take the place of the checked functions";
#endif
  const std::vector<fs::path> found = programs();
  std::size_t protectors = 0;
  std::size_t fortified = 0;
  for (const fs::path& path : found) {
    SCOPED_TRACE(path.filename());
    const Binary binary(path);
    EXPECT_EQ(binary.type(), ET_DYN) << "loaded at an address that is known before";
    EXPECT_TRUE(binary.segment(PT_GNU_RELRO));
    EXPECT_TRUE((binary.entry(DT_FLAGS) & DF_BIND_NOW) || (binary.entry(DT_FLAGS_1) & DF_1_NOW));
    const Elf64_Phdr* stack = binary.segment(PT_GNU_STACK);
    ASSERT_TRUE(stack);
    EXPECT_FALSE(stack->p_flags & PF_X) << "an executable stack";
    for (const Elf64_Phdr& segment : binary.segments) {
      EXPECT_FALSE(segment.p_type == PT_LOAD && (segment.p_flags & PF_W) &&
                   (segment.p_flags & PF_X));
    }
    EXPECT_FALSE(binary.entry(DT_RPATH));
    if (binary.imported.contains("__stack_chk_fail")) ++protectors;
    for (const std::string& name : binary.imported) {
      if (name.starts_with("__") && name.ends_with("_chk")) {
        ++fortified;
        break;
      }
    }
#if defined(__CET__)
    if (binary.machine() == EM_X86_64 && !binary.mainStart.empty()) {
      EXPECT_EQ(binary.mainStart, "\xF3\x0F\x1E\xFA") << "main is not a target of a checked jump";
    }
#endif
  }
  EXPECT_GE(found.size(), 3U) << "the programs were not built";
  EXPECT_EQ(protectors, found.size());
  EXPECT_GE(fortified, 3U);  // a program may call nothing that has a checked form
}

TEST(Hardening, TheCompilerHasAllOfIt) {
#if defined(__GNUC__) && defined(__x86_64__)
#if !defined(__SSP_STRONG__)
  ADD_FAILURE() << "no stack protector";
#endif
#if !defined(__CET__)
  ADD_FAILURE() << "no control-flow protection";
#endif
#if !defined(KORVANE_SANITIZED) && !(defined(_FORTIFY_SOURCE) && _FORTIFY_SOURCE >= 2)
  ADD_FAILURE() << "no checked functions of the C library";
#endif
#endif
}

}  // namespace
