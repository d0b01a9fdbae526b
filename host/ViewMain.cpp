#include "host/ViewMain.h"

#include <string>

#include "host/InputError.h"
#include "host/Program.h"
#include "host/SampleView.h"
#include "platform/detail/Translation.h"
#include "text/PrintableText.h"

namespace korvane {

int ViewMain(int argc, char* argv[], void (*showWindow)()) {
  std::string path;
  const CommandLine line{
      .program = "korvane-view",
      .usage = {translatable("FILE.png")},
      .before = translatable(
          "Draws a sample view to a PNG file and, where GTK 4 and a display are there, shows\n"
          "it in a window.\n\n"),
      .options = {},
      .after = {},
      .takeOther =
          [&path](std::string given) {
            if (!path.empty()) throw InputError(translated("more than one picture is given"));
            path = std::move(given);
          },
      .check =
          [&] {
            if (path.empty()) throw InputError(translated("no file for the picture is given"));
          },
  };
  return runProgram(line, argc, argv, [&] {
    if (!writeSampleView(path))
      return fail(line.program, kFailed, translated("{0} cannot be written", path));
    writeOut(translated("The view is drawn in {0}", printableText(path, LineBreaks::show)) + "\n");
    if (showWindow) showWindow();
    return kDone;
  });
}

}  // namespace korvane
