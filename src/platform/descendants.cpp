#include "platform/descendants.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace tarvex {

namespace {

std::set<pid_t> &strangers() {
  static std::set<pid_t> processes;
  return processes;
}

}  // namespace

void adoptOrphans() {
  for (const Child &child : childrenLeft()) {
    strangers().insert(child.process);
  }
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);
}

std::vector<Child> childrenLeft() {
  std::vector<Child> found;
  std::error_code error;
  for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end;
       entry.increment(error)) {
    // "PROCESS (NAME) STATE PARENT …". The name may contain spaces and parentheses; it ends at the
    // last ')'.
    std::ostringstream file;
    file << std::ifstream(entry->path() / "stat").rdbuf();
    const std::string text = file.str();
    const std::size_t open = text.find('(');
    const std::size_t close = text.rfind(')');
    if (close == std::string::npos) {  // not a process, or one that has just ended
      continue;
    }
    char state = 0;
    pid_t parent = 0;
    std::istringstream(text.substr(close + 1)) >> state >> parent;
    const pid_t process = std::atoi(text.c_str());
    if (parent == ::getpid() && state != 'Z' && state != 'X' && !strangers().contains(process)) {
      found.push_back(
          {process, text.substr(open + 1, close - open - 1), state == 'T' || state == 't'});
    }
  }
  return found;
}

void endChildren() {
  // Each round may bring orphans of the processes that it killed.
  for (std::vector<Child> left = childrenLeft(); !left.empty(); left = childrenLeft()) {
    for (const Child &child : left) {
      ::kill(child.process, SIGKILL);
      ::waitpid(child.process, nullptr, 0);
    }
  }
}

std::string signalName(int signal) {
  const char *const name = ::sigabbrev_np(signal);
  return name != nullptr ? std::string("SIG") + name : "signal " + std::to_string(signal);
}

}  // namespace tarvex
