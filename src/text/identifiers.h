// The forms that identifiers have: on the command line, in the catalogue, in the updater's report,
// and in what is installed.
#pragma once

#include <QStringView>
#include <span>

namespace tarvex {

// A run of characters out of a set (ASCII), as many as there are, `least` to `most` of them.
struct CharacterRun {
  QStringView characters;
  int least;
  int most;
};

// Runs that follow one another and make up the whole text. Matching is
// greedy; forms must not need backtracking.
using IdentifierForm = std::span<const CharacterRun>;

bool hasForm(QStringView text, IdentifierForm form);

inline constexpr QStringView hexadecimal = u"0123456789abcdef";
inline constexpr QStringView digits = u"0123456789";

inline constexpr CharacterRun regionIdForm[] = {
    {u"abcdefghijklmnopqrstuvwxyz", 1, 1},
    {u"abcdefghijklmnopqrstuvwxyz0123456789-", 0, 31},
};
inline constexpr CharacterRun launcherVersionForm[] = {{hexadecimal, 16, 16}};
inline constexpr CharacterRun clientReleaseForm[] = {
    {u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", 1, 1},
    {u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-", 0, 63},
};
inline constexpr CharacterRun worldVersionForm[] = {
    {digits, 1, 9}, {u".", 1, 1}, {digits, 1, 9},        {u".", 1, 1},
    {digits, 1, 9}, {u".", 1, 1}, {hexadecimal, 12, 12},
};

}  // namespace tarvex
