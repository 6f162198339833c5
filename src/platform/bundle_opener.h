// The start of a new instance of an application bundle, independent of ours.
#pragma once

#include <QObject>
#include <functional>
#include <string>
#include <system_error>
#include <vector>

namespace tarvex {

// Runs "/usr/bin/open" on macOS, and stands in for it elsewhere: takes the argument list
//
//   -n BUNDLE --args [ARGUMENT]...
//
// and starts the bundle's program in a session of its own with the arguments and the environment.
// The exit status goes to `exited` on the main thread, from the event loop, unless the receiver is
// gone by then. An error means that the system had no process to give: then nothing was run, and
// `exited` is never called.
//
// 0 means that the program's exec has succeeded. The other statuses of the stand-in come with one
// line on standard error:
//   1  the program could not be started, for another reason than those that follow
//   2  the argument list is not understood
//   3  there is no bundle
//   4  the bundle is not a folder
//   5  it has no Info.plist that names a program within it
//   6  the program is missing
//   7  the program cannot be read
//   8  the program cannot be executed
std::error_code openBundle(const std::vector<std::string> &arguments,
                           const std::vector<std::string> &environment, QObject *receiver,
                           std::function<void(int status)> exited);

}  // namespace tarvex
