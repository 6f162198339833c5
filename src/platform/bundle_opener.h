// The start of a new instance of an application bundle, which outlives this process. Main thread.
#pragma once

#include <QObject>
#include <functional>
#include <string>
#include <system_error>
#include <vector>

namespace tarvex {

// Does the work of the command "/usr/bin/open" where the system has none. The argument list is
//
//   -n BUNDLE --args [ARGUMENT]...
//
// The bundle's program is started in a session of its own, with the arguments and the environment.
// `exited` gets the exit status on the main thread, from the event loop, unless the receiver is
// destroyed before. An error means that the system has no process or memory left. Then no program
// was started, and `exited` is never called.
//
// Status 0: the program's exec has succeeded. Each other status comes with one line on standard
// error:
//   1  the program could not be started for a reason that is not in this list
//   2  the argument list is malformed
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
