#include "ui/selectable_label.h"

#include <QAction>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QTextBoundaryFinder>
#include <algorithm>

#include "ui/accessibility.h"

namespace tarvex {
namespace {

enum class Move { character, word, line };

struct CursorKey {
  QKeySequence::StandardKey key;
  Move move;
  bool forward;
  bool selects;
};

constexpr CursorKey cursorKeys[] = {
    {QKeySequence::MoveToNextChar, Move::character, true, false},
    {QKeySequence::MoveToPreviousChar, Move::character, false, false},
    {QKeySequence::MoveToNextWord, Move::word, true, false},
    {QKeySequence::MoveToPreviousWord, Move::word, false, false},
    {QKeySequence::MoveToStartOfLine, Move::line, false, false},
    {QKeySequence::MoveToEndOfLine, Move::line, true, false},
    {QKeySequence::SelectNextChar, Move::character, true, true},
    {QKeySequence::SelectPreviousChar, Move::character, false, true},
    {QKeySequence::SelectNextWord, Move::word, true, true},
    {QKeySequence::SelectPreviousWord, Move::word, false, true},
    {QKeySequence::SelectStartOfLine, Move::line, false, true},
    {QKeySequence::SelectEndOfLine, Move::line, true, true},
};

int moved(const QString &text, int from, const CursorKey &key) {
  if (key.move == Move::line) {
    return key.forward ? static_cast<int>(text.size()) : 0;
  }
  const QTextLayout layout(text);  // finds the boundaries of characters (UAX #29) and words
  const auto mode = key.move == Move::word ? QTextLayout::SkipWords : QTextLayout::SkipCharacters;
  return key.forward ? layout.nextCursorPosition(from, mode)
                     : layout.previousCursorPosition(from, mode);
}

}  // namespace

int wholeIndex(const QString &text, const QString &shown, int index) {
  // Control characters are shown as spaces.
  const auto cut = std::mismatch(shown.begin(), shown.end(), text.begin(), text.end(),
                                 [](QChar one, QChar other) { return one == other || one == u' '; })
                       .first -
                   shown.begin();
  return index <= cut ? index : static_cast<int>(text.size() - (shown.size() - index));
}

SelectableLabel::SelectableLabel(const QString &text, QWidget *parent) : Label(text, parent) {
  setFocusPolicy(Qt::StrongFocus);
  setCursor(Qt::IBeamCursor);
}

SelectableLabel::Selection SelectableLabel::selection() const {
  const auto whole = [this](int index) { return wholeIndex(text(), shownText(), index); };
  return {whole(std::min(m_anchor, m_cursor)), whole(std::max(m_anchor, m_cursor)),
          whole(m_cursor)};
}

QString SelectableLabel::selectedText() const {
  const Selection selected = selection();
  return text().sliced(selected.begin, selected.end - selected.begin);
}

void SelectableLabel::copy() const {
  QGuiApplication::clipboard()->setText(m_anchor == m_cursor ? text() : selectedText());
}

void SelectableLabel::contextMenuEvent(QContextMenuEvent *event) {
  auto *const menu = new QMenu(this);
  menu->setAttribute(Qt::WA_DeleteOnClose);
  menu->addAction(QStringLiteral("Copy"), QKeySequence::Copy, this, &SelectableLabel::copy);
  menu->popup(event->globalPos());  // exec would run a nested event loop
}

// Tab selects all, as in a line edit. A screen reader then says the text.
void SelectableLabel::focusInEvent(QFocusEvent *event) {
  if (event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason) {
    selectAll();
  }
  update();
}

// The selection stays while a menu or another window has the focus.
void SelectableLabel::focusOutEvent(QFocusEvent *event) {
  if (event->reason() != Qt::PopupFocusReason && event->reason() != Qt::ActiveWindowFocusReason) {
    select(m_cursor, m_cursor);
  }
  update();
}

void SelectableLabel::keyPressEvent(QKeyEvent *event) {
  if (event->matches(QKeySequence::Copy)) {
    copy();
    return;
  }
  if (event->matches(QKeySequence::SelectAll)) {
    selectAll();
    return;
  }
  const auto *const key =
      std::find_if(std::begin(cursorKeys), std::end(cursorKeys),
                   [&](const CursorKey &one) { return event->matches(one.key); });
  if (key == std::end(cursorKeys)) {
    event->ignore();
    return;
  }
  const int cursor = moved(shownText(), m_cursor, *key);
  select(key->selects ? m_anchor : cursor, cursor);
}

void SelectableLabel::mousePressEvent(QMouseEvent *event) {
  if (event->button() == Qt::LeftButton) {
    const int cursor = positionAt(event->position());
    select(event->modifiers() == Qt::ShiftModifier ? m_anchor : cursor, cursor);
  }
}

void SelectableLabel::mouseMoveEvent(QMouseEvent *event) {
  if (event->buttons() == Qt::LeftButton) {
    select(m_anchor, positionAt(event->position()));
  }
}

// X11 and some Wayland compositors have a clipboard for selections; the middle button pastes from
// it.
void SelectableLabel::mouseReleaseEvent(QMouseEvent * /*event*/) {
  QClipboard *const clipboard = QGuiApplication::clipboard();
  if (m_anchor != m_cursor && clipboard->supportsSelection()) {
    clipboard->setText(selectedText(), QClipboard::Selection);
  }
}

void SelectableLabel::mouseDoubleClickEvent(QMouseEvent *event) {
  QTextBoundaryFinder words(QTextBoundaryFinder::Word, shownText());
  words.setPosition(positionAt(event->position()));
  const int end = static_cast<int>(std::max<qsizetype>(words.toNextBoundary(), 0));
  select(static_cast<int>(std::max<qsizetype>(words.toPreviousBoundary(), 0)), end);
}

void SelectableLabel::paintEvent(QPaintEvent *event) {
  Label::paintEvent(event);
  if (hasFocus()) {
    QPainter painter(this);
    QTextLayout layout(shownText(), font());
    const QPointF position = layOutLine(layout, 0);
    painter.setPen(palette().color(foregroundRole()));
    layout.drawCursor(&painter, position, m_cursor);
  }
}

void SelectableLabel::shownTextChanged() {
  select(0, 0);  // the old indices are invalid in another text
}

QList<QTextLayout::FormatRange> SelectableLabel::selections() const {
  if (m_anchor == m_cursor) {
    return {};
  }
  QTextLayout::FormatRange range;
  range.start = std::min(m_anchor, m_cursor);
  range.length = std::abs(m_anchor - m_cursor);
  range.format.setBackground(palette().highlight());
  range.format.setForeground(palette().highlightedText());
  return {range};
}

int SelectableLabel::positionAt(const QPointF &point) const {
  QTextLayout layout(shownText(), font());
  const QPointF position = layOutLine(layout, 0);
  return layout.lineCount() > 0 ? layout.lineAt(0).xToCursor(point.x() - position.x()) : 0;
}

void SelectableLabel::selectAll() {
  select(0, static_cast<int>(shownText().size()));
}

void SelectableLabel::select(int anchor, int cursor) {
  if (anchor != m_anchor || cursor != m_cursor) {
    m_anchor = anchor;
    m_cursor = cursor;
    update();
    if (hasFocus()) {
      announceSelection(*this);
    }
  }
}

}  // namespace tarvex
