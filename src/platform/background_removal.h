// Deletes large trees in the background.
#pragma once

#include <filesystem>

namespace tarvex {

// Deletes what is at the path, if anything is, on a thread of its own and at the lowest urgency.
// Tries five times with growing pauses and tells nobody how it went. The program may end meanwhile.
// A link goes, and not what it points to. Folders may be nested without a limit.
void removeInBackground(const std::filesystem::path &path);

}  // namespace tarvex
