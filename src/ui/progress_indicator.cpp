#include "ui/progress_indicator.h"

#include <QAccessible>
#include <QPainter>
#include <algorithm>
#include <utility>

#include "ui/palette.h"

namespace tarvex {
namespace {

// Lengths are in device-independent pixels.
constexpr int thickness = 6;
constexpr int ownWidth = 100;
constexpr double trackAlpha = 0.14;
constexpr double movingShare = 0.3;  // of the bar's width
constexpr int crossing = 1400;       // milliseconds

}  // namespace

ProgressIndicator::ProgressIndicator(QWidget *parent)
    : QWidget(parent), m_turnEnd([this] { tell(); }) {
  m_animation.setStartValue(0.0);
  m_animation.setEndValue(1.0);
  m_animation.setDuration(crossing);
  m_animation.setLoopCount(-1);
  connect(&m_animation, &QVariantAnimation::valueChanged, this, [this] { update(); });
}

void ProgressIndicator::setValue(double value) {
  set({value, m_state.indeterminate, m_state.animating});
}

void ProgressIndicator::setIndeterminate(bool indeterminate) {
  set({m_state.value, indeterminate, m_state.animating});
}

void ProgressIndicator::setAnimating(bool animating) {
  set({m_state.value, m_state.indeterminate, animating});
}

void ProgressIndicator::set(State state) {
  if (state != m_state) {
    m_state = state;
    m_turnEnd.schedule();
  }
}

void ProgressIndicator::tell() {
  if (m_state == m_told) {
    return;
  }
  const bool wasIndeterminate = std::exchange(m_told, m_state).indeterminate;
  updateAnimation();
  update();
  if (!QAccessible::isActive()) {
    return;
  }
  if (m_state.indeterminate != wasIndeterminate) {
    QAccessible::State changed;
    changed.busy = true;
    QAccessibleStateChangeEvent change(this, changed);
    QAccessible::updateAccessibility(&change);
  }
  tellValue(wasIndeterminate);
}

// A screen reader says every value that is reported, so only some values are reported.
void ProgressIndicator::tellValue(bool isFirst) {
  const Clock::time_point now = Clock::now();
  const bool hasValue = isVisible() && !m_state.indeterminate;
  // Steps count from the minimum again after each indeterminate phase.
  if (isFirst || !hasValue) {
    m_toldValue = minimum;
    m_toldAt = now;
  }
  if (hasValue && isWorthTelling(m_state.value, now, m_toldValue, m_toldAt)) {
    m_toldValue = m_state.value;
    m_toldAt = now;
    QAccessibleValueChangeEvent change(this, m_state.value);
    QAccessible::updateAccessibility(&change);
  }
}

QSize ProgressIndicator::sizeHint() const {
  return {ownWidth, thickness};
}

void ProgressIndicator::hideEvent(QHideEvent * /*event*/) {
  updateAnimation();
}

void ProgressIndicator::showEvent(QShowEvent * /*event*/) {
  updateAnimation();
}

// The animation stops when the bar cannot be seen: each frame costs processor time.
void ProgressIndicator::updateAnimation() {
  const bool runs =
      m_state.indeterminate && m_state.animating && isVisible() && !window()->isMinimized();
  if (runs != (m_animation.state() == QAbstractAnimation::Running)) {
    runs ? m_animation.start() : m_animation.stop();
  }
}

void ProgressIndicator::paintEvent(QPaintEvent * /*event*/) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  const QRectF track = rect();
  const double radius = track.height() / 2;
  painter.setBrush(withAlpha(Qt::white, trackAlpha));
  painter.drawRoundedRect(track, radius, radius);

  QRectF part = track;
  if (m_state.indeterminate) {
    // From just outside on the left to just outside on the right.
    const double length = track.width() * movingShare;
    const double begin = m_animation.currentValue().toDouble() * (track.width() + length) - length;
    part.setLeft(std::max(begin, 0.0));
    part.setRight(std::min(begin + length, track.width()));
  } else {
    part.setWidth(track.width() * (m_state.value - minimum) / (maximum - minimum));
  }
  if (part.width() > 0) {
    const double partRadius = std::min(radius, part.width() / 2);
    painter.setBrush(gold);
    painter.drawRoundedRect(part, partRadius, partRadius);
  }
}

}  // namespace tarvex
