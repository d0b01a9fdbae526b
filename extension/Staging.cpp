#include <cerrno>
#include <filesystem>
#include <system_error>

#include "extension/ExtensionUtilities.h"
#include "extension/NSString+Drelk_Fs.h"
#include "extension/detail/Coordination.h"
#include "platform/NSException.h"
#include "platform/NSFileManager.h"
#include "platform/NSLog.h"
#include "platform/NSString.h"
#include "text/UTF8.h"
#include "text/Windows1252.h"

namespace korvane {
namespace {

/// NSCocoaErrorDomain's code for a file that could not be written, for no known reason.
constexpr long kFileWriteUnknownError = 512;

/// The staging folder of a service; absent without a container, and where its path is not UTF-8:
/// the paths in it travel as text, so that nobody would find what lies there. A service that is not
/// a name of its own has none either: with "" or ".." the folder emptied would be the mail
/// client's.
std::optional<NSURL> stagingFolder(std::string_view service) {
  std::string framed = "/";
  framed.append(service).append("/");
  for (const char* part : {"//", "/./", "/../"}) {
    if (framed.find(part) != std::string::npos) return std::nullopt;
  }
  const std::optional<NSURL> data = ExtensionUtilities::GroupDataPath();
  if (!data || !isUTF8(data->fileSystemRepresentation())) return std::nullopt;
  return data->URLByAppendingPathComponent(service);
}

/// What an operation logs.
struct LogTexts {
  const char* writing;
  const char* exception;
  const char* coordination;
};
constexpr LogTexts kFilesLog{"[%@] Error writing file shareFiles %@",
                             "[%@] Exception shareFiles %@", "[%@] Error shareFiles %@"};
constexpr LogTexts kDatasLog{"[%@] Error writing file shareDatas %@",
                             "[%@] Exception shareDatas %@", "[%@] Error shareDatas %@"};

/// Runs `work` with the path of the staging folder, alone among everybody who coordinates.
void inStagingFolder(std::string_view service, const LogTexts& log,
                     const std::function<void(const std::string& folder)>& work) {
  coordinate(stagingFolder(service), log.coordination, [&](const NSURL& url) {
    std::string folder = url.fileSystemRepresentation();
    while (folder.ends_with('/')) folder.pop_back();
    try {
      work(folder);
    } catch (const NSException& exception) {
      NSLog(log.exception, kErrorMark, exception);
    }
  });
}

/// Bytes that are not UTF-8, read as windows-1252, which nearly every such name was written in.
/// What that does not assign shows as a replacement character.
std::string textOfOldName(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    const char32_t code = windows1252Character(static_cast<unsigned char>(byte));
    appendUTF8(code >= 0x80 && code < 0xA0 ? kReplacementCharacter : code, text);
  }
  return text;
}

/// The name that a source gets in the staging folder: its last component, in UTF-8, since the path
/// travels in a URL as text. "" for the root, which has no name.
std::string stagedName(const std::string& source) {
  std::string name = lastPathComponent(source);
  if (name == "." || name == "..") {
    std::error_code ignored;
    name = std::filesystem::canonical(source, ignored).filename().string();
  }
  if (name == "/") return {};
  return isUTF8(name) ? name : textOfOldName(name);
}

}  // namespace

void ExtensionUtilities::ShareInit(std::string_view service) {
  coordinate(stagingFolder(service), "[%@] shareInit %@", [](const NSURL& url) {
    const auto files = NSFileManager::defaultManager();
    // One slot for both steps: a failed removal shows again after the creation.
    std::optional<NSError> error;
    files->removeItemAtURL(url, error);
    if (error) NSLog("[%@] shareInit delete %@", kErrorMark, error);
    files->createDirectoryAtURL(url, true, error);
    if (error) NSLog("[%@] shareInit create %@", kErrorMark, error);
  });
}

List ExtensionUtilities::ShareFiles(std::string_view service,
                                    const std::vector<std::string>& paths) {
  List staged;
  inStagingFolder(service, kFilesLog, [&](const std::string& folder) {
    for (const std::string& path : paths) {
      std::optional<NSError> error;
      std::string destination;
      if (const std::string name = stagedName(path); name.empty()) {
        error = NSError::withErrno(EINVAL, path);
      } else {
        destination = Drelk_Fs::GetGoodPath(name, folder);
        NSFileManager::defaultManager()->copyItemAtPath(path, destination, error);
      }
      if (error) {
        NSLog(kFilesLog.writing, kErrorMark, error);
      } else {
        staged.emplace_back(destination);
      }
    }
  });
  return staged;
}

List ExtensionUtilities::ShareDatas(std::string_view service,
                                    const std::vector<std::optional<NSData>>& datas) {
  List staged;
  inStagingFolder(service, kDatasLog, [&](const std::string& folder) {
    for (const std::optional<NSData>& data : datas) {
      std::optional<NSError> error;
      const std::string destination = Drelk_Fs::GetGoodPath("image.png", folder);
      if (data) {
        NSFileManager::defaultManager()->writeDataAtomically(*data, destination, error);
      } else {
        error = NSError{NSCocoaErrorDomain, kFileWriteUnknownError, "There is no image to write"};
      }
      if (error) {
        NSLog(kDatasLog.writing, kErrorMark, error);
      } else {
        staged.emplace_back(destination);
      }
    }
  });
  return staged;
}

}  // namespace korvane
