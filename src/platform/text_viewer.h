// Opens a text file in the player's viewer. There are three ways, tried in this order: xdg-open,
// the desktop portal (org.freedesktop.portal.OpenURI), and the applications that the desktop
// associates with text (platform/desktop_entries.h).
#pragma once

#include <filesystem>
#include <string>
#include <vector>

class QObject;

namespace tarvex {

// Tries one way after the other until one succeeds; when all fail, nothing happens. Main thread.
// Returns at once; the rest runs from the event loop, until the parent is destroyed. Children get
// the environment (platform/spawn.h) without the startup tokens of our own window. They outlive
// this process.
void showTextFile(const std::filesystem::path &file, const std::vector<std::string> &environment,
                  QObject *parent);

}  // namespace tarvex
