#include "ui/label.h"

#include <QHelpEvent>
#include <QPainter>
#include <QTextLayout>
#include <QToolTip>
#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>
#include <utility>

#include "text/unicode_text.h"
#include "ui/accessibility.h"

namespace tarvex {
namespace {

// No label shows more than this many code units; looking at all of a text of a gigabyte would take
// the window's breath away.
constexpr qsizetype longestShown = 2048;

// Characters that would break the line, or show as nothing.
QString onOneLine(QStringView text) {
  QString result = text.toString();
  for (QChar &character : result) {
    if (character.category() == QChar::Other_Control ||
        character.category() == QChar::Separator_Line ||
        character.category() == QChar::Separator_Paragraph) {
      character = u' ';
    }
  }
  return result;
}

std::optional<QString> brokenIntoLines(const QString &text, const QFont &font, int width,
                                       int maximumLines) {
  QTextOption option;
  option.setWrapMode(maximumLines > 1 ? QTextOption::WrapAtWordBoundaryOrAnywhere
                                      : QTextOption::NoWrap);
  QTextLayout layout(text, font);
  layout.setTextOption(option);
  layout.beginLayout();
  QStringList lines;
  for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
    line.setLineWidth(width);
    if (lines.size() == maximumLines || std::ceil(line.naturalTextWidth()) > width) {
      return std::nullopt;
    }
    lines.append(text.sliced(line.textStart(), line.textLength()).trimmed());
  }
  return lines.join(u'\n');
}

QStringList charactersOf(QStringView text) {
  QStringList characters;
  forEachCharacter(text, [&](QStringView character) {
    characters.append(character.toString());
    return true;
  });
  return characters;
}

}  // namespace

QString fittedText(const QString &text, const QFont &font, int width, int maximumLines,
                   Shortened shortened) {
  const bool isLong = text.size() > 2 * longestShown;
  if (!isLong) {
    if (const auto whole = brokenIntoLines(onOneLine(text), font, width, maximumLines)) {
      return *whole;
    }
  }
  const QStringView all = text;
  const QStringList characters =
      charactersOf(isLong ? onOneLine(all.first(longestShown)) + onOneLine(all.last(longestShown))
                          : onOneLine(all));
  // The largest number of characters that leaves room for the ellipsis.
  QString best = ellipsis.toString();
  qsizetype fits = 0;
  qsizetype tooMany = characters.size();
  while (fits + 1 < tooMany) {
    const qsizetype kept = std::midpoint(fits, tooMany);
    const qsizetype atEnd = shortened == Shortened::inMiddle ? kept / 2 : 0;
    const QString candidate = characters.first(kept - atEnd).join(QString()) + ellipsis +
                              characters.last(atEnd).join(QString());
    if (const auto lines = brokenIntoLines(candidate, font, width, maximumLines)) {
      best = *lines;
      fits = kept;
    } else {
      tooMany = kept;
    }
  }
  return best;
}

int lineHeight(const QFont &font) {
  constexpr double most = 1.25;
  return std::min(QFontMetrics(font).height(), static_cast<int>(font.pixelSize() * most));
}

Label::Label(QString text, QWidget *parent) : QLabel(parent), m_text(std::move(text)) {
  setTextFormat(Qt::PlainText);
}

void Label::setText(const QString &text) {
  if (text == m_text) {
    return;
  }
  const QString before = std::exchange(m_text, text);
  refit();
  updateGeometry();
  announceText(*this, before);
}

void Label::setLines(int maximum, Shortened shortened) {
  m_maximumLines = maximum;
  m_shortened = shortened;
}

void Label::setSelectable() {
  setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
}

QSize Label::sizeHint() const {
  const QString line = onOneLine(QStringView(m_text).first(std::min(m_text.size(), longestShown)));
  QTextLayout layout(line, font());
  layout.beginLayout();
  QTextLine only = layout.createLine();
  if (only.isValid()) {
    only.setNumColumns(static_cast<int>(line.size()));
  }
  layout.endLayout();
  const double width = only.isValid() ? only.naturalTextWidth() : 0;
  return {static_cast<int>(std::ceil(width)), lineHeight(font())};
}

int Label::heightForWidth(int width) const {
  return lineHeight(font()) * static_cast<int>(fitted(width).count(u'\n') + 1);
}

bool Label::event(QEvent *event) {
  if (event->type() == QEvent::ToolTip && !toolTip().isEmpty()) {
    // Left to itself, the toolkit would take what looks like HTML for HTML, and break lines early.
    constexpr int widest = 480;
    constexpr int mostLines = 20;
    const QString shown =
        fittedText(toolTip(), QToolTip::font(), widest, mostLines, Shortened::inMiddle);
    QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(),
                       u"<div style=\"white-space: pre\">" + shown.toHtmlEscaped() + u"</div>",
                       this);
    return true;
  }
  if (event->type() == QEvent::ToolTipChange && underMouse()) {
    QToolTip::hideText();  // the one on display speaks of what was
  }
  return QLabel::event(event);
}

void Label::changeEvent(QEvent *event) {
  QLabel::changeEvent(event);
  if (event->type() == QEvent::FontChange) {
    refit();
    updateGeometry();
  }
}

void Label::paintEvent(QPaintEvent *event) {
  if (textInteractionFlags() != Qt::NoTextInteraction) {
    QLabel::paintEvent(event);  // which knows about selections
    return;
  }
  QPainter painter(this);
  painter.setPen(palette().color(foregroundRole()));
  const QStringList lines = QLabel::text().split(u'\n');
  const int height = lineHeight(font());
  for (int index = 0; index < lines.size(); ++index) {
    painter.drawText(QRect(0, index * height, width(), height),
                     static_cast<int>(alignment()) | Qt::TextDontClip | Qt::TextSingleLine,
                     lines[index]);
  }
}

void Label::resizeEvent(QResizeEvent *event) {
  QLabel::resizeEvent(event);
  refit();
}

void Label::showEvent(QShowEvent *event) {
  QLabel::showEvent(event);
  refit();
}

QString Label::fitted(int width) const {
  return fittedText(m_text, font(), width, m_maximumLines, m_shortened);
}

// What is not to be seen is not fitted: most fonts are dear to load.
void Label::refit() {
  if (!isVisible()) {
    return;
  }
  if (const QString shown = fitted(width()); shown != QLabel::text()) {
    QLabel::setText(shown);
  }
}

}  // namespace tarvex
