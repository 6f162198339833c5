// Texts of failures that happen before or after a run. Those of a run are in run_completion.cpp.
#pragma once

#include <QStringView>

namespace tarvex::failures {

// For the status line. The line below it shows one of the reasons here, or the reason from a run.
inline constexpr QStringView checkFailed = u"Couldn’t check for updates";
inline constexpr QStringView startFailed = u"Couldn’t start the game";

inline constexpr QStringView invalidRegions = u"The launcher region configuration is invalid.";
inline constexpr QStringView noResources = u"The launcher resources could not be found.";
inline constexpr QStringView incomplete = u"The launcher installation is incomplete.";
inline constexpr QStringView noUpdater = u"The update service could not be started.";
inline constexpr QStringView noRelaunch =
    u"The updated launcher was installed but could not be started.";

}  // namespace tarvex::failures
