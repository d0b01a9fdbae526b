#include "formats/links/BareHosts.h"

#include <libpsl.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

#include "formats/links/LinkCharacters.h"

namespace korvane::links {
namespace {

using Words = std::string_view;  // separated by spaces, with one at either end

// The word is not empty and has no spaces.
bool isAmong(std::string_view word, Words words) {
  for (std::size_t at = words.find(word); at != Words::npos; at = words.find(word, at + 1)) {
    if (words[at - 1] == ' ' && words[at + word.size()] == ' ') return true;
  }
  return false;
}

// Endings of all the world. What ends with them is nearly always a domain.
constexpr Words kWorldEndings = " com org net edu gov mil ";

// Other endings of more than two letters that people write bare. All that are not here count only
// with "www." or a path: most are words ("data.read", "user.name", "multi-user.target") or endings
// of files ("build.map", "main.inc").
constexpr Words kKnownEndings =
    " academy adult aero agency amsterdam asia bayern berlin biz blog brussels capetown cloud "
    "club codes community coop dev digital foundation fun fyi gay guru hamburg icu info koeln land "
    "live lol london melbourne mobi moe money monster moscow museum ngo ninja nrw nyc ong "
    "online paris party porn quebec rocks ruhr saarland scot sexy site social software "
    "solutions swiss sydney tech technology tirol today tokyo travel tube vegas vip vlaanderen "
    "wales website wien wiki wtf xyz zuerich ";

// Endings of two letters that are known better from something else. What ends with them counts only
// with "www.", with a path, below a country's own "com", "co", "org" and so on, or by its name.
constexpr Words kOtherwiseKnownEndings =
    " ac "   // Autoconf: configure.ac
    " ad "   // X resources: XTerm.ad
    " am "   // Automake: Makefile.am
    " as "   // ActionScript; "import numpy.as"
    " bb "   // BitBake
    " bz "   // archives cut short
    " cc "   // C++
    " cd "   // Debian's list of the packages on a disk
    " cf "   // settings: main.cf, sendmail.cf
    " cu "   // CUDA
    " do "   // Stata, ModelSim; "task.do"
    " ec "   // embedded SQL
    " gn "   // BUILD.gn
    " gt "   // "a.gt", greater than
    " id "   // "user.id"
    " in "   // Autoconf: config.h.in
    " la "   // libtool
    " lc "   // locales
    " ls "   // LiveScript
    " ly "   // LilyPond
    " mc "   // sendmail, Windows messages
    " md "   // Markdown
    " mk "   // make
    " ml "   // OCaml
    " mm "   // Objective-C++
    " mo "   // compiled translations
    " ms "   // troff
    " ne "   // "a.ne", not equal
    " pa "   // PulseAudio: default.pa
    " pl "   // Perl
    " pm "   // Perl
    " ps "   // PostScript
    " py "   // Python
    " re "   // "typing.re"
    " rs "   // Rust
    " sa "   // assembler for digital signals
    " sc "   // Scala, SuperCollider
    " sh "   // shell
    " sl "   // S-Lang
    " so "   // shared objects
    " ss "   // Scheme
    " st "   // Smalltalk
    " sv "   // SystemVerilog
    " td "   // TableGen
    " tf "   // Terraform
    " tk "   // Tk
    " tt ";  // templates

// Domains on such endings that stand bare in many texts.
constexpr Words kWellKnown =
    " 0x0.st aka.ms allegro.pl archive.ph bit.ly brew.sh bsky.app bun.sh crt.sh docs.rs esm.sh "
    "gazeta.pl gov.pl gopkg.in interia.pl libera.chat now.sh o2.pl onet.pl ow.ly rustup.rs "
    "turbo.build transfer.sh tvn24.pl typst.app wp.pl wttr.in ";

// Second-level names below which a country's domains stand, if the public suffix list says so.
constexpr Words kSecondLevels = " ac co com edu ed go gob gouv gov gv mil ne net or org sch ";

// First words of two that are a document's name, whatever the ending; the others only where they
// stand in capitals.
constexpr Words kDocuments =
    " changelog contributing copying install license makefile readme testsuite todo ";
constexpr Words kDocumentsInCapitals =
    " AUTHORS BUGS CHANGES COPYRIGHT FAQ HISTORY NEWS NOTES RELEASE SECURITY THANKS ";

// First words of two that are code, a file or an abbreviation; the endings of all the world aside.
constexpr Words kCode =
    " an any app append arg args array as atlocal autoconf bar baz builder cfg class client "
    "cluster color conf config console cookbook core ctx data date db debug default dest dev "
    "dir dirent doc document dst edge el elem element emacs email entry env err error et ev "
    "event example expect file files fmt foo form format fs func gas gc gcc gdb gdk gio glib "
    "gmp gtk gui head host html http https hw image img import in index info inspect io item "
    "items java javax json jump kernel key kotlin lib list local log logger logging main make "
    "map math message mod model module mount mpfr msg my name net node np num obj object opt "
    "options opts os out output page paint param params parent path pd platform plt pos "
    "position pr proc process promise prop props proxy ptr qux raw read ref regex remote "
    "report reporter req request res resp response result ret return root route row sample "
    "scala scanners script self server session settings sort spam spec sql src start state std "
    "str stream string struct style super switch sys system table target temp template test "
    "tests testsuite texinfo text that this time tmp token torch trait tree tx type types "
    "typing url user users util utils val value values var vec verify vm vs win window worker ";

// The same at the beginning of longer names.
constexpr Words kCodeOfAnyLength =
    " android androidx array document java javax kotlin object process promise scala self std "
    "string sun sys system this typing window ";

// Labels before the last one that are the first of two endings of a file, or part of code:
// "config.mak.dev", "sensors.conf.eg", "Array.prototype.at".
constexpr Words kInnerEndings =
    " bak c cfg conf config cpp css h hpp htm html in ini js json log logger mak man md min msg "
    "orig po pot "
    "path prototype py rst sh spec tar templates tex tmpl ts txt xml yaml yml ";

// Labels with which reversed names begin: "com.example.app".
constexpr Words kReversedBeginnings =
    " com org net edu gov io app dev me eu de uk fr ch nl it se jp ";

bool isUpper(char c) { return c >= 'A' && c <= 'Z'; }

bool hasSecondLevel(std::string_view name, std::size_t lastDot) {
  const std::size_t begin = name.substr(0, lastDot).rfind('.');
  if (begin == std::string_view::npos) return false;
  if (!isAmong(name.substr(begin + 1, lastDot - begin - 1), kSecondLevels)) return false;
  return psl_is_public_suffix2(psl_builtin(), std::string(name.substr(begin + 1)).c_str(),
                               PSL_TYPE_ICANN | PSL_TYPE_NO_STAR_RULE) == 1;
}

// Below a host that gives its users names of their own: "a.github.io".
bool isBelowService(const std::string& name) {
  std::size_t dots = 0;
  for (std::size_t at = name.size(); at-- > 1;) {
    if (name[at] != '.' || ++dots == 1) continue;
    if (dots > 3) return false;
    if (psl_is_public_suffix2(psl_builtin(), name.c_str() + at + 1,
                              PSL_TYPE_PRIVATE | PSL_TYPE_NO_STAR_RULE) == 1) {
      return true;
    }
  }
  return false;
}

// "com.example.app", "org.freedesktop.DBus", but not "de.wikipedia.org".
bool isReversed(std::string_view first, std::string_view topLabel, std::size_t labels) {
  if (labels < 3 || !isAmong(first, kReversedBeginnings)) return false;
  return first == "com" || first == "org" || first == "net" || !isAmong(topLabel, kWorldEndings);
}

// Capitals that words of a sentence or of code have, and domains have not. Those of all the world
// are known to be written as names: "GitHub.com", but not "System.Net".
bool hasOddCapitals(std::string_view name, std::string_view topLabel, bool world) {
  const auto capitals = static_cast<std::size_t>(std::count_if(name.begin(), name.end(), isUpper));
  if (capitals == 0) return false;
  const bool noLower =
      std::none_of(name.begin(), name.end(), [](char c) { return c >= 'a' && c <= 'z'; });
  if (world) {
    if (!std::any_of(topLabel.begin(), topLabel.end(), isUpper)) return false;
    const auto labels = std::count(name.begin(), name.end(), '.') + 1;
    return lowercase(topLabel) == "net" ? !(noLower && labels > 2) : !noLower && !isUpper(name[0]);
  }
  return !(capitals == 1 && isUpper(name[0]) && name.find('.') > 2);
}

bool isAllDigits(std::string_view text) { return std::all_of(text.begin(), text.end(), isDigit); }

// "2.0.dev", "3.am", "10.30.pm": all labels but the last are short numbers.
bool isNumbered(std::string_view name, std::size_t lastDot) {
  std::size_t digits = 0;
  for (const char c : name.substr(0, lastDot)) {
    if (c == '.') {
      digits = 0;
    } else if (!isDigit(c) || ++digits > 2) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool isIPv4Address(std::string_view host) {
  std::size_t numbers = 0;
  for (std::size_t begin = 0; begin <= host.size(); ++numbers) {
    const std::size_t end = std::min(host.find('.', begin), host.size());
    const std::string_view number = host.substr(begin, end - begin);
    if (number.empty() || number.size() > 3 || !isAllDigits(number)) return false;
    if (number.size() > 1 && number[0] == '0') return false;
    if (number.size() == 3 && number > "255") return false;
    begin = end + 1;
  }
  return numbers == 4;
}

bool isBareDomain(const BareHost& host) {
  const std::string name = lowercase(host.name);
  const std::size_t lastDot = name.rfind('.');
  const std::size_t firstDot = name.find('.');
  if (lastDot == std::string::npos || isNumbered(name, lastDot)) return false;
  const std::string_view top = std::string_view(name).substr(lastDot + 1);
  const std::string_view first = std::string_view(name).substr(0, firstDot);
  const auto labels = static_cast<std::size_t>(std::count(name.begin(), name.end(), '.')) + 1;
  const bool world = isAmong(top, kWorldEndings);

  if (labels == 2 && (isAmong(first, kDocuments) ||
                      isAmong(host.name.substr(0, firstDot), kDocumentsInCapitals))) {
    return false;
  }
  if (isReversed(first, top, labels)) return false;
  if (hasOddCapitals(host.name, host.topLabel, world)) return false;
  // "main.rs:12:5", a place in a file.
  const char next = host.rest.empty() ? ' ' : host.rest[0];
  const char second = host.rest.size() < 2 ? ' ' : host.rest[1];
  if (next == ':' && (isDigit(second) || second == ':')) return false;
  if (world) return true;

  const std::size_t parent = labels == 2 ? 0 : name.rfind('.', lastDot - 1) + 1;
  const bool wellKnown = isAmong(std::string_view(name).substr(parent), kWellKnown);
  const bool hasPath = next == '/';  // "url.md#class-url" is a place in a file
  if (labels == 2 ? !wellKnown && !hasPath && isAmong(first, kCode)
                  : isAmong(first, kCodeOfAnyLength)) {
    return false;
  }
  if (labels > 2) {
    const std::string_view inner = std::string_view(name).substr(parent, lastDot - parent);
    if (isAmong(inner, kInnerEndings)) return false;
  }
  // Calls, indices, members of what a pointer points to.
  if (next == '(' || next == '[' || host.behindOperator) return false;
  if (top == "info" && first.starts_with("lib")) return false;  // the manual of a library
  if (wellKnown || hasSecondLevel(name, lastDot) || isBelowService(name)) return true;
  const bool known = top.size() > 2 ? top.starts_with("xn--") || isAmong(top, kKnownEndings)
                                    : !isAmong(top, kOtherwiseKnownEndings);
  if (known) return true;
  if (!hasPath) return false;
  // "configure.ac/Makefile.am", "read.me/write.me": alternatives.
  const std::string_view path = host.rest.substr(1);
  const std::size_t end = std::min(path.find_first_of(" \t\r\n,;:)]}>\"'"), path.size());
  const std::string_view tail = path.substr(0, end);
  if (tail.empty()) return true;
  if (isASCII(tail[0]) && !isAlphanumeric(tail[0]) && tail[0] != '~' && tail[0] != '@')
    return false;
  const std::size_t slash = tail.rfind('/');
  const std::string_view file = slash == std::string_view::npos ? tail : tail.substr(slash + 1);
  const std::size_t dot = file.rfind('.');
  return dot == std::string_view::npos ||
         (lowercase(file.substr(dot + 1)) != top && slash != std::string_view::npos);
}

}  // namespace korvane::links
