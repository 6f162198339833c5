// Deletes large trees in the background. Any thread.
#pragma once

#include <filesystem>

namespace tarvex {

// Deletes the file or folder at the path, if there is one, on a thread of its own at the lowest
// priority. Tries five times with growing pauses; a failure is not reported. The program may end
// meanwhile. A symbolic link is deleted, its target is not. Folders may be nested to any depth.
void removeInBackground(const std::filesystem::path &path);

}  // namespace tarvex
