#include "linux/detail/RemoteFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <span>
#include <utility>
#include <vector>

#include "linux/detail/FileDescriptor.h"
#include "linux/detail/FileTree.h"
#include "linux/detail/GLibPointer.h"
#include "linux/detail/RemoteNames.h"
#include "platform/NSString.h"
#include "platform/detail/Translation.h"
#include "text/ASCII.h"
#include "text/LinkSchemes.h"

namespace korvane {
namespace {

constexpr std::size_t kBufferSize = std::size_t{256} << 10;
/// How many links are followed to a file.
constexpr int kMaxLinks = 8;
constexpr mode_t kPrivateFile = S_IRUSR | S_IWUSR;
constexpr const char* kAttributes =
    "standard::type,standard::name,standard::display-name,standard::edit-name,standard::copy-name,"
    "standard::size,standard::target-uri,standard::symlink-target,time::modified,time::modified-"
    "usec";

bool isOneOf(std::string_view scheme, std::span<const std::string_view> schemes) {
  return std::ranges::any_of(
      schemes, [&](std::string_view known) { return equalIgnoringCase(known, scheme); });
}

/// Whether the desktop's file services know URLs of a scheme. Web pages are not files.
bool isSupported(std::string_view scheme) {
  const char* const* known = g_vfs_get_supported_uri_schemes(g_vfs_get_default());
  for (; known && *known; ++known) {
    if (equalIgnoringCase(*known, scheme)) return true;
  }
  return false;
}

/// The next entry of the folder would fail the same way.
bool isEverybodys(int code) {
  static constexpr std::array kCodes{ENOSPC, EDQUOT, EROFS, ENOMEM, EMFILE, ENFILE};
  return std::ranges::find(kCodes, code) != kCodes.end();
}

/// A failure that ends the whole, not one entry of a folder.
struct WholeFailure : FetchFailure {
  using FetchFailure::FetchFailure;
};

[[noreturn]] void failByErrno(int code) {
  const std::string reason = translated("it could not be written here: {0}",
                                        NSError::withErrno(code).localizedDescription);
  if (isEverybodys(code)) throw WholeFailure(reason);
  throw FetchFailure(reason);
}

std::string reasonOf(const GErrorSlot& error, std::string_view scheme) {
  const auto is = [&](int code) { return error.is(G_IO_ERROR, code); };
  if (is(G_IO_ERROR_NOT_FOUND)) return translated("there is no such file");
  if (is(G_IO_ERROR_PERMISSION_DENIED)) return translated("it may not be read");
  if (is(G_IO_ERROR_NOT_MOUNTED)) {
    return translated("its place is not mounted; open it in the file manager first");
  }
  if (is(G_IO_ERROR_NOT_SUPPORTED)) {
    return translated("nothing here can read files of \"{0}:\"", scheme);
  }
  const std::string text = error.message();
  return text.empty() ? translated("it could not be read")
                      : translated("it could not be read: {0}", text);
}

}  // namespace

SchemeKind schemeKind(std::string_view scheme) {
  static constexpr std::array<std::string_view, 3> kEither{"ftp", "ftps", "ftpis"};
  static constexpr std::array<std::string_view, 42> kFiles{"admin",
                                                           "afc",
                                                           "afp",
                                                           "afp-server",
                                                           "archive",
                                                           "baloosearch",
                                                           "burn",
                                                           "camera",
                                                           "cdda",
                                                           "cifs",
                                                           "computer",
                                                           "dav",
                                                           "dav+sd",
                                                           "davs",
                                                           "davs+sd",
                                                           "dns-sd",
                                                           "favorites",
                                                           "fish",
                                                           "google-drive",
                                                           "gphoto2",
                                                           "kdeconnect",
                                                           "localtest",
                                                           "mtp",
                                                           "network",
                                                           "nfs",
                                                           "obex",
                                                           "onedrive",
                                                           "recent",
                                                           "recentdocuments",
                                                           "recentlyused",
                                                           "remote",
                                                           "resource",
                                                           "sftp",
                                                           "smb",
                                                           "ssh",
                                                           "starred",
                                                           "tags",
                                                           "timeline",
                                                           "trash",
                                                           "webdav",
                                                           "webdavs",
                                                           "wsdd"};
  if (isOneOf(scheme, kEither)) return SchemeKind::either;
  if (isOneOf(scheme, kFiles)) return SchemeKind::file;
  return findLinkScheme(scheme) ? SchemeKind::link : SchemeKind::either;
}

struct FetchStop::State {
  const GObjectPointer<GCancellable> cancellable{g_cancellable_new()};
};

FetchStop::FetchStop() : state_(std::make_unique<State>()) {}

FetchStop::~FetchStop() = default;

void FetchStop::stop() { g_cancellable_cancel(state_->cancellable.get()); }

bool FetchStop::isStopped() const {
  return g_cancellable_is_cancelled(state_->cancellable.get()) != FALSE;
}

/// One fetch.
class RemoteReading {
 public:
  RemoteReading(const std::string& url, const FetchRules& rules, const FetchStop& stop)
      : url_(url),
        scheme_(url.substr(0, url.find(':'))),
        rules_(rules),
        stop_(stop.state_->cancellable.get()) {}

