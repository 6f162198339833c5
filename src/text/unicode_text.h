// Text as Unicode has it, through ICU: what a player sees as one character (an extended grapheme
// cluster, Unicode Standard Annex 29), general categories and numeric types (Annex 44). All are
// plain functions for any thread; none has a limit on the length of a text.
#pragma once

#include <QString>
#include <QStringView>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tarvex {

inline constexpr QStringView ellipsis = u"…";

// True for most lines. Each byte of an ASCII text is a character, except a line feed after a
// carriage return.
bool isAscii(std::string_view bytes);

// UTF-8 in which each maximal ill-formed subsequence has become one U+FFFD. Nothing where there is
// none: the bytes are well-formed as they are.
std::optional<std::string> repairedUtf8(std::string_view bytes);

// With the same replacement; a byte order mark stays.
QString decodedUtf8(std::string_view bytes);

// Well-formed UTF-8 without the white space and line ends at both ends: general category Z, U+0009
// to U+000D, U+0085.
std::string_view trimmed(std::string_view text);

// Without the tabs and space separators (general category Zs) at both ends.
QStringView trimmedOfSpaces(QStringView text);

// Whole characters are compared, by their code points: "a" is not the beginning of "á" where that
// is written with a combining accent. UTF-8 must be well-formed.
bool beginsWith(std::string_view text, std::string_view beginning);
bool endsWith(std::string_view text, std::string_view end);
QString replacedEverywhere(QStringView text, QStringView what, QStringView replacement);

// Calls `use` with each character in turn until it returns false.
void forEachCharacter(QStringView text, const std::function<bool(QStringView)> &use);
QStringView firstCharacters(QStringView text, int count);

// Whether the character's first code point has a numeric type (decimal, digit or numeric).
bool isNumeric(QStringView character);

}  // namespace tarvex
