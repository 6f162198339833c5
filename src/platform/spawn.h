// The start of a program, after POSIX posix_spawn: directly, with no shell and no search path. It
// inherits standard input and the working directory, and no descriptor beyond the standard three;
// its signal mask and dispositions are the defaults, but for a SIGHUP that we ignore.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace tarvex {

struct Program {
  std::string executable;                // a path; also argument 0
  std::vector<std::string> arguments;    // after argument 0, each passed whole
  std::vector<std::string> environment;  // entries of the form NAME=value, and no others
};

enum class Session { ours, ownOfItsOwn };

// With a descriptor, it is both standard output and standard error; without, they are inherited.
// No error means that the program's exec has succeeded; otherwise nothing was started.
std::error_code spawn(const Program &program, std::optional<int> output, Session session,
                      pid_t &child);

}  // namespace tarvex
