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
    " academy adult aero agency amsterdam art asia bayern berlin bike biz blog boutique "
    "brussels cafe cam camp capetown capital careers casa cloud club community company "
    "computer cool coop dance dating deals delivery dental dev digital doctor engineering "
    "enterprises estate expert farm fashion finance fitness football foundation fun fyi "
    "garden gay gift gifts golf google gratis guru hamburg haus healthcare holiday homes "
    "horse hospital hotel icu immo industries ink institute insure international investments "
    "jetzt kaufen kitchen kiwi koeln land life lighting loans lol london luxury marketing "
    "mba melbourne mobi moda moe money monster mortgage moscow museum ngo ninja nrw nyc ong "
    "online paris party pet photography pizza plumbing porn productions quebec recipes rehab "
    "reisen rent repair restaurant rocks ruhr saarland salon sarl school schule scot sexy "
    "shoes shop singles ski social software solutions studio supplies surf surgery "
    "swiss sydney systems tattoo taxi tech technology tennis theater tienda tips tires tirol "
    "today tokyo town toys travel tube university vacations vegas ventures vet viajes villas "
    "vin vip vlaanderen vodka vote voyage wales webcam website wedding wien wiki wine works "
    "wtf xyz yoga youtube zuerich ";

// Endings that are nothing else: no word of code or of a sentence, and no file's.
constexpr Words kPlainEndings =
    " ae az ba bd bg bh biz bo br ch cl cr cy cz de dk dz ee es eu fi fr gr hk hu ie il "
    "ir jo jp ke kr kw kz lb lk lu lv ma mx ng nl nz pe ph pk pt qa ro ru sg si sk su th tn tw "
    "ua ug uk uy uz ve vn za ";

// Files that have the language that they are in as ending: "index.de", "help.fr".
constexpr Words kFilesOfLanguages =
    " config default defaults dict doc docs error faq help index lang language locale man manual "
    "message "
    "messages news stopwords string strings template templates text texts words ";

// Endings of two letters that are known better from something else. What ends with them counts only
// with "www.", with a path, below a country's own "com", "co", "org" and so on, or by its name.
constexpr Words kOtherwiseKnownEndings =
    " ac "   // Autoconf: configure.ac
    " ad "   // X resources: XTerm.ad
    " am "   // Automake: Makefile.am
    " ar "   // archives of objects
    " as "   // ActionScript; "import numpy.as"
    " au "   // sounds: sound.au
    " bb "   // BitBake
    " bf "   // programs of eight signs: prog.bf
    " bm "   // bitmaps: xlogo.bm
    " bz "   // archives cut short
    " cc "   // C++
    " cd "   // Debian's list of the packages on a disk
    " ck "   // ConsoleKit
    " cm "   // Standard ML: sources.cm
    " cf "   // settings: main.cf, sendmail.cf
    " cu "   // CUDA
    " cw "   // sendmail.cw
    " do "   // Stata, ModelSim; "task.do"
    " ec "   // embedded SQL
    " gi "   // modules of GObject's introspection
    " gl "   // OpenGL
    " gn "   // BUILD.gn
    " gp "   // gnuplot
    " gs "   // Ghostscript, scripts of tables
    " gt "   // "a.gt", greater than
    " id "   // "user.id"
    " in "   // Autoconf: config.h.in
    " is "   // "Object.is", "this.is"
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
    " mp "   // MetaPost
    " ms "   // troff
    " nc "   // NetCDF
    " ne "   // "a.ne", not equal
    " np "   // NumPy
    " nr "   // nroff
    " pa "   // PulseAudio: default.pa
    " pk "   // keys of tables: "node.pk"
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
    " to "   // "mail.to", "down.to"
    " tt "   // templates
    " tz "   // modules of time zones: dateutil.tz
    " vc ";  // Visual C++: Makefile.vc

// Endings with which a name of two labels is a file or a member far more often than a domain:
// "at" (tests of Autotest: basic.at) and countries whose domains stand bare in few texts.
constexpr Words kSeldomEndings =
    " af ag al ao aq at ax bi bj bn bs bt bv bw cg cv dj dm er et fj fk fo gf gh gm gq gu gw "
    "gy hm hn ht iq jm ki km kn kp ky lr mg mh mn mq mr mu mv mw my mz na nf ni om pf pg pn "
    "pr rw sb sd sj sm sn sr sy sz tc tg tj tl tm tp va vg vi vu wf ye yt zm zw ";

// Languages and libraries "for .NET".
constexpr Words kDotNet = " ado asp msvc vb vc vs ";

