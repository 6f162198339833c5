#include "install/launcher_log.h"

#include <cstdint>
#include <system_error>

namespace tarvex {

std::filesystem::path launcherLog(const std::filesystem::path &supportFolder) {
  return supportFolder / "launcher.log";
}

std::string openingHeader(const QDateTime &now) {
  return "\n--- Launcher opened " + now.toUTC().toString(Qt::ISODate).toStdString() + " ---\n";
}

std::optional<DurableFile> openLauncherLog(const std::filesystem::path &supportFolder) {
  constexpr std::uintmax_t largestKept = 2'000'000;
  if (!createPrivateFolders(supportFolder)) {
    return std::nullopt;
  }
  const std::filesystem::path log = launcherLog(supportFolder);
  std::error_code unknown;
  const std::uintmax_t size = std::filesystem::file_size(log, unknown);
  const auto leaveEmpty = [](const std::filesystem::path &) { return true; };
  // A new file, not a truncated one: another launcher may still append to the old one.
  if (!unknown && size > largestKept && !replaceByPrivateFile(log, leaveEmpty)) {
    return std::nullopt;
  }
  createPrivateFile(log);  // fails when the log exists; only the open counts
  return DurableFile::open(log);
}

}  // namespace tarvex
