// The forms that identifiers have, on the command line, in the catalogue, in the updater's report
// and in what is installed: regular expressions for matchesWhole.
#pragma once

namespace tarvex {

inline constexpr char16_t regionIdForm[] = u"\\A[a-z][a-z0-9-]{0,31}\\z";
inline constexpr char16_t launcherVersionForm[] = u"\\A[0-9a-f]{16}\\z";
inline constexpr char16_t clientReleaseForm[] = u"\\A[A-Za-z0-9][A-Za-z0-9._-]{0,63}\\z";
inline constexpr char16_t worldVersionForm[] =
    u"\\A[0-9]{1,9}\\.[0-9]{1,9}\\.[0-9]{1,9}\\.[0-9a-f]{12}\\z";

}  // namespace tarvex
