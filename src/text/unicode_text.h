// Unicode text, through ICU. A "character" is what a player sees as one: an extended grapheme
// cluster (Unicode Standard Annex 29). General categories and numeric types are those of Annex 44.
// All are plain functions for any thread, without a limit on the length of a text. Views are valid
// as long as their argument is.
#pragma once

#include <QString>
#include <QStringView>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tarvex {

inline constexpr QStringView ellipsis = u"…";

// True for most of the updater's lines. Each byte of an ASCII text is a character, except that a
// carriage return and a line feed together are one.
bool isAscii(std::string_view bytes);

// The bytes as well-formed UTF-8: each maximal ill-formed subsequence becomes one U+FFFD. Absent
// when the bytes are well-formed already.
std::optional<std::string> repairedUtf8(std::string_view bytes);

// UTF-8 to UTF-16, with the same replacement. A byte order mark stays as a character.
QString decodedUtf8(std::string_view bytes);

// Removes white space and line ends at both ends: general category Z, U+0009 to U+000D, U+0085.
// The text must be well-formed UTF-8.
std::string_view trimmed(std::string_view text);

// Removes tabs and space separators (general category Zs) at both ends. Line ends stay.
QStringView trimmedOfSpaces(QStringView text);

// These compare whole characters by their code points: "a" is not the beginning of "á" when that is
// written with a combining accent. UTF-8 must be well-formed.
bool beginsWith(std::string_view text, std::string_view beginning);
bool endsWith(std::string_view text, std::string_view end);
QString replacedEverywhere(QStringView text, QStringView what, QStringView replacement);

// Calls `use` with each character in turn until it returns false.
void forEachCharacter(QStringView text, const std::function<bool(QStringView)> &use);

// The first `count` characters, or all when there are fewer.
QStringView firstCharacters(QStringView text, int count);

// Whether the character's first code point has a numeric type (decimal, digit or numeric).
bool isNumeric(QStringView character);

}  // namespace tarvex
