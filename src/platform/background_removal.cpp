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

Folder openFolder(int parent, const char *name) {
  const int fd = ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  Folder folder(fd >= 0 ? ::fdopendir(fd) : nullptr);
  if (!folder && fd >= 0) {
    ::close(fd);
  }
  return folder;
}

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

// Removes what the folder has until something cannot be removed, and gives that one's name; an
// empty name when the folder is empty.
std::string removeEntries(const Folder &folder) {
  while (const dirent *entry = ::readdir(folder.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != ".." && !remove(::dirfd(folder.get()), entry->d_name)) {
      return entry->d_name;
    }
  }
  return {};
}

// However deep the folders are nested, two descriptors are open, and no path is longer than one
// name.
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
      // Somebody may have moved the folder elsewhere meanwhile.
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
    constexpr int lowestUrgency = 19;
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), lowestUrgency);
    constexpr int attempts = 5;
    constexpr std::chrono::milliseconds pause{200};
    for (int attempt = 1; attempt <= attempts && !removeTree(path.c_str()); ++attempt) {
      std::this_thread::sleep_for(attempt * pause);
    }
  };
  try {
    std::thread(job).detach();
  } catch (const std::system_error &) {
    return;  // no thread to be had; the next start tries again
  }
}

}  // namespace tarvex
