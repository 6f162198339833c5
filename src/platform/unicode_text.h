// Text as Unicode has it, through ICU: what a player sees as one character (an extended grapheme
// cluster, Unicode Standard Annex 29), general categories and numeric types (Annex 44). All are
// plain functions for any thread; none has a limit on the length of a text.
#pragma once

#include <QString>
#include <QStringView>
#include <functional>
#include <string_view>

namespace tarvex {

// Decodes UTF-8. Each maximal ill-formed subsequence becomes one U+FFFD; a byte order mark stays.
QString decodedUtf8(std::string_view bytes);

// Without the white space and line ends at both ends: general category Z, U+0009 to U+000D, U+0085.
QStringView trimmed(QStringView text);

// Without the tabs and space separators (general category Zs) at both ends.
QStringView trimmedOfSpaces(QStringView text);

// Whole characters are compared, by their code points: "a" is not the beginning of "á" where that
// is written with a combining accent.
bool beginsWith(QStringView text, QStringView beginning);
bool endsWith(QStringView text, QStringView end);
QString replacedEverywhere(QStringView text, QStringView what, QStringView replacement);

// Calls `use` with each character in turn until it returns false.
void forEachCharacter(QStringView text, const std::function<bool(QStringView)> &use);
QStringView firstCharacters(QStringView text, int count);

// Whether the character's first code point has a numeric type (decimal, digit or numeric).
bool isNumeric(QStringView character);

}  // namespace tarvex
