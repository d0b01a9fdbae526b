#include "compose/Telling.h"

#include "host/Program.h"

namespace korvane {
namespace {

void tell(const std::string& line) { fail("korvane-compose", kFailed, line); }

}  // namespace

std::string sentenceOf(const LeftOut& leftOut) { return leftOut.item + " " + leftOut.reason + "."; }

void tellAbout(const Composition& composition) {
  for (const LeftOut& leftOut : composition.leftOut()) tell(sentenceOf(leftOut));
  for (const std::string& remark : composition.remarks()) tell(remark);
}

void tellFailure(const ComposeError& error) { tell(error.what()); }

}  // namespace korvane
