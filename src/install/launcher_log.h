// The launcher's log: launcher.log in the support folder, UTF-8, lines ended by a line feed.
#pragma once

#include <QDateTime>
#include <filesystem>
#include <optional>
#include <string>

#include "platform/durable_file.h"

namespace tarvex {

std::filesystem::path launcherLog(const std::filesystem::path &supportFolder);

// The first entry of each start: an empty line, then the time in UTC (ISO 8601, whole seconds).
std::string openingHeader(const QDateTime &now);

// Creates the support folder and the log where they are missing, for their owner only; empties a
// log of more than 2,000,000 bytes; opens it for appending. Nothing when any of that fails.
std::optional<DurableFile> openLauncherLog(const std::filesystem::path &supportFolder);

}  // namespace tarvex