// Endings that are operations on what has a name of one letter.
constexpr Words kComparisons = " ge le lt se ue ";

// Domains on such endings that stand bare in many texts.
constexpr Words kWellKnown =
    " 0x0.st about.me aka.ms allegro.pl amzn.to apa.at archive.is archive.ph atv.at bit.ly "
    "brew.sh bsky.app bun.sh conf.au crt.sh derstandard.at dev.to docs.rs esm.sh g.co "
    "gazeta.pl geizhals.at gmx.at gopkg.in gov.pl heute.at hex.pm i.ua interia.pl is.gd j.mp "
    "jabber.network kleinezeitung.at krone.at kurier.at libera.chat mbl.is now.sh o2.pl "
    "oe24.at oebb.at onet.pl orf.at ow.ly pagekite.me post.at pre-commit.ci rubydoc.info "
    "rustup.rs ruv.is sr.ht t.cn t.co t.me transfer.sh turbo.build tvn24.pl typst.app v.gd "
    "visir.is willhaben.at wko.at wp.pl wttr.in zackzack.at ";

// Second-level names below which a country's domains stand, if the public suffix list says so.
constexpr Words kSecondLevels =
    " ac asn co com edu ed go gob gouv gov gv id mil ne net or org sch ";

// First words of two that are a document's name, whatever the ending; the others only where they
// stand in capitals.
constexpr Words kDocuments =
    " changelog command contributing copying install license makefile readme testsuite todo ";
constexpr Words kDocumentsInCapitals =
    " AUTHORS BUGS CHANGES COPYRIGHT FAQ HISTORY NEWS NOTES RELEASE SECURITY THANKS ";

// First words of two that are code, a file or an abbreviation; the endings of all the world aside.
constexpr Words kCode =
    " an any app append apps arg args array as atlocal autoconf bar baz builder cfg class "
    "client cluster color conf config console cookbook core ctx data date datetime db debug "
    "default dest dev dir dirent doc document dst edge el elem element emacs email entry env "
    "err error et ev event example expect file files fmt foo form format fs func gas gc gcc "
    "gdb gdk gio glib gmp group gtk gui head host html http https hw image img import in "
    "index info inspect io item items java javax json jump kernel key kotlin lib list local "
    "log logger logging main make map math message meta mod model module mount mpfr msg my "
    "name net node np num obj object opt options opts os out output page paint param params "
    "parent path pd platform plt pos position pr proc process promise prop props proxy ptr "
    "qux raw read ref regex remote report reporter req request res resp response result ret "
    "return root route row sample scala scanners script self server session settings sort "
    "spam spec sql src start state std str stream string struct style super switch sys "
    "system table target temp template test tests testsuite texinfo text that this time tmp "
    "token torch trait tree tx type types typing url user users util utils val value values "
    "var vec verify vm vs webdriver win window worker ";

// The same at the beginning of longer names.
constexpr Words kCodeOfAnyLength =
    " android androidx array configure datetime document java javax kotlin object process "
    "promise scala selenium self std string sun sys system this typing window ";

// Words of a sentence that do not begin a domain: "that.is", where a space was forgotten.
constexpr Words kSmallWords =
    " about after all also although an and are as at because been before but by can could "
    "did do does done each for from get had has have he her here him his how if into is its "
    "just let like may more most must no nor not of on once only or other our over said self "
    "she should since so some such than that the their them then there these they this those "
    "though too under until up was we were what when where whether which while who why will "
    "with without would yes yet you your ";

// Labels before the last one that are the first of two endings of a file, or part of code:
// "config.mak.dev", "sensors.conf.eg", "Array.prototype.at".
constexpr Words kInnerEndings =
    " bak c cfg cm conf config cpp css h help hpp htm html in ini js json lang languages "
    "locale log logger mak man md mgmt min msg orig path po pot prototype py rst sh spec src "
    "tar templates tex tmpl ts txt user version xml yaml yml ";

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

// "com.example.app", "org.freedesktop.DBus", but neither "de.wikipedia.org" nor "app.example.de".
bool isReversed(std::string_view first, std::string_view topLabel, std::size_t labels) {
  if (labels < 3 || !isAmong(first, kReversedBeginnings)) return false;
  if (first == "com" || first == "org" || first == "net") return true;
  if (isAmong(topLabel, kWorldEndings)) return false;
  return labels > 3 || !(topLabel == "io" || isAmong(topLabel, kPlainEndings));
}

// Whether every label begins with a capital.
bool beginsWithCapitals(std::string_view name) {
  for (std::size_t at = 0; at < name.size(); ++at) {
    if ((at == 0 || name[at - 1] == '.') && !isUpper(name[at])) return false;
  }
  return true;
}

