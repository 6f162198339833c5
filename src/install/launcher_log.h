// The launcher's log: launcher.log in the support folder, in UTF-8, with a line feed after each
// line. Main thread.
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

// Opens the log for appending. Creates the support folder and the log when they are missing, with
// rights for their owner only. Empties a log of more than 2,000,000 bytes. Absent when any of this
// fails; the launcher then works without a log.
std::optional<DurableFile> openLauncherLog(const std::filesystem::path &supportFolder);

}  // namespace tarvex