  std::string fetch() {
    const bool isFile = schemeKind(scheme_) == SchemeKind::file;
    if (!isFile && !isSupported(scheme_)) throw FetchFailure("it is a link", true);
    if (url_.find('\0') != std::string::npos) throw FetchFailure(translated("it is not a URL"));
    GObjectPointer<GFile> file(g_file_new_for_uri(url_.c_str()));
    Info info = look(file.get());
    const std::string name = nameOf(info.get());
    for (int links = 0; links < kMaxLinks && followLink(file, info); ++links) {
    }
    if (auto target = localTarget(info.get())) {
      const GPointer<char> path(g_file_get_path(target.get()));
      if (lastPathComponent(path.get()) == name) return path.get();
      file = std::move(target);
    }
    const FileDescriptor folder(
        ::open(rules_.folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder) failByErrno(errno);
    const bool isFolder = g_file_info_get_file_type(info.get()) == G_FILE_TYPE_DIRECTORY;
    if (rules_.found) rules_.found(name, isFolder ? std::nullopt : sizeOf(info.get()));
    entriesLeft_ = rules_.maxEntries;
    copy({file.get(), info.get(), folder.get(), name, ""}, 0);
    return rules_.folder + "/" + name;
  }

 private:
  using Info = GObjectPointer<GFileInfo>;
  using File = GObjectPointer<GFile>;

  /// What is copied, and where to.
  struct Entry {
    GFile* file;
    GFileInfo* info;
    int folder;
    const std::string& name;
    std::string path;  // below the folder that is fetched
  };

  static std::optional<std::uint64_t> sizeOf(GFileInfo* info) {
    if (!g_file_info_has_attribute(info, G_FILE_ATTRIBUTE_STANDARD_SIZE)) return std::nullopt;
    const goffset size = g_file_info_get_size(info);
    return size > 0 ? std::optional(static_cast<std::uint64_t>(size)) : std::nullopt;
  }

  static std::string nameOf(GFileInfo* info) {
    const auto text = [&](const char* attribute) -> std::string_view {
      const char* value = g_file_info_get_attribute_string(info, attribute);
      return value ? value : "";
    };
    const char* bytes = g_file_info_get_attribute_byte_string(info, G_FILE_ATTRIBUTE_STANDARD_NAME);
    return remoteName({.name = bytes ? bytes : "",
                       .display = text(G_FILE_ATTRIBUTE_STANDARD_DISPLAY_NAME),
                       .edit = text(G_FILE_ATTRIBUTE_STANDARD_EDIT_NAME),
                       .copy = text(G_FILE_ATTRIBUTE_STANDARD_COPY_NAME)});
  }

  /// The file of this machine that an entry of a collection stands for.
  File localTarget(GFileInfo* info) const {
    static constexpr std::array<std::string_view, 2> kCollections{"trash", "recent"};
    const char* uri = g_file_info_get_attribute_string(info, G_FILE_ATTRIBUTE_STANDARD_TARGET_URI);
    if (!uri || !isOneOf(scheme_, kCollections)) return nullptr;
    File target(g_file_new_for_uri(uri));
    if (!g_file_is_native(target.get()) || !g_file_peek_path(target.get())) return nullptr;
    return target;
  }

  [[noreturn]] void fail(const GErrorSlot& error) const {
    // What is stopped may end by another error.
    if (g_cancellable_is_cancelled(stop_)) throw WholeFailure(translated("it was stopped"));
    const bool isLink =
        schemeKind(scheme_) == SchemeKind::either && error.is(G_IO_ERROR, G_IO_ERROR_NOT_MOUNTED);
    throw FetchFailure(reasonOf(error, scheme_), isLink);
  }

  void came(std::size_t bytes) const {
    if (g_cancellable_is_cancelled(stop_)) throw WholeFailure(translated("it was stopped"));
    if (rules_.came) rules_.came(bytes);
  }

  /// Goes on to what a link leads to that its server does not follow; in the same place, whatever
  /// the link says.
  bool followLink(File& file, Info& info) const {
    if (g_file_info_get_file_type(info.get()) != G_FILE_TYPE_SYMBOLIC_LINK) return false;
    const char* target = g_file_info_get_symlink_target(info.get());
    const File folder(g_file_get_parent(file.get()));
    if (!target || !folder) return false;
    file.reset(g_file_resolve_relative_path(folder.get(), target));
    info = look(file.get());
    return true;
  }

  Info look(GFile* file) const {
    GErrorSlot error;
    Info info(g_file_query_info(file, kAttributes, G_FILE_QUERY_INFO_NONE, stop_, error.out()));
    if (!info) fail(error);
    came(0);
    return info;
  }

  void copy(const Entry& entry, std::size_t depth) {
    switch (g_file_info_get_file_type(entry.info)) {
      case G_FILE_TYPE_DIRECTORY:
        return copyFolder(entry, depth);
      case G_FILE_TYPE_REGULAR:
      case G_FILE_TYPE_UNKNOWN:
        return copyFile(entry);
      case G_FILE_TYPE_SYMBOLIC_LINK:
        throw FetchFailure(depth > 0 ? translated("a link in it is not followed")
                                     : translated("it is a link that leads nowhere"));
      case G_FILE_TYPE_SHORTCUT:
      case G_FILE_TYPE_MOUNTABLE:
        throw FetchFailure(translated("it is a place, and only files and folders can be attached"));
      case G_FILE_TYPE_SPECIAL:
        break;
    }
    throw FetchFailure(translated("neither a file nor a folder"));
  }

  static void keepTime(GFileInfo* info, int made) {
    if (!g_file_info_has_attribute(info, G_FILE_ATTRIBUTE_TIME_MODIFIED)) return;
    const guint64 seconds = g_file_info_get_attribute_uint64(info, G_FILE_ATTRIBUTE_TIME_MODIFIED);
    const guint32 micros =
        g_file_info_get_attribute_uint32(info, G_FILE_ATTRIBUTE_TIME_MODIFIED_USEC);
    const timespec time{static_cast<time_t>(seconds), static_cast<long>(micros % 1'000'000) * 1000};
    const std::array times{timespec{0, UTIME_OMIT}, time};
    (void)::futimens(made, times.data());
  }

  void copyFile(const Entry& entry) const {
    GErrorSlot error;
    const GObjectPointer<GFileInputStream> stream(g_file_read(entry.file, stop_, error.out()));
    if (!stream) fail(error);
    came(0);
    const FileDescriptor made(::openat(entry.folder, entry.name.c_str(),
                                       O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                       kPrivateFile));
    if (!made) failByErrno(errno);
    try {
      copyContent(G_INPUT_STREAM(stream.get()), made.get(), sizeOf(entry.info));
      keepTime(entry.info, made.get());
    } catch (...) {
      ::unlinkat(entry.folder, entry.name.c_str(), 0);
      throw;
    }
  }

  void copyContent(GInputStream* stream, int made, std::optional<std::uint64_t> size) const {
    const auto buffer = std::make_unique_for_overwrite<char[]>(kBufferSize);
    std::uint64_t total = 0;
    for (;;) {
      GErrorSlot error;
      const gssize got = g_input_stream_read(stream, buffer.get(), kBufferSize, stop_, error.out());
      if (got < 0) fail(error);
      if (got == 0) break;
      for (ssize_t written = 0; written < got;) {
        const ssize_t count =
            ::write(made, buffer.get() + written, static_cast<std::size_t>(got - written));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) failByErrno(errno);
        written += count;
      }
      total += static_cast<std::uint64_t>(got);
      if (total > size.value_or(0) + rules_.maximumUnannounced) {
        throw FetchFailure(translated("it is far larger than it says"));
      }
      came(static_cast<std::size_t>(got));
    }
    came(0);
    if (size && total < *size) {
      throw FetchFailure(translated("it ended after {0} of {1} bytes", std::to_string(total),
                                    std::to_string(*size)));
    }
  }

