#include <cstdio>

#include "platform/bundle_opener.h"
#include "platform/child_process.h"

namespace tarvex {

std::error_code openBundle(const std::vector<std::string> &arguments,
                           const std::vector<std::string> &environment, QObject *receiver,
                           std::function<void(int status)> exited) {
  const auto passOn = [](std::string_view chunk) {
    std::fwrite(chunk.data(), 1, chunk.size(), stderr);
  };
  std::error_code error;
  ChildProcess::start({"/usr/bin/open", arguments, environment}, {passOn, std::move(exited), [] {}},
                      receiver, error);
  return error;
}

}  // namespace tarvex
