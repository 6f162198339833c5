#include "platform/background_removal.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/descriptor.h"

namespace tarvex {
namespace {

struct CloseFolder {
  void operator()(DIR *folder) const { ::closedir(folder); }
};
using Folder = std::unique_ptr<DIR, CloseFolder>;

// Null on failure, and for a symbolic link, because its target must not be emptied.
Folder openFolder(int parent, const char *name) {
  const int fd = ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  Folder folder(fd >= 0 ? ::fdopendir(fd) : nullptr);
  if (!folder && fd >= 0) {
    ::close(fd);
  }
  return folder;
}

// The way down from a folder to one of its entries, and the folder's identity for the way back.
struct Step {
  std::string name;
  struct stat parent;
};

struct stat identity(const Folder &folder) {
  struct stat status {};
  ::fstat(::dirfd(folder.get()), &status);
  return status;
}

bool isSame(const struct stat &one, const struct stat &other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool remove(int folder, const char *name) {
  return ::unlinkat(folder, name, 0) == 0 || ::unlinkat(folder, name, AT_REMOVEDIR) == 0 ||
         errno == ENOENT;
}

// Removes entries up to the first that cannot be removed, usually a folder with entries. Returns
// its name, or an empty name when the folder is empty.
std::string removeEntries(const Folder &folder) {
  while (const dirent *entry = ::readdir(folder.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != ".." && !remove(::dirfd(folder.get()), entry->d_name)) {
      return entry->d_name;
    }
  }
  return {};
}

// Works with at most two open descriptors and with single names instead of paths: a deep tree
// exceeds the limits of both.
bool removeTree(const char *path) {
  if (remove(AT_FDCWD, path)) {
    return true;
  }
  std::vector<Step> way;
  Folder here = openFolder(AT_FDCWD, path);
  while (here) {
    const std::string left = removeEntries(here);
    if (!left.empty()) {
      way.push_back({left, identity(here)});
      here = openFolder(::dirfd(here.get()), left.c_str());
    } else if (way.empty()) {
      return remove(AT_FDCWD, path);
    } else {
      // The folder may have been moved meanwhile. Its ".." would then lead to a foreign folder.
      Folder parent = openFolder(::dirfd(here.get()), "..");
      if (!parent || !isSame(identity(parent), way.back().parent) ||
          !remove(::dirfd(parent.get()), way.back().name.c_str())) {
        return false;
      }
      way.pop_back();
      here = std::move(parent);
    }
  }
  return false;
}

}  // namespace

void removeInBackground(const std::filesystem::path &path) {
  std::error_code error;
  if (!std::filesystem::exists(std::filesystem::symlink_status(path, error))) {
    return;
  }
  const auto job = [path] {
    constexpr int lowestPriority = 19;  // nice value; on Linux a thread has its own
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), lowestPriority);
    // An attempt can fail because another program still writes to the tree.
    constexpr int attempts = 5;
    constexpr std::chrono::milliseconds pause{200};
    for (int attempt = 1; attempt <= attempts && !removeTree(path.c_str()); ++attempt) {
      std::this_thread::sleep_for(attempt * pause);
    }
  };
  try {
    std::thread(job).detach();
  } catch (const std::system_error &) {
    return;  // no thread is available; the next start tries again
  }
}

}  // namespace tarvex
