// A slim progress bar with independent properties: value, indeterminate, animating, visible. An
// indeterminate bar has a part that moves while the bar is animating and visible. Changes are
// painted and reported to assistive technology once, at the end of the turn of the event loop. Main
// thread.
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
  QVariantAnimation m_animation;  // position of the moving part, from 0 (left) to 1 (right)
};

}  // namespace tarvex
