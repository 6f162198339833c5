// A label: plain text on a limited number of lines, shortened with an ellipsis where it does not
// fit. Whatever the text holds is shown literally, in the label and in its tooltip.
#pragma once

#include <QList>
#include <QTextLayout>
#include <QWidget>

#include "platform/turn_end.h"

namespace tarvex {

enum class Shortened { atEnd, inMiddle };

// The text as lines, with "\n" between them, each no wider than `width` in the font and no more
// than `maximumLines` of them. Characters stay whole. Line ends in the text count as spaces.
QString fittedText(const QString &text, const QFont &font, int width, int maximumLines,
                   Shortened shortened);

// The direction in which a text runs, by its first letter.
Qt::LayoutDirection directionOf(const QString &text);

// The height of one line of the font, and the place of the baseline under its top. Some fonts ask
// for half as much again as their size, most of it above the letters. On a window of fixed height
// they get a quarter, and what is too much goes at the top.
struct LineBox {
  int height;
  double baseline;
};
LineBox lineBox(const QFont &font);

// The frame of a label is its contents rectangle. The margins around it, which a label has from the
// start, are for letters that reach beyond a line of their font.
class Label : public QWidget {
 public:
  explicit Label(const QString &text = {}, QWidget *parent = nullptr);

  // The whole text, whatever part of it is visible. What is seen and announced to assistive
  // technology follows once, when the turn of the event loop ends.
  const QString &text() const { return m_text; }
  void setText(const QString &text);

  // The lines that are seen, with "\n" between them.
  const QString &shownText() const { return m_shown; }

  void setAlignment(Qt::Alignment horizontal);
  void setLines(int maximum, Shortened shortened);

  // The size that the text wants, on one line or, given a width, on the lines that it needs there.
  // Without the margins.
  QSize sizeHint() const override;
  bool hasHeightForWidth() const override { return m_maximumLines > 1; }
  int heightForWidth(int width) const override;

 protected:
  bool event(QEvent *event) override;
  void changeEvent(QEvent *event) override;
  void paintEvent(QPaintEvent *event) override;
  void resizeEvent(QResizeEvent *event) override;
  void showEvent(QShowEvent *event) override;

  // Lays out the text as one line, which stands at the index among those that are seen. Returns the
  // place of its left upper corner. Its direction is that of the whole text.
  QPointF layOutLine(QTextLayout &layout, int index) const;

  virtual void shownTextChanged() {}
  virtual QList<QTextLayout::FormatRange> selections() const { return {}; }

 private:
  QString fitted(int width) const;
  void refit();
  void tell();

  QString m_text;
  QString m_told;  // what assistive technology knows
  QString m_shown;
  int m_maximumLines = 1;
  Shortened m_shortened = Shortened::atEnd;
  Qt::Alignment m_alignment = Qt::AlignLeft;
  TurnEnd m_turnEnd;
};

}  // namespace tarvex