// Capitals that words of a sentence or of code have, and domains have not. Those of all the world
// are known to be written as names: "GitHub.com", but not "System.Net".
bool hasOddCapitals(std::string_view name, std::string_view topLabel, bool world) {
  const auto capitals = static_cast<std::size_t>(std::count_if(name.begin(), name.end(), isUpper));
  if (capitals == 0) return false;
  const bool noLower =
      std::none_of(name.begin(), name.end(), [](char c) { return c >= 'a' && c <= 'z'; });
  if (world) {
    const auto inTop = std::count_if(topLabel.begin(), topLabel.end(), isUpper);
    if (inTop == 0) return false;
    const auto labels = std::count(name.begin(), name.end(), '.') + 1;
    // "mercury.Sun.COM", as mail headers have it.
    if (labels > 2 && !noLower && static_cast<std::size_t>(inTop) == topLabel.size()) return false;
    return lowercase(topLabel) == "net" ? !(noLower && labels > 2) : !noLower && !isUpper(name[0]);
  }
  const std::string top = lowercase(topLabel);
  if (isAmong(top, kPlainEndings)) {
    // Modules of Haskell: "TextShow.TH", "Lambdabot.Monad.LB".
    const auto labels = std::count(name.begin(), name.end(), '.') + 1;
    if (topLabel == "TH" || (labels > 2 && beginsWithCapitals(name) && isUpper(topLabel[1])))
      return true;
    // "ZackZack.at", "Publico.PT", but not "INSTALL.FR" nor "done.De".
    const auto inTop = std::count_if(topLabel.begin(), topLabel.end(), isUpper);
    return noLower || (inTop != 0 && static_cast<std::size_t>(inTop) != topLabel.size());
  }
  if ((topLabel == "io" || topLabel == "at") && isUpper(name[0]) &&
      name.find('.') + 3 == name.size())
    return false;
  return !(capitals == 1 && isUpper(name[0]) && name.find('.') > 2);
}

bool isAllDigits(std::string_view text) { return std::all_of(text.begin(), text.end(), isDigit); }

// "2.0.dev", "3.am", "10.30.pm": all labels but the last are short numbers; "0.15rc1.dev", where
// they are two and more and begin with a digit.
bool isNumbered(std::string_view name, std::size_t lastDot) {
  std::size_t digits = 0;
  bool areNumbers = true;
  bool areVersion = name.find('.') < lastDot;
  for (std::size_t at = 0; at < lastDot; ++at) {
    if (at == 0 || name[at - 1] == '.') areVersion = areVersion && isDigit(name[at]);
    digits = isDigit(name[at]) ? digits + 1 : 0;
    if (name[at] != '.' && (digits == 0 || digits > 2)) areNumbers = false;
  }
  return areNumbers || areVersion;
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
  const std::size_t parent = labels == 2 ? 0 : name.rfind('.', lastDot - 1) + 1;
  const bool wellKnown = isAmong(std::string_view(name).substr(parent), kWellKnown);
  if (!wellKnown && hasOddCapitals(host.name, host.topLabel, world)) return false;
  // "main.rs:12:5", a place in a file.
  const char next = host.rest.empty() ? ' ' : host.rest[0];
  const char second = host.rest.size() < 2 ? ' ' : host.rest[1];
  if (next == ':' && (isDigit(second) || second == ':')) return false;
  if (top == "net" && labels == 2 && isAmong(first, kDotNet)) return false;
  if (world) return true;

  const bool hasPath = next == '/';  // "url.md#class-url" is a place in a file
  const bool plain = isAmong(top, kPlainEndings);
  if (labels == 2 && !wellKnown && !hasPath) {
    if (isAmong(top, kSeldomEndings)) return false;
    // "a.lt", a comparison.
    if (first.size() == 1 && isAmong(top, kComparisons)) return false;
    if (isAmong(first, kSmallWords) || isAmong(first, plain ? kFilesOfLanguages : kCode)) {
      return false;
    }
  }
  if (labels > 2 && isAmong(first, kCodeOfAnyLength)) return false;
  if (labels > 2) {
    const std::string_view inner = std::string_view(name).substr(parent, lastDot - parent);
    if (isAmong(inner, kInnerEndings)) return false;
  }
  // Calls, indices, members of what a pointer points to.
  if (next == '(' || next == '[' || host.behindOperator) return false;
  // "grub.info" is a manual; of longer names what is a message was told above.
  if (top == "info") return hasPath || labels > 2;
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
