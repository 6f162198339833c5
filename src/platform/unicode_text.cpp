#include "platform/unicode_text.h"

#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <numeric>

namespace tarvex {
namespace {

constexpr unsigned firstNotAscii = 0x80;
constexpr char16_t carriageReturn = u'\r';
constexpr char16_t lineFeed = u'\n';
// No code point below this one extends a character or draws the next one in, and the ellipsis,
// which the updater's lines are full of, does not either.
constexpr char16_t firstCombining = 0x300;
constexpr char16_t ellipsis = u'…';

bool areSimple(QChar before, QChar after) {
  const auto isSimple = [](QChar character) {
    return character.unicode() < firstCombining || character.unicode() == ellipsis;
  };
  return isSimple(before) && isSimple(after);
}

bool areLineEnd(QChar before, QChar after) {
  return before.unicode() == carriageReturn && after.unicode() == lineFeed;
}

// Character boundaries of a short text, whose beginning must be one. Creating the iterator is dear.
UBreakIterator *characterBreaks(QStringView text) {
  UErrorCode status = U_ZERO_ERROR;
  thread_local const icu::LocalUBreakIteratorPointer breaks(
      ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status));
  ubrk_setText(breaks.getAlias(), text.utf16(), static_cast<int32_t>(text.size()), &status);
  return breaks.getAlias();
}

// The largest part of the text that begins and ends with the given indices or, where these would
// cut a surrogate pair in two, a code unit further out.
QStringView wholeCodePoints(QStringView text, qsizetype begin, qsizetype end) {
  if (begin > 0 && text[begin].isLowSurrogate() && text[begin - 1].isHighSurrogate()) {
    --begin;
  }
  if (end < text.size() && text[end].isLowSurrogate() && text[end - 1].isHighSurrogate()) {
    ++end;
  }
  return text.sliced(begin, end - begin);
}

// The end of the character that begins at the index, which must be one's beginning.
qsizetype characterEnd(QStringView text, qsizetype begin) {
  if (begin + 1 >= text.size()) {
    return text.size();
  }
  if (areSimple(text[begin], text[begin + 1])) {
    return begin + (areLineEnd(text[begin], text[begin + 1]) ? 2 : 1);
  }
  for (qsizetype reach = 32;; reach *= 2) {
    const QStringView window = wholeCodePoints(text, begin, std::min(begin + reach, text.size()));
    const qsizetype length = ubrk_following(characterBreaks(window), 0);
    if (length < window.size() || begin + length == text.size()) {
      return begin + length;
    }
  }
}

bool isBoundary(QStringView text, qsizetype index) {
  if (index == 0 || index == text.size()) {
    return true;
  }
  if (areSimple(text[index - 1], text[index])) {
    return !areLineEnd(text[index - 1], text[index]);
  }
  // Whether a boundary is here is settled by what stands close around: the one rule that looks
  // further back, for pairs of regional indicators, does not apply to the texts that are sought.
  constexpr qsizetype around = 16;
  const qsizetype begin = std::max<qsizetype>(index - around, 0);
  const QStringView window = wholeCodePoints(text, begin, std::min(index + around, text.size()));
  const qsizetype offset = index - (window.utf16() - text.utf16());
  return ubrk_isBoundary(characterBreaks(window), static_cast<int32_t>(offset)) != 0;
}

template <typename Predicate>
QStringView trimmedOf(QStringView text, Predicate goes) {
  while (!text.isEmpty() && goes(text.front())) {
    text = text.sliced(1);
  }
  while (!text.isEmpty() && goes(text.back())) {
    text.chop(1);
  }
  return text;
}

// All separators are in the Basic Multilingual Plane: one code unit each.
bool hasCategory(QChar character, uint32_t mask) {
  return (U_GET_GC_MASK(character.unicode()) & mask) != 0;
}

}  // namespace

QString decodedUtf8(std::string_view bytes) {
  // Most lines, and the longest, are ASCII, for which there are faster ways.
  const auto bits = std::accumulate(bytes.begin(), bytes.end(), 0U, [](unsigned all, char byte) {
    return all | static_cast<unsigned char>(byte);
  });
  if (bits < firstNotAscii) {
    return QString::fromLatin1(bytes.data(), static_cast<qsizetype>(bytes.size()));
  }
  const auto *source = reinterpret_cast<const uint8_t *>(bytes.data());
  const auto length = static_cast<qsizetype>(bytes.size());
  QString text(length, Qt::Uninitialized);  // never fewer bytes than code units
  QChar *out = text.data();
  for (qsizetype index = 0; index < length;) {
    char32_t codePoint = 0;
    U8_NEXT_OR_FFFD(source, index, length, codePoint);
    if (QChar::requiresSurrogates(codePoint)) {
      *out++ = QChar(QChar::highSurrogate(codePoint));
      *out++ = QChar(QChar::lowSurrogate(codePoint));
    } else {
      *out++ = QChar(static_cast<char16_t>(codePoint));
    }
  }
  text.truncate(out - text.constData());
  return text;
}

QStringView trimmed(QStringView text) {
  return trimmedOf(text, [](QChar character) {
    const char16_t unit = character.unicode();
    return (unit >= 0x09 && unit <= 0x0D) || unit == 0x85 || hasCategory(character, U_GC_Z_MASK);
  });
}

QStringView trimmedOfSpaces(QStringView text) {
  return trimmedOf(text, [](QChar character) {
    return character.unicode() == u'\t' || hasCategory(character, U_GC_ZS_MASK);
  });
}

bool beginsWith(QStringView text, QStringView beginning) {
  return text.startsWith(beginning) && isBoundary(text, beginning.size());
}

bool endsWith(QStringView text, QStringView end) {
  return text.endsWith(end) && isBoundary(text, text.size() - end.size());
}

QString replacedEverywhere(QStringView text, QStringView what, QStringView replacement) {
  QString result;
  qsizetype done = 0;
  for (qsizetype found = text.indexOf(what); found >= 0; found = text.indexOf(what, found)) {
    const qsizetype end = found + what.size();
    if (isBoundary(text, found) && isBoundary(text, end)) {
      result.append(text.sliced(done, found - done)).append(replacement);
      done = end;
      found = end;
    } else {
      ++found;
    }
  }
  return result.append(text.sliced(done));
}

void forEachCharacter(QStringView text, const std::function<bool(QStringView)> &use) {
  for (qsizetype begin = 0; begin < text.size();) {
    const qsizetype end = characterEnd(text, begin);
    if (!use(text.sliced(begin, end - begin))) {
      return;
    }
    begin = end;
  }
}

QStringView firstCharacters(QStringView text, int count) {
  qsizetype length = 0;
  for (int index = 0; index < count && length < text.size(); ++index) {
    length = characterEnd(text, length);
  }
  return text.first(length);
}

bool isNumeric(QStringView character) {
  if (character.front().unicode() < firstNotAscii) {
    return character.front() >= u'0' && character.front() <= u'9';  // as nearly always
  }
  UChar32 codePoint = 0;
  qsizetype index = 0;
  U16_NEXT(character.utf16(), index, character.size(), codePoint);
  return u_getIntPropertyValue(codePoint, UCHAR_NUMERIC_TYPE) != U_NT_NONE;
}

}  // namespace tarvex
