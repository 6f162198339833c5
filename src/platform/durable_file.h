// Files that must last, and the reading of small ones. POSIX; any thread, one at a time.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/descriptor.h"
#include "platform/expected.h"

namespace tarvex {

// A file that is only ever added to, each entry forced to the storage device before append returns.
class DurableFile {
 public:
  // Opens an existing file of any kind. Nothing on failure, and never a wait: not for the reader of
  // a named pipe, and not for a device that takes nothing at the moment.
  static std::optional<DurableFile> open(const std::filesystem::path &path);

  // Whole or not at all: when the entry does not fit on the device, what was written of it is taken
  // back. False when the entry is lost.
  bool append(std::string_view entry);

 private:
  explicit DurableFile(Descriptor file) : m_file(std::move(file)) {}
  Descriptor m_file;
};

// Creates an empty file that only its owner may read and write, whatever the umask. False when
// there is one already, or on any failure.
bool createPrivateFile(const std::filesystem::path &path);

// Replaces the file as a whole by a private one, which lies beside it until `fill` has filled it;
// that gets its path, and says whether it succeeded. False when the file stays as it was.
bool replaceByPrivateFile(const std::filesystem::path &path,
                          const std::function<bool(const std::filesystem::path &)> &fill);

// Creates the folder with all missing parents, each of them for its owner only, whatever the umask.
// True when the folder is there afterwards.
bool createPrivateFolders(const std::filesystem::path &folder);

// Why we may not read what is at the path; no error where we may. access(2)
std::error_code whyUnreadable(const std::filesystem::path &path);

// The bytes of a regular file, unless it is missing, unreadable, something else, or has more than
// `largest` bytes: then no more is read.
Expected<std::string> readFile(const std::filesystem::path &path, std::size_t largest);

}  // namespace tarvex
