// A label of one line whose text can be selected and copied, by mouse and by keyboard. Where an
// ellipsis hides a part of the selection, the copy contains that part. Main thread.
#pragma once

#include <QString>

#include "ui/label.h"

namespace tarvex {

// Converts an index in `shown` to one in `text`. `shown` is the text, or its beginning and its end
// with an ellipsis between them. Indices count UTF-16 code units.
int wholeIndex(const QString &text, const QString &shown, int index);

class SelectableLabel : public Label {
 public:
  explicit SelectableLabel(const QString &text = {}, QWidget *parent = nullptr);

  struct Selection {  // in the whole text
    int begin = 0;
    int end = 0;
    int cursor = 0;
  };
  Selection selection() const;
  QString selectedText() const;

 protected:
  void contextMenuEvent(QContextMenuEvent *event) override;
  void focusInEvent(QFocusEvent *event) override;
  void focusOutEvent(QFocusEvent *event) override;
  void keyPressEvent(QKeyEvent *event) override;
  void mouseDoubleClickEvent(QMouseEvent *event) override;
  void mouseMoveEvent(QMouseEvent *event) override;
  void mousePressEvent(QMouseEvent *event) override;
  void mouseReleaseEvent(QMouseEvent *event) override;
  void paintEvent(QPaintEvent *event) override;
  void shownTextChanged() override;
  QList<QTextLayout::FormatRange> selections() const override;

 private:
  int positionAt(const QPointF &point) const;
  void selectAll();
  void select(int anchor, int cursor);
  void copy() const;

  // Indices in the shown text. Equal: nothing is selected.
  int m_anchor = 0;
  int m_cursor = 0;
};

}  // namespace tarvex
