// A label: plain text on a limited number of lines, shortened with an ellipsis where it does not
// fit. Whatever the text holds is shown literally, in the label and in its tooltip.
#pragma once

#include <QLabel>

namespace tarvex {

enum class Shortened { atEnd, inMiddle };

// The text as lines, with "\n" between them, each no wider than `width` in the font and no more
// than `maximumLines` of them. Characters stay whole. Line ends in the text count as spaces.
QString fittedText(const QString &text, const QFont &font, int width, int maximumLines,
                   Shortened shortened);

// The height of one line of the font. Some fonts ask for half as much again as their size; on a
// window of fixed height, the room beyond a quarter is not theirs to take.
int lineHeight(const QFont &font);

class Label : public QLabel {
 public:
  explicit Label(QString text = {}, QWidget *parent = nullptr);

  // The whole text, whatever part of it is visible. A change is announced to assistive technology.
  void setText(const QString &text);
  QString text() const { return m_text; }

  void setLines(int maximum, Shortened shortened);
  void setSelectable();

  // The size that the text wants, on one line or, given a width, on the lines that it needs there.
  QSize sizeHint() const override;
  int heightForWidth(int width) const override;

 protected:
  bool event(QEvent *event) override;
  void changeEvent(QEvent *event) override;
  void paintEvent(QPaintEvent *event) override;
  void resizeEvent(QResizeEvent *event) override;
  void showEvent(QShowEvent *event) override;

 private:
  QString fitted(int width) const;
  void refit();

  QString m_text;
  int m_maximumLines = 1;
  Shortened m_shortened = Shortened::atEnd;
};

}  // namespace tarvex
