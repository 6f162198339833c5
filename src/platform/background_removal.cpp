#include "platform/background_removal.h"

#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <system_error>
#include <thread>

namespace tarvex {

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
