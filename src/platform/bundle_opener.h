// The start of a new instance of an application bundle, independent of ours.
#pragma once

#include <QObject>
#include <functional>
#include <string>
#include <vector>

namespace tarvex {

// Stands in for "/usr/bin/open" where there is none: takes the argument list "-n" BUNDLE "--args"
// ARGUMENTS..., and starts the bundle's program in a session of its own with the arguments and
// the environment. Hands
// the exit status to `exited` on the main thread, from the event loop, unless the receiver is gone
// by then. 0 means that the program's exec has succeeded; other statuses come with one line on
// standard error:
//   1  the program could not be started
//   2  the argument list is not understood
//   3  the bundle has no usable Info.plist
void openBundle(const std::vector<std::string> &arguments,
                const std::vector<std::string> &environment, QObject *receiver,
                std::function<void(int status)> exited);

}  // namespace tarvex
