#include "text/unicode_text.h"

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
// Two neighbouring code points below this one are two characters, except CR LF. The same is true
// for the ellipsis, which many of the updater's lines contain.
constexpr char16_t firstCombining = 0x300;

bool areSimple(QChar before, QChar after) {
  const auto isSimple = [](QChar character) {
    return character.unicode() < firstCombining || character == ellipsis.front();
  };
  return isSimple(before) && isSimple(after);
}

bool areLineEnd(QChar before, QChar after) {
  return before.unicode() == carriageReturn && after.unicode() == lineFeed;
}

// Character boundaries of a short text that begins at one. Creating an iterator is slow, so each
// thread keeps its own.
UBreakIterator *characterBreaks(QStringView text) {
  UErrorCode status = U_ZERO_ERROR;
  thread_local const icu::LocalUBreakIteratorPointer breaks(
      ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status));
  ubrk_setText(breaks.getAlias(), text.utf16(), static_cast<int32_t>(text.size()), &status);
  return breaks.getAlias();
}

// The text between two indices. An index that would split a surrogate pair moves outwards.
QStringView wholeCodePoints(QStringView text, qsizetype begin, qsizetype end) {
  if (begin > 0 && text[begin].isLowSurrogate() && text[begin - 1].isHighSurrogate()) {
    --begin;
  }
  if (end < text.size() && text[end].isLowSurrogate() && text[end - 1].isHighSurrogate()) {
    ++end;
  }
  return text.sliced(begin, end - begin);
}

// The end of the character that begins at the index.
qsizetype characterEnd(QStringView text, qsizetype begin) {
  if (begin + 1 >= text.size()) {
    return text.size();
  }
  if (areSimple(text[begin], text[begin + 1])) {
    return begin + (areLineEnd(text[begin], text[begin + 1]) ? 2 : 1);
  }
  // A window keeps the cost linear: ICU would look at the whole text each time. If the boundary
  // found is the window's end, the character may be longer, so a larger window is tried.
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
  // A few neighbours decide whether this is a boundary. Only regional indicators (flags) need a
  // longer look back, and no text that the launcher searches for contains them.
  constexpr qsizetype around = 16;
  const qsizetype begin = std::max<qsizetype>(index - around, 0);
  const QStringView window = wholeCodePoints(text, begin, std::min(index + around, text.size()));
  const qsizetype offset = index - (window.utf16() - text.utf16());
  return ubrk_isBoundary(characterBreaks(window), static_cast<int32_t>(offset)) != 0;
}

bool isBoundary(std::string_view utf8, std::size_t index) {
  if (index == 0 || index == utf8.size()) {
    return true;
  }
  if (isAscii(utf8.substr(index - 1, 2))) {
    return utf8.substr(index - 1, 2) != "\r\n";
  }
  const qsizetype utf16Index = decodedUtf8(utf8.substr(0, index)).size();
  return isBoundary(decodedUtf8(utf8), utf16Index);
}

bool isWhiteSpace(UChar32 character) {
  if (character < static_cast<UChar32>(firstNotAscii)) {
    return character == ' ' || (character >= '\t' && character <= '\r');
  }
  return character == 0x85 || (U_GET_GC_MASK(character) & U_GC_Z_MASK) != 0;
}

// The code point at the index, negative for an ill-formed sequence. Moves the index behind it.
UChar32 nextCodePoint(std::string_view utf8, std::size_t &index) {
  UChar32 codePoint = 0;
  U8_NEXT(reinterpret_cast<const uint8_t *>(utf8.data()), index, utf8.size(), codePoint);
  return codePoint;
}

bool isWellFormedUtf8(std::string_view bytes) {
  for (std::size_t index = 0; index < bytes.size();) {
    if (nextCodePoint(bytes, index) < 0) {
      return false;
    }
  }
  return true;
}

}  // namespace

// No early exit: the compiler can then use vector instructions.
bool isAscii(std::string_view bytes) {
  const auto bits = std::accumulate(bytes.begin(), bytes.end(), char{}, [](char all, char byte) {
    return static_cast<char>(all | byte);
  });
  return static_cast<unsigned char>(bits) < firstNotAscii;
}

std::optional<std::string> repairedUtf8(std::string_view bytes) {
  if (isAscii(bytes) || isWellFormedUtf8(bytes)) {
    return std::nullopt;
  }
  return decodedUtf8(bytes).toStdString();
}

// Not QString::fromUtf8, which drops a byte order mark.
QString decodedUtf8(std::string_view bytes) {
  if (isAscii(bytes)) {
    return QString::fromLatin1(bytes.data(), static_cast<qsizetype>(bytes.size()));
  }
  const auto *source = reinterpret_cast<const uint8_t *>(bytes.data());
  const auto length = static_cast<qsizetype>(bytes.size());
  QString text(length, Qt::Uninitialized);  // UTF-8 never has fewer bytes than UTF-16 code units
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

std::string_view trimmed(std::string_view text) {
  while (!text.empty()) {
    std::size_t end = 0;
    if (!isWhiteSpace(nextCodePoint(text, end))) {
      break;
    }
    text.remove_prefix(end);
  }
  while (!text.empty()) {
    std::size_t begin = text.size() - 1;  // back to the lead byte of the last code point
    while (U8_IS_TRAIL(text[begin])) {
      --begin;
    }
    std::size_t end = begin;
    if (!isWhiteSpace(nextCodePoint(text, end))) {
      break;
    }
    text.remove_suffix(text.size() - begin);
  }
  return text;
}

QStringView trimmedOfSpaces(QStringView text) {
  // All separators are in the Basic Multilingual Plane: one code unit each.
  const auto isRemoved = [](QChar character) {
    return character.unicode() == u'\t' || (U_GET_GC_MASK(character.unicode()) & U_GC_ZS_MASK) != 0;
  };
  while (!text.isEmpty() && isRemoved(text.front())) {
    text = text.sliced(1);
  }
  while (!text.isEmpty() && isRemoved(text.back())) {
    text.chop(1);
  }
  return text;
}

bool beginsWith(std::string_view text, std::string_view beginning) {
  return text.starts_with(beginning) && isBoundary(text, beginning.size());
}

bool endsWith(std::string_view text, std::string_view end) {
  return text.ends_with(end) && isBoundary(text, text.size() - end.size());
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
  UChar32 codePoint = 0;
  qsizetype index = 0;
  U16_NEXT(character.utf16(), index, character.size(), codePoint);
  return u_getIntPropertyValue(codePoint, UCHAR_NUMERIC_TYPE) != U_NT_NONE;
}

}  // namespace tarvex
