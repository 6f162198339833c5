// The processes below ours that are still there, for a program that has to leave none. Linux.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace tarvex {

// From now on, processes below ours that lose their parent become our children. Children that are
// there already, from before our own exec for instance, are left alone by the functions below.
void adoptOrphans();

struct Child {
  pid_t process;
  std::string name;
  bool isStopped;  // by a signal such as SIGSTOP, until SIGCONT comes
};

// Our children that have not ended, in no order.
std::vector<Child> childrenLeft();

// Kills all of them, with their descendants that become ours, and waits until they are gone. No
// ChildProcess may be left.
void endChildren();

// "SIGKILL", for instance.
std::string signalName(int signal);

}  // namespace tarvex
