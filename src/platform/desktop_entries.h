// The applications that the desktop names for a kind of file: plain functions over its files, after
// the freedesktop specifications Association between MIME types and applications 1.0 and Desktop
// Entry 1.5.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tarvex {

// Where the files are; the folder that counts most comes first.
struct DesktopFolders {
  std::vector<std::filesystem::path> configuration;  // $XDG_CONFIG_HOME, then $XDG_CONFIG_DIRS
  std::vector<std::filesystem::path> data;           // $XDG_DATA_HOME, then $XDG_DATA_DIRS
  std::vector<std::string> desktops;                 // in lower case, of $XDG_CURRENT_DESKTOP

  static DesktopFolders ofThisProcess();
};

// Of an absolute path, whose bytes need not be UTF-8.
std::string fileUrl(const std::filesystem::path &file);

// Command lines that show the file, the most preferred one first; none is empty, and each begins
// with the path of a program that is there. The file has these MIME types, the most special one
// first. First come the defaults, then whatever else is associated with them. Applications that
// would need a terminal are left out. What cannot be read or understood is not there.
std::vector<std::vector<std::string>> commandsToShow(const std::filesystem::path &file,
                                                     const std::vector<std::string> &mimeTypes,
                                                     const DesktopFolders &folders);

}  // namespace tarvex