  /// What a folder holds, by name.
  std::vector<Info> entriesOf(GFile* folder) {
    GErrorSlot error;
    const GObjectPointer<GFileEnumerator> all(g_file_enumerate_children(
        folder, kAttributes, G_FILE_QUERY_INFO_NOFOLLOW_SYMLINKS, stop_, error.out()));
    if (!all) fail(error);
    came(0);
    std::vector<Info> entries;
    while (Info info{g_file_enumerator_next_file(all.get(), stop_, error.out())}) {
      came(0);
      if (entriesLeft_-- == 0) {
        throw WholeFailure(translated("it holds more than {0} files and folders",
                                      std::to_string(rules_.maxEntries)));
      }
      entries.push_back(std::move(info));
    }
    if (error.isOf(G_IO_ERROR)) fail(error);
    std::ranges::sort(entries, {}, [](const Info& info) {
      const char* name = g_file_info_get_name(info.get());
      return std::string_view(name ? name : "");
    });
    return entries;
  }

  void copyFolder(const Entry& entry, std::size_t depth) {
    if (depth > rules_.maximumDepth) throw FetchFailure(translated("it lies too deep"));
    const std::vector<Info> entries = entriesOf(entry.file);
    if (::mkdirat(entry.folder, entry.name.c_str(), S_IRWXU) != 0) failByErrno(errno);
    const FileDescriptor made(::openat(entry.folder, entry.name.c_str(),
                                       O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!made) failByErrno(errno);
    for (const Info& info : entries) copyInside(entry, made.get(), info.get(), depth + 1);
    keepTime(entry.info, made.get());
  }

  void copyInside(const Entry& above, int folder, GFileInfo* info, std::size_t depth) {
    const std::string shown = nameOf(info);
    std::string path = above.path;
    if (!path.empty()) path += "/";
    path += shown;
    try {
      const char* bytes = g_file_info_get_name(info);
      if (!bytes) throw FetchFailure(translated("it has no name"));
      const File file(g_file_get_child(above.file, bytes));
      const std::string name = freeName(shown, [&](const std::string& candidate) {
        return ::faccessat(folder, candidate.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) != 0;
      });
      copy({file.get(), info, folder, name, path}, depth);
    } catch (const WholeFailure&) {
      throw;
    } catch (const FetchFailure& failure) {
      if (rules_.leftOut) rules_.leftOut(path, failure.what());
    }
  }

  const std::string& url_;
  const std::string scheme_;
  const FetchRules& rules_;
  GCancellable* const stop_;
  std::size_t entriesLeft_ = 0;
};

std::string fetchRemoteFile(const std::string& url, const FetchRules& rules,
                            const FetchStop& stop) {
  return RemoteReading(url, rules, stop).fetch();
}

}  // namespace korvane
