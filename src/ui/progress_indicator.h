// A slim progress bar whose properties are independent of one another: value, determinate or not,
// animating or not, visible or not. A bar that is indeterminate and animating shows something
// moving while it is visible; one that is indeterminate and does not animate stands still.
#pragma once

#include <QVariantAnimation>
#include <QWidget>

namespace tarvex {

class ProgressIndicator : public QWidget {
 public:
  static constexpr double minimum = 0;
  static constexpr double maximum = 100;

  explicit ProgressIndicator(QWidget *parent = nullptr);

  double value() const { return m_value; }
  void setValue(double value);  // from minimum to maximum
  bool isIndeterminate() const { return m_indeterminate; }
  void setIndeterminate(bool indeterminate);
  bool isAnimating() const { return m_animating; }
  void setAnimating(bool animating);

  QSize sizeHint() const override;

 protected:
  void hideEvent(QHideEvent *event) override;
  void paintEvent(QPaintEvent *event) override;
  void showEvent(QShowEvent *event) override;

 private:
  void updateAnimation();

  double m_value = minimum;
  bool m_indeterminate = false;
  bool m_animating = false;
  QVariantAnimation m_animation;  // the moving part's way across the bar, from 0 to 1
};

}  // namespace tarvex
