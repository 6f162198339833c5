// Durable writing of files, and the reading of small ones. POSIX. Any thread; one object or path is
// used by one thread at a time.
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

// A file for appending entries. Each entry is on the storage device when append returns.
class DurableFile {
 public:
  // Opens an existing file of any kind; absent on failure. Never waits, neither for the reader of a
  // named pipe nor for a busy device.
  static std::optional<DurableFile> open(const std::filesystem::path &path);

  // Appends the whole entry or nothing: when the device is full, the written part is removed again.
  // False: the entry is lost.
  bool append(std::string_view entry);

 private:
  explicit DurableFile(Descriptor file) : m_file(std::move(file)) {}
  Descriptor m_file;
};

// Creates an empty file with mode 0600 under any umask. False when the path exists already, and on
// any failure.
bool createPrivateFile(const std::filesystem::path &path);

// Replaces the file atomically by a new one with mode 0600. `fill` gets the path of the new file,
// beside the old one, writes it, and returns whether it succeeded. False: the file is unchanged.
bool replaceByPrivateFile(const std::filesystem::path &path,
                          const std::function<bool(const std::filesystem::path &)> &fill);

// Creates the folder and all missing parents with mode 0700 under any umask. True: the folder
// exists now.
bool createPrivateFolders(const std::filesystem::path &folder);

// The reason why the path cannot be read; no error when it can. access(2)
std::error_code whyUnreadable(const std::filesystem::path &path);

// The bytes of a regular file. Fails when it is missing, unreadable, not a regular file, or larger
// than `largest` bytes. Never waits for a named pipe.
Expected<std::string> readFile(const std::filesystem::path &path, std::size_t largest);

}  // namespace tarvex
