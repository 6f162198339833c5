// Starts a program with POSIX posix_spawn, without a shell or a search path. The program inherits
// standard input and the working directory, and no descriptor beyond the standard three. Its signal
// mask is empty and its signal dispositions are the defaults, except that an ignored SIGHUP stays
// ignored. Any thread.
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

// `output` becomes standard output and standard error; when absent, they are inherited. No error:
// the program's exec has succeeded, and the caller has to reap `child`. An error: nothing was
// started.
std::error_code spawn(const Program &program, std::optional<int> output, Session session,
                      pid_t &child);

}  // namespace tarvex
