#include "host/ViewMain.h"

#include <string>

#include "host/InputError.h"
#include "host/Program.h"
#include "host/SampleView.h"
#include "text/PrintableText.h"

namespace korvane {

int ViewMain(int argc, char* argv[], void (*showWindow)()) {
  std::string path;
  const CommandLine line{
      .program = "korvane-view",
      .usage = {"FILE.png"},
      .before = R"(Draws a sample view to a PNG file and, where GTK 4 and a display are there, shows
it in a window.

)",
      .options = {},
      .after = "",
      .takeOther = once("the picture", path),
      .check =
          [&] {
            if (path.empty()) throw InputError("which file is the picture to be?");
          },
  };
  return runProgram(line, argc, argv, [&] {
    if (!writeSampleView(path)) return fail(line.program, kFailed, "cannot write " + path);
    writeOut("The view is drawn in " + printableText(path, LineBreaks::show) + "\n");
    if (showWindow) showWindow();
    return kDone;
  });
}

}  // namespace korvane
