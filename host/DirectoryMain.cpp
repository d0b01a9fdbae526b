#include "host/DirectoryMain.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "extension/ExtensionUtilities.h"
#include "host/DirectoryReport.h"
#include "host/Edition.h"
#include "host/InputError.h"
#include "host/Program.h"
#include "linux/LinuxPlatform.h"
#include "platform/Platform.h"
#include "platform/detail/Translation.h"

namespace korvane {
namespace {

// The loaders give nothing for what cannot be read, as for what is not there. Who asks for a
// listing wants to know which of the two it is.

/// Ends the program's work where the container cannot be locked.
class StrictCoordinator : public NSFileCoordinator {
 public:
  explicit StrictCoordinator(std::shared_ptr<NSFileCoordinator> coordinator)
      : coordinator_(std::move(coordinator)) {}
  void coordinateWritingItemAtURL(const std::optional<NSURL>& url,
                                  NSFileCoordinatorWritingOptions options,
                                  std::optional<NSError>& error,
                                  const std::function<void(const NSURL&)>& accessor) override {
    if (!url) throw std::runtime_error(translated("there is no container"));
    coordinator_->coordinateWritingItemAtURL(url, options, error, accessor);
    if (error) {
      throw std::runtime_error(
          translated("the container cannot be locked: {0}", error->localizedDescription));
    }
  }

 private:
  std::shared_ptr<NSFileCoordinator> coordinator_;
};

/// Ends the program's work where a list is there and cannot be read.
class StrictReader : public PropertyListReader {
 public:
  explicit StrictReader(std::shared_ptr<PropertyListReader> reader) : reader_(std::move(reader)) {}
  std::optional<List> arrayWithContentsOfURL(const NSURL& url) override {
    auto list = reader_->arrayWithContentsOfURL(url);
    if (list) return list;
    const std::string path = url.fileSystemRepresentation();
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0) {
      throw std::runtime_error(
          translated("{0} cannot be read: {1}", path,
                     ::access(path.c_str(), R_OK) == 0
                         ? translated("it does not hold a property list of a list")
                         : std::generic_category().message(errno)));
    }
    if (errno != ENOENT) {
      throw std::runtime_error(
          translated("{0} cannot be read: {1}", path, std::generic_category().message(errno)));
    }
    return std::nullopt;
  }

 private:
  std::shared_ptr<PropertyListReader> reader_;
};

int list(const std::string& what, bool asJSON) {
  Output output(writeOut);
  if (what == "accounts") {
    const auto accounts = ExtensionUtilities::Accounts();
    (asJSON ? writeAccountsJSON : writeAccounts)(accounts, output);
  } else {
    const ExtensionDirectory directory = ExtensionUtilities::AddressesAndGroups();
    (asJSON ? writeContactsJSON : writeContacts)(directory, output);
  }
  output.flush();
  return kDone;
}

}  // namespace

int DirectoryMain(int argc, char* argv[]) {
  bool asJSON = false;
  std::string identifier;
  std::string what;
  const CommandLine line{
      .program = "korvane-directory",
      .usage = {translatable("[OPTION]... accounts | contacts")},
      .before = translatable(
          "Lists what the mail client keeps in the container: its accounts with their\n"
          "aliases, or its contacts and contact groups. What is not there makes an empty\n"
          "listing.\n\n"),
      .options =
          {
              {"--json", "", translatable("for programs, as one JSON value"), flag(asJSON)},
              {"--identifier", translatable("ID"),
               translatable(
                   "run under this bundle identifier, which chooses the edition's\nfolder"),
               once("--identifier", identifier)},
          },
      .after =
          [] {
            return translated(
                "\nExit status: 0; 1 when the container cannot be read or the output cannot be\n"
                "written; 2 for wrong usage.\n");
          },
      .takeOther =
          [&](std::string_view given) {
            if (given != "accounts" && given != "contacts") {
              throw InputError(translated("\"{0}\" is neither accounts nor contacts", given));
            }
            if (!what.empty())
              throw InputError(translated("only one of accounts and contacts can be listed"));
            what = given;
          },
      .check =
          [&] {
            if (what.empty())
              throw InputError(translated("neither accounts nor contacts are asked for"));
          },
  };
  return runProgram(line, argc, argv, [&] {
    Platform services = linuxPlatform(ownServices(identifier));
    services.fileCoordinator = std::make_shared<StrictCoordinator>(services.fileCoordinator);
    services.propertyLists = std::make_shared<StrictReader>(services.propertyLists);
    Platform::install(std::move(services));
    return list(what, asJSON);
  });
}

}  // namespace korvane
