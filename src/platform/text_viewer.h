// The player's viewer for a text file, found in one of three ways: xdg-open, the desktop portal
// (org.freedesktop.portal.OpenURI), and the applications that the desktop names for text.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

class QObject;

namespace tarvex {

// Goes from one way to the next until one has not failed; when all have, nothing happens. Never
// waits: all that follows comes from the event loop, until the parent is gone. Children get the
// environment (platform/spawn.h) without our own startup tokens, and outlive us. Main thread.
void showTextFile(const std::filesystem::path &file, const std::vector<std::string> &environment,
                  QObject *parent);

}  // namespace tarvex
