// A label: plain text on a limited number of lines, shortened with an ellipsis when it does not
// fit. The text is never interpreted as markup, neither in the label nor in its tooltip. Main
// thread. All sizes are in device-independent pixels.
#pragma once

#include <QList>
#include <QTextLayout>
#include <QTimer>
#include <QWidget>
#include <array>
#include <chrono>
#include <cstddef>

#include "platform/turn_end.h"

namespace tarvex {

enum class Shortened { atEnd, inMiddle };

// The text as at most `maximumLines` lines with "\n" between them, each at most `width` wide in the
// font. An ellipsis replaces whole characters (UAX #29). Line ends in the text count as spaces.
QString fittedText(const QString &text, const QFont &font, int width, int maximumLines,
                   Shortened shortened);

// The direction of a text, from its first letter (Unicode Bidirectional Algorithm, UAX #9).
Qt::LayoutDirection directionOf(const QString &text);

// The height of one line of the font, at most 1.25 times the font's size. Some fonts ask for 1.5
// times their size, most of it above the letters, and the window has a fixed height. The excess is
// removed at the top.
struct LineBox {
  int height;
  double baseline;  // below the top
};
LineBox lineBox(const QFont &font);

// The frame of a label is its contents rectangle. Its contents margins leave room for letters that
// reach beyond their line.
class Label : public QWidget {
 public:
  explicit Label(const QString &text = {}, QWidget *parent = nullptr);

  // The whole text. At the end of a turn of the event loop with changes, the label is painted once
  // and the change is reported to assistive technology, at most ten times in a second.
  const QString &text() const { return m_text; }
  void setText(const QString &text);

  // The visible lines, with "\n" between them.
  const QString &shownText() const { return m_shown; }

  void setAlignment(Qt::Alignment horizontal);
  void setLines(int maximum, Shortened shortened);

  // Without the margins: the size of the text on one line, and its height when it is broken at a
  // width.
  QSize sizeHint() const override;
  bool hasHeightForWidth() const override { return m_maximumLines > 1; }
  int heightForWidth(int width) const override;

 protected:
  bool event(QEvent *event) override;
  void changeEvent(QEvent *event) override;
  void paintEvent(QPaintEvent *event) override;
  void resizeEvent(QResizeEvent *event) override;
  void showEvent(QShowEvent *event) override;

  // Lays out the visible line with this index, in the direction of the whole text. Returns the
  // place of its left upper corner.
  QPointF layOutLine(QTextLayout &layout, int index) const;

  virtual void shownTextChanged() {}
  virtual QList<QTextLayout::FormatRange> selections() const { return {}; }

 private:
  QString fitted(int width) const;
  void refit();
  void tell();
  void announce();

  QString m_text;
  QString m_announced;  // the text that was last announced to assistive technology
  std::array<std::chrono::steady_clock::time_point, 10> m_announcements{};
  std::size_t m_oldest = 0;  // of these
  QTimer m_pause;            // until the next announcement is allowed
  QString m_shown;
  int m_maximumLines = 1;
  Shortened m_shortened = Shortened::atEnd;
  Qt::Alignment m_alignment = Qt::AlignLeft;
  TurnEnd m_turnEnd;
};

}  // namespace tarvex
