// What a mail client does to hand its accounts and contacts over, without this library: see
// docs/container.md. The library then reads them back.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "extension/ExtensionUtilities.h"
#include "linux/LinuxPlatform.h"
#include "model/ExtensionAccount.h"
#include "model/ExtensionAlias.h"
#include "model/ExtensionGroup.h"

using namespace korvane;

namespace fs = std::filesystem;

// The container of the application group.
fs::path container() {
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  if (dataHome && *dataHome == '/') return fs::path(dataHome) / "Q7K4M2XW9P.korvane";
  const char* home = std::getenv("HOME");
  if (!home) throw std::runtime_error("no home folder");
  return fs::path(home) / ".local/share/Q7K4M2XW9P.korvane";
}

// A coordinated access to an item of the container, such as "SharedData/Contacts", as long as it
// lives; the protocol of docs/coordination.md.
class Access {
 public:
  explicit Access(const std::string& item) {
    const std::string path = container().string() + ".lock";
    for (;;) {
      file_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
      if (file_ < 0) throw std::runtime_error("cannot open " + path);
      lock("", F_RDLCK);
      for (std::size_t slash = item.find('/'); slash != item.npos;
           slash = item.find('/', slash + 1)) {
        lock(item.substr(0, slash), F_RDLCK);
      }
      lock(item, F_WRLCK);
      // The lock file may have been replaced while this waited.
      struct stat opened {};
      struct stat named {};
      if (::fstat(file_, &opened) == 0 && ::stat(path.c_str(), &named) == 0 &&
          opened.st_dev == named.st_dev && opened.st_ino == named.st_ino) {
        return;
      }
      ::close(file_);
    }
  }
  ~Access() { ::close(file_); }
  Access(const Access&) = delete;
  Access& operator=(const Access&) = delete;

 private:
  void lock(const std::string& name, short kind) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const char byte : name) {
      hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
    }
    struct flock range {};
    range.l_type = kind;
    range.l_whence = SEEK_SET;
    range.l_start = static_cast<off_t>(hash & 0x7fffffffffffffff);
    range.l_len = 1;
    while (::fcntl(file_, F_OFD_SETLKW, &range) != 0) {
      if (errno != EINTR) throw std::runtime_error("cannot lock");
    }
  }

  int file_ = -1;
};

std::string propertyList(const std::string& root) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
         "<plist version=\"1.0\">\n" +
         root + "\n</plist>\n";
}

// A new file in place of the old one, so that nobody ever sees a part of it.
void replaceFile(const fs::path& path, const std::string& content) {
  const fs::path draft = path.string() + ".new";
  std::ofstream(draft, std::ios::binary) << content;
  fs::permissions(draft, fs::perms::owner_read | fs::perms::owner_write);
  fs::rename(draft, path);
}

void writeAccounts() {
  const fs::path data = container() / "SharedData";
  fs::create_directories(data);
  const Access access("SharedData/Accounts.plist");
  replaceFile(data / "Accounts.plist",
              propertyList("<array>"
                           "<dict>"
                           "<key>mail</key><string>ann@mail.example</string>"
                           "<key>name</key><string>Ann &amp; Co</string>"
                           "<key>type</key><integer>1</integer>"
                           "<key>enabled</key><true/>"
                           "<key>aliases</key><array>"
                           "<dict><key>mail</key><string>sales@mail.example</string>"
                           "<key>name</key><string>Sales</string>"
                           "<key>account</key><string>ann@mail.example</string></dict>"
                           "</array>"
                           "</dict>"
                           "</array>"));
}

void writeContacts() {
  const std::string zoe =
      "<dict>"
      "<key>mail</key><string>zoe@mail.example</string>"
      "<key>firstName</key><string>Zoë</string>"
      "<key>lastName</key><string>Brown</string>"
      "<key>rank</key><integer>12</integer>"
      "</dict>";
  const fs::path contacts = container() / "SharedData/Contacts";
  fs::create_directories(contacts);
  // One access for both files: a reader gets both from before it or both from after it.
  const Access access("SharedData/Contacts");
  replaceFile(contacts / "Addresses.plist", propertyList("<array>" + zoe + "</array>"));
  replaceFile(contacts / "Groups.plist", propertyList("<array><dict>"
                                                      "<key>idx</key><string>friends</string>"
                                                      "<key>name</key><string>Friends</string>"
                                                      "<key>addresses</key><array>" +
                                                      zoe +
                                                      "</array>"
                                                      "</dict></array>"));
}

bool readBack() {
  const auto accounts = ExtensionUtilities::Accounts();
  if (accounts.size() != 1) return false;
  std::puts(accounts[0]->description().c_str());
  const auto aliases = accounts[0]->aliases();
  if (!aliases || aliases->size() != 1) return false;
  std::puts((*aliases)[0]->description().c_str());

  const ExtensionDirectory directory = ExtensionUtilities::AddressesAndGroups();
  if (directory.addresses.size() != 1 || directory.groups.size() != 1) return false;
  std::puts(directory.addresses[0]->prettyprint().c_str());
  std::puts(directory.groups[0]->prettyprint().c_str());

  return accounts[0]->name() == "Ann & Co" && accounts[0]->enabled() &&
         (*aliases)[0]->mail() == "sales@mail.example" &&
         directory.addresses[0]->prettyprint() == "Zoë Brown <zoe@mail.example>" &&
         directory.groups[0]->prettyprint() == "Friends (1)";
}

int main() {
  ::umask(077);  // what is written here is the user's alone
  fs::create_directories(container().parent_path());
  writeAccounts();
  writeContacts();
  Platform::install(linuxPlatform({.bundleIdentifier = "it.drelk.korvane.share"}));
  return readBack() ? 0 : 1;
}
