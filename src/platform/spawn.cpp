#include "platform/spawn.h"

#include <spawn.h>
#include <unistd.h>

#include <csignal>
#include <cstring>

namespace tarvex {
namespace {

std::vector<char *> pointers(const std::vector<std::string> &texts) {
  std::vector<char *> result;
  result.reserve(texts.size() + 1);
  for (const std::string &text : texts) {
    // posix_spawn takes char *const[] for historical reasons and writes to none of them.
    result.push_back(const_cast<char *>(text.c_str()));  // NOLINT(*-const-cast)
  }
  result.push_back(nullptr);
  return result;
}

}  // namespace

std::error_code spawn(const Program &program, std::optional<int> output, Session session,
                      pid_t &child) {
  std::vector<std::string> words{program.executable};
  words.insert(words.end(), program.arguments.begin(), program.arguments.end());

  sigset_t none;
  sigemptyset(&none);
  // Not sigfillset, which leaves out two signals that glibc uses internally. Our parent may have
  // ignored these, and the child would inherit that.
  sigset_t all;
  std::memset(&all, 0xFF, sizeof all);
  sigdelset(&all, SIGHUP);  // exec resets our handler; a SIGHUP that nohup ignores stays ignored
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  const int flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                    (session == Session::ownOfItsOwn ? POSIX_SPAWN_SETSID : 0);
  posix_spawnattr_setflags(&attributes, static_cast<short>(flags));
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &all);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (output) {
    posix_spawn_file_actions_adddup2(&actions, *output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, *output, STDERR_FILENO);
  }
  // Our own descriptors are closed on exec. This closes those that our parent left open.
  posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);

  const int error = ::posix_spawn(&child, program.executable.c_str(), &actions, &attributes,
                                  pointers(words).data(), pointers(program.environment).data());
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  return {error, std::system_category()};
}

}  // namespace tarvex
