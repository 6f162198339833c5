// The baseline of a flood of lines: flood-baseline LOG PROGRAM ARGUMENT...
//
// Runs the program, reads its output, appends each line that is not empty to the log and flushes it
// to the device. This is the least work for a log that keeps every line when the computer crashes.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

namespace {

bool log(int file, std::string_view line) {
  return line == "\n" ||
         (::write(file, line.data(), line.size()) == static_cast<ssize_t>(line.size()) &&
          ::fdatasync(file) == 0);
}

}  // namespace

int main(int argc, char **argv) {
  int ends[2];
  const int file = argc > 2 ? ::open(argv[1], O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600) : -1;
  if (file < 0 || ::pipe2(ends, O_CLOEXEC) != 0) {
    std::perror("flood-baseline");
    return 2;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
  pid_t child = -1;
  if (::posix_spawn(&child, argv[2], &actions, nullptr, argv + 2, environ) != 0) {
    std::perror(argv[2]);
    return 2;
  }
  ::close(ends[1]);

  static char buffer[65536];
  std::string incomplete;
  for (ssize_t count = 0; (count = ::read(ends[0], buffer, sizeof buffer)) > 0;) {
    std::string_view left(buffer, static_cast<std::size_t>(count));
    for (std::size_t end = 0; (end = left.find('\n')) != std::string_view::npos;) {
      std::string_view line = left.substr(0, end + 1);
      left.remove_prefix(end + 1);
      if (!incomplete.empty()) {
        line = incomplete.append(line);
      }
      if (!log(file, line)) {
        std::perror(argv[1]);
        return 1;
      }
      incomplete.clear();
    }
    incomplete.append(left);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
