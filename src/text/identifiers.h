// The forms of identifiers: on the command line, in the catalogue of regions, in the updater's
// report and in the metadata of the installed client. Plain functions over values, for any thread.
#pragma once

#include <QStringView>
#include <span>

namespace tarvex {

// `least` to `most` characters, each out of a set (ASCII).
struct CharacterRun {
  QStringView characters;
  int least;
  int most;
};

// A sequence of runs that makes up the whole text. Matching is greedy: each run takes as many
// characters as it can. Forms must not need backtracking.
using IdentifierForm = std::span<const CharacterRun>;

bool hasForm(QStringView text, IdentifierForm form);

inline constexpr QStringView hexadecimal = u"0123456789abcdef";
inline constexpr QStringView digits = u"0123456789";

// Region: "eu-west-2".
inline constexpr CharacterRun regionIdForm[] = {
    {u"abcdefghijklmnopqrstuvwxyz", 1, 1},
    {u"abcdefghijklmnopqrstuvwxyz0123456789-", 0, 31},
};

// Version of the launcher: the first 16 digits of a commit or of a digest.
inline constexpr CharacterRun launcherVersionForm[] = {{hexadecimal, 16, 16}};

// Release of the game client: "r5", "2026.11-beta_1".
inline constexpr CharacterRun clientReleaseForm[] = {
    {u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", 1, 1},
    {u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-", 0, 63},
};

// Version of the game's world: "1.20.300.0123456789ab".
inline constexpr CharacterRun worldVersionForm[] = {
    {digits, 1, 9}, {u".", 1, 1}, {digits, 1, 9},        {u".", 1, 1},
    {digits, 1, 9}, {u".", 1, 1}, {hexadecimal, 12, 12},
};

}  // namespace tarvex
