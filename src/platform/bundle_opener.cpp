#include "platform/bundle_opener.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "platform/application.h"
#include "platform/bundle.h"
#include "platform/spawn.h"

namespace tarvex {
namespace {

enum Status {
  started = 0,
  notStarted = 1,
  notUnderstood = 2,
  noBundle = 3,
  noFolder = 4,
  noInformation = 5,
  noProgram = 6,
  notReadable = 7,
  notExecutable = 8,
};

Status whyNotRead(const std::error_code &error) {
  return error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory
             ? noProgram
             : notReadable;
}

Status whyNotStarted(const std::error_code &error) {
  return error == std::errc::permission_denied || error == std::errc::executable_format_error
             ? notExecutable
             : notStarted;
}

// Runs in this process, not in a helper program: an update may have moved or deleted the helper's
// folder.
std::error_code startInstance(const std::vector<std::string> &arguments,
                              const std::vector<std::string> &environment, Status &status) {
  const auto failed = [&status](Status reason, const std::string &line) {
    status = reason;
    std::fprintf(stderr, "open: %s\n", line.c_str());
    return std::error_code();
  };
  constexpr std::size_t fixedArguments = 3;
  if (arguments.size() < fixedArguments || arguments[0] != "-n" || arguments[2] != "--args") {
    return failed(notUnderstood, "usage: open -n BUNDLE --args [ARGUMENT]...");
  }
  const std::filesystem::path bundle = arguments[1];
  std::error_code error;
  const std::filesystem::file_status found = std::filesystem::status(bundle, error);
  if (!std::filesystem::is_directory(found)) {
    return std::filesystem::exists(found) ? failed(noFolder, arguments[1] + ": not a folder")
                                          : failed(noBundle, arguments[1] + ": not found");
  }
  const auto executable = programOf(bundle);
  if (!executable) {
    return failed(noInformation, arguments[1] + ": " + executable.reason().toStdString());
  }
  const Program program{
      *executable, {arguments.begin() + fixedArguments, arguments.end()}, environment};
  // Ask before exec, to tell an unreadable program from one that cannot be executed.
  if (::access(program.executable.c_str(), R_OK) != 0) {
    error.assign(errno, std::system_category());
    return failed(whyNotRead(error), program.executable + ": " + error.message());
  }
  pid_t child = -1;
  error = spawn(program, std::nullopt, Session::ownOfItsOwn, child);
  // These errors come from the system, not from the bundle.
  if (error == std::errc::resource_unavailable_try_again || error == std::errc::not_enough_memory) {
    return error;
  }
  if (error) {
    return failed(whyNotStarted(error), program.executable + ": " + error.message());
  }
  status = started;
  return {};
}

}  // namespace

std::error_code openBundle(const std::vector<std::string> &arguments,
                           const std::vector<std::string> &environment, QObject *receiver,
                           std::function<void(int status)> exited) {
  Status status = notStarted;
  const std::error_code error = startInstance(arguments, environment, status);
  if (!error) {
    handToMain(receiver, [status, exited = std::move(exited)] { exited(status); });
  }
  return error;
}

}  // namespace tarvex
