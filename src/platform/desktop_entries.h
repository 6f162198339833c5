// Finds the applications that the desktop associates with a type of file. Public standards: the
// freedesktop specifications Association between MIME types and applications 1.0, Desktop Entry 1.5
// and XDG Base Directory. Plain functions that read files, for any thread.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tarvex {

// Where the desktop's files are. The first folder has the highest priority.
struct DesktopFolders {
  std::vector<std::filesystem::path> configuration;  // $XDG_CONFIG_HOME, then $XDG_CONFIG_DIRS
  std::vector<std::filesystem::path> data;           // $XDG_DATA_HOME, then $XDG_DATA_DIRS
  std::vector<std::string> desktops;                 // $XDG_CURRENT_DESKTOP in lower case

  static DesktopFolders ofThisProcess();
};

// The file: URL (RFC 8089) of an absolute path, whose bytes need not be UTF-8.
std::string fileUrl(const std::filesystem::path &file);

// Command lines that show the file, the preferred one first. None is empty; each begins with the
// path of an existing program. `mimeTypes` are the types of the file, the most specific one first.
// Default applications come before other associated ones. Applications that need a terminal are
// left out. Files that cannot be read or parsed are skipped.
std::vector<std::vector<std::string>> commandsToShow(const std::filesystem::path &file,
                                                     const std::vector<std::string> &mimeTypes,
                                                     const DesktopFolders &folders);

}  // namespace tarvex
