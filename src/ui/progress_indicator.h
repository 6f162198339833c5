// A slim progress bar whose properties are independent of one another: value, determinate or not,
// animating or not, visible or not. A bar that is indeterminate and animating shows something
// moving while it is visible; one that is indeterminate and does not animate stands still. The
// picture and assistive technology follow once, when the turn of the event loop ends.
#pragma once

#include <QVariantAnimation>
#include <QWidget>

#include "platform/turn_end.h"
#include "ui/announcements.h"

namespace tarvex {

class ProgressIndicator : public QWidget {
 public:
  static constexpr double minimum = 0;
  static constexpr double maximum = 100;

  explicit ProgressIndicator(QWidget *parent = nullptr);

  double value() const { return m_state.value; }
  void setValue(double value);  // from minimum to maximum
  bool isIndeterminate() const { return m_state.indeterminate; }
  void setIndeterminate(bool indeterminate);
  bool isAnimating() const { return m_state.animating; }
  void setAnimating(bool animating);

  QSize sizeHint() const override;

 protected:
  void hideEvent(QHideEvent *event) override;
  void paintEvent(QPaintEvent *event) override;
  void showEvent(QShowEvent *event) override;

 private:
  struct State {
    double value = minimum;
    bool indeterminate = false;
    bool animating = false;
    bool operator==(const State &) const = default;
  };
  void set(State state);
  void tell();
  void tellValue(bool isFirst);
  void updateAnimation();

  State m_state;
  State m_told;
  double m_toldValue = minimum;
  Clock::time_point m_toldAt{};
  TurnEnd m_turnEnd;
  QVariantAnimation m_animation;  // the moving part's way across the bar, from 0 to 1
};

}  // namespace tarvex
