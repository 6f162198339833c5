#include "install/locations.h"

#include <pwd.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <system_error>
#include <thread>

#include "platform/identifiers.h"
#include "platform/unicode_text.h"

namespace tarvex {

bool isReadable(const std::filesystem::path &path) {
  return ::access(path.c_str(), R_OK) == 0;
}

std::filesystem::path homeFolder() {
  const char *home = std::getenv("HOME");
  if (home != nullptr && *home != '\0') {
    std::error_code error;
    return std::filesystem::absolute(home, error);
  }
  const passwd *entry = ::getpwuid(::getuid());
  return entry != nullptr ? entry->pw_dir : "/";
}

std::filesystem::path supportFolder(const std::filesystem::path &home) {
  return home / "Library/Application Support/Tarvex";
}

std::optional<std::filesystem::path> applicationBundle(const Bundle &bundle) {
  if (bundle.path.extension() != ".app") {
    return std::nullopt;
  }
  return bundle.path;
}

std::filesystem::path retiredBundle(const std::filesystem::path &bundle) {
  return bundle.native() + ".old";
}

std::filesystem::path currentMetadata(const std::filesystem::path &supportFolder,
                                      const std::optional<QString> &regionId) {
  return supportFolder / "client/regions" /
         regionId.value_or(QStringLiteral("production")).toStdString() / "current.json";
}

std::optional<QString> bundleVersion(const Bundle &bundle) {
  const auto found = bundle.information.find("CFBundleVersion");
  if (found == bundle.information.end()) {
    return std::nullopt;
  }
  const QString version = decodedUtf8(found->second);
  if (!hasForm(version, launcherVersionForm)) {
    return std::nullopt;
  }
  return version;
}

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
    for (int attempt = 1; attempt <= attempts; ++attempt) {
      std::error_code failure;
      std::filesystem::remove_all(path, failure);
      if (!failure) {
        return;
      }
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
