// The descendants of this process, for a program that must end them all. Linux. Call the functions
// from one thread.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace tarvex {

// From now on, descendants that lose their parent become children of this process (prctl(2),
// PR_SET_CHILD_SUBREAPER). The functions below leave out children that exist already, for instance
// from before this program's exec.
void adoptOrphans();

struct Child {
  pid_t process;
  std::string name;
  bool isStopped;  // by a signal such as SIGSTOP, or by a tracer
};

// The children that have not ended, in no particular order.
std::vector<Child> childrenLeft();

// Kills them and their descendants with SIGKILL and reaps them. No ChildProcess may exist, because
// its thread reaps, too.
void endChildren();

// The name of a signal, such as "SIGKILL".
std::string signalName(int signal);

}  // namespace tarvex
