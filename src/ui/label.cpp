#include "ui/label.h"

#include <QHelpEvent>
#include <QPainter>
#include <QTextLayout>
#include <QToolTip>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <numeric>
#include <optional>
#include <utility>

#include "text/unicode_text.h"
#include "ui/accessibility.h"

namespace tarvex {
namespace {

// UTF-16 code units; no label has room for more. Fitting the whole of a very long text would block
// the window.
constexpr qsizetype longestShown = 2048;

constexpr int roomAroundTheFrame = 6;

// Replaces control characters and line ends by spaces: they would break the line or be invisible.
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

// Absent when the text does not fit.
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
    const QString part = text.sliced(line.textStart(), line.textLength());
    lines.append(maximumLines > 1 ? part.trimmed() : part);  // no spaces where a line breaks
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

Qt::LayoutDirection directionOf(const QString &text) {
  return QStringView(text).first(std::min(text.size(), longestShown)).isRightToLeft()
             ? Qt::RightToLeft
             : Qt::LeftToRight;
}

QString fittedText(const QString &text, const QFont &font, int width, int maximumLines,
                   Shortened shortened) {
  // A text this long cannot fit, so it is not measured whole.
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
  // Binary search for the largest number of characters that leaves room for the ellipsis.
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

LineBox lineBox(const QFont &font) {
  constexpr double most = 1.25;
  const int height =
      std::min(QFontMetrics(font).height(), static_cast<int>(font.pixelSize() * most));
  const QFontMetricsF metrics(font);
  return {height, std::min(metrics.ascent(), height - metrics.descent())};
}

Label::Label(const QString &text, QWidget *parent)
    : QWidget(parent), m_text(text), m_announced(text), m_turnEnd([this] { tell(); }) {
  setContentsMargins(roomAroundTheFrame, roomAroundTheFrame, roomAroundTheFrame,
                     roomAroundTheFrame);
  m_pause.setSingleShot(true);
  m_pause.callOnTimeout(this, &Label::announce);
}

void Label::setText(const QString &text) {
  if (text != m_text) {
    m_text = text;
    m_turnEnd.schedule();
  }
}

void Label::tell() {
  refit();
  updateGeometry();
  announce();
}

// Limits the rate: a screen reader that falls behind drops events, among them the notification that
// ends a flood.
void Label::announce() {
  if (m_text == m_announced) {
    return;
  }
  constexpr std::chrono::seconds span{1};
  const auto now = std::chrono::steady_clock::now();
  const auto allowed = m_announcements[m_oldest] + span;
  if (now < allowed) {
    m_pause.start(std::chrono::ceil<std::chrono::milliseconds>(allowed - now));
    return;
  }
  announceText(*this, std::exchange(m_announced, m_text));
  m_announcements[m_oldest] = now;
  m_oldest = (m_oldest + 1) % m_announcements.size();
}

void Label::setAlignment(Qt::Alignment horizontal) {
  m_alignment = horizontal;
}

void Label::setLines(int maximum, Shortened shortened) {
  m_maximumLines = maximum;
  m_shortened = shortened;
}

QSize Label::sizeHint() const {
  QTextLayout layout(onOneLine(QStringView(m_text).first(std::min(m_text.size(), longestShown))),
                     font());
  layOutLine(layout, 0);
  return {static_cast<int>(std::ceil(layout.boundingRect().width())), lineBox(font()).height};
}

int Label::heightForWidth(int width) const {
  return lineBox(font()).height * static_cast<int>(fitted(width).count(u'\n') + 1);
}

bool Label::event(QEvent *event) {
  if (event->type() == QEvent::ToolTip && !toolTip().isEmpty()) {
    // Qt would interpret a text that looks like HTML, and break lines early. So it gets escaped
    // HTML with lines that are already broken.
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
    QToolTip::hideText();  // the visible one is out of date
  }
  return QWidget::event(event);
}

void Label::changeEvent(QEvent *event) {
  QWidget::changeEvent(event);
  if (event->type() == QEvent::FontChange) {
    refit();
    updateGeometry();
  }
}

void Label::paintEvent(QPaintEvent * /*event*/) {
  QPainter painter(this);
  painter.setPen(palette().color(foregroundRole()));
  const QStringList lines = m_shown.split(u'\n');
  for (int index = 0; index < lines.size(); ++index) {
    QTextLayout layout(lines[index], font());
    const QPointF position = layOutLine(layout, index);
    layout.draw(&painter, position, selections());
  }
}

void Label::resizeEvent(QResizeEvent * /*event*/) {
  refit();
}

void Label::showEvent(QShowEvent * /*event*/) {
  refit();
}

QPointF Label::layOutLine(QTextLayout &layout, int index) const {
  QTextOption option;
  option.setTextDirection(directionOf(m_text));
  layout.setTextOption(option);
  layout.beginLayout();
  QTextLine line = layout.createLine();
  if (!line.isValid()) {
    return {};
  }
  line.setNumColumns(static_cast<int>(layout.text().size()));  // one line, without a width limit
  layout.endLayout();
  const QRectF frame = contentsRect();
  const double room = frame.width() - line.naturalTextWidth();
  const LineBox box = lineBox(font());
  return {frame.left() + (m_alignment == Qt::AlignHCenter ? room / 2 : 0),
          frame.top() + index * box.height + box.baseline - line.ascent()};
}

QString Label::fitted(int width) const {
  return fittedText(m_text, font(), width, m_maximumLines, m_shortened);
}

// An invisible label is not fitted: loading its font takes time.
void Label::refit() {
  if (!isVisible()) {
    return;
  }
  if (const QString shown = fitted(contentsRect().width()); shown != m_shown) {
    m_shown = shown;
    shownTextChanged();
    update();
  }
}

}  // namespace tarvex
