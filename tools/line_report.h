// What a line of an updater does, and what it was probably meant to do, in words for its author.
#pragma once

#include <QString>
#include <QStringView>
#include <string_view>
#include <vector>

#include "updater/mode.h"
#include "updater/progress_lines.h"

namespace tarvex {

// The line as it can be printed: control characters are shown, and do nothing.
QString printable(QStringView line);

// "status “…”; bar at 37", for instance.
QString describe(const LineEffect &effect);

// Why the line may do less than, or something else than, its author thinks. Mostly empty.
std::vector<QString> warningsAbout(std::string_view bytes, Mode mode);

}  // namespace tarvex
