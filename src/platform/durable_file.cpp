#include "platform/durable_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>

namespace tarvex {
namespace {

constexpr mode_t ownersFile = 0600;
constexpr mode_t ownersFolder = 0700;

std::error_code lastError() {
  return {errno, std::system_category()};
}

Unexpected unexpected(const std::error_code &error) {
  return {QString::fromStdString(error.message())};
}

void takeBack(const Descriptor &file, off_t count) {
  const off_t end = ::lseek(file.get(), 0, SEEK_END);
  if (count > 0 && end >= count && ::ftruncate(file.get(), end - count) != 0) {
    return;  // a part of the entry stays; it cannot be reported, because this file is the log
  }
}

}  // namespace

std::optional<DurableFile> DurableFile::open(const std::filesystem::path &path) {
  // O_APPEND: entries go to the end even when another program truncates the file. O_NONBLOCK: open
  // and write must not wait for a pipe or a device. O_NOCTTY: a terminal must not become the
  // controlling terminal.
  Descriptor file(::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file) {
    return std::nullopt;
  }
  return DurableFile(std::move(file));
}

bool DurableFile::append(std::string_view entry) {
  std::string_view left = entry;
  while (!left.empty()) {
    const ssize_t count = ::write(m_file.get(), left.data(), left.size());
    if (count >= 0) {
      left.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      takeBack(m_file, static_cast<off_t>(entry.size() - left.size()));
      return false;
    }
  }
  // Not fsync: of the metadata, only the file's size matters.
  int result = 0;
  do {
    result = ::fdatasync(m_file.get());
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

// fchmod here and below: a umask may have removed the owner's own rights.
bool createPrivateFile(const std::filesystem::path &path) {
  const Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, ownersFile));
  return file && ::fchmod(file.get(), ownersFile) == 0;
}

bool replaceByPrivateFile(const std::filesystem::path &path,
                          const std::function<bool(const std::filesystem::path &)> &fill) {
  // In the same folder: rename is atomic only within a file system.
  std::string temporary = path.string() + ".XXXXXX";
  const Descriptor file(::mkostemp(temporary.data(), O_CLOEXEC));  // with mode 0600
  if (!file) {
    return false;
  }
  if (::fchmod(file.get(), ownersFile) != 0 || !fill(temporary) ||
      ::rename(temporary.c_str(), path.c_str()) != 0) {
    ::unlink(temporary.c_str());
    return false;
  }
  return true;
}

bool createPrivateFolders(const std::filesystem::path &folder) {
  std::error_code error;
  if (std::filesystem::is_directory(folder, error)) {
    return true;
  }
  const std::filesystem::path parent = folder.parent_path();
  if (parent == folder || !createPrivateFolders(parent)) {
    return false;
  }
  if (::mkdir(folder.c_str(), ownersFolder) != 0) {
    return std::filesystem::is_directory(folder, error);  // another launcher may have created it
  }
  return ::chmod(folder.c_str(), ownersFolder) == 0;
}

std::error_code whyUnreadable(const std::filesystem::path &path) {
  return ::access(path.c_str(), R_OK) == 0 ? std::error_code() : lastError();
}

Expected<std::string> readFile(const std::filesystem::path &path, std::size_t largest) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0) {
    return unexpected(lastError());
  }
  if (!S_ISREG(status.st_mode)) {
    return Unexpected{QStringLiteral("not a file")};
  }
  const Unexpected tooLarge{u"more than " + QString::number(largest) + u" bytes"};
  if (static_cast<std::uintmax_t>(status.st_size) > largest) {
    return tooLarge;
  }
  constexpr std::size_t step = 65536;
  std::string bytes;
  while (bytes.size() <= largest) {  // st_size is 0 for files in /proc, and other files may grow
    const std::size_t before = bytes.size();
    bytes.resize(before + step);
    const ssize_t count = ::read(file.get(), bytes.data() + before, step);
    const std::error_code error = lastError();
    bytes.resize(before + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (count == 0) {
      return bytes;
    }
    if (count < 0 && error != std::errc::interrupted) {
      return unexpected(error);
    }
  }
  return tooLarge;
}

}  // namespace tarvex
