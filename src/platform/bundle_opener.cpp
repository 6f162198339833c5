#include "platform/bundle_opener.h"

#include <cstdio>

#include "platform/application.h"
#include "platform/bundle.h"
#include "platform/spawn.h"

namespace tarvex {
namespace {

enum Status { started = 0, notStarted = 1, notUnderstood = 2, noInformation = 3 };

int failed(Status status, const std::string &why) {
  std::fprintf(stderr, "open: %s\n", why.c_str());
  return status;
}

// In our own process, not in a tool's: an update may have moved or deleted the folder that a tool
// would lie in. The arguments are copied into the new process; nothing of it stays with us.
int startInstance(const std::vector<std::string> &arguments,
                  const std::vector<std::string> &environment) {
  constexpr std::size_t fixedArguments = 3;
  if (arguments.size() < fixedArguments || arguments[0] != "-n" || arguments[2] != "--args") {
    return failed(notUnderstood, "usage: open -n BUNDLE --args [ARGUMENT]...");
  }
  const std::filesystem::path contents = std::filesystem::path(arguments[1]) / "Contents";
  const auto information = readInformation(contents / "Info.plist");
  const auto name = information.find("CFBundleExecutable");
  if (name == information.end()) {
    return failed(noInformation, arguments[1] + ": no Info.plist that names a program");
  }
  const Program program{contents / bundleProgramFolder / name->second,
                        {arguments.begin() + fixedArguments, arguments.end()},
                        environment};
  pid_t child = -1;
  if (const std::error_code error = spawn(program, std::nullopt, Session::ownOfItsOwn, child)) {
    return failed(notStarted, program.executable + ": " + error.message());
  }
  return started;
}

}  // namespace

void openBundle(const std::vector<std::string> &arguments,
                const std::vector<std::string> &environment, QObject *receiver,
                std::function<void(int status)> exited) {
  handToMain(receiver, [status = startInstance(arguments, environment),
                        exited = std::move(exited)] { exited(status); });
}

}  // namespace tarvex
