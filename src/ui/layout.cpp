#include "ui/layout.h"

#include <QRectF>
#include <algorithm>
#include <cmath>
#include <span>

namespace tarvex {
namespace {

enum class Anchor : std::size_t { top, bottom, centreY, height, leading, trailing, centreX, width };
constexpr std::size_t anchorCount = 8;

struct Place {
  std::optional<Control> control;  // absent: the backdrop
  Anchor anchor;
};

// Control.anchor = other + constant. Positive is to the right and downwards. Without `other`, the
// constant is a size.
struct Constraint {
  Control control;
  Anchor anchor;
  std::optional<Place> other;
  int constant;
};

constexpr std::optional<Place> none{};
constexpr std::optional<Place> backdrop(Anchor anchor) {
  return Place{std::nullopt, anchor};
}
constexpr std::optional<Place> of(Control control, Anchor anchor) {
  return Place{control, anchor};
}

// The rows of a control are adjacent, and come after the rows of the controls that they refer to.
// So layOut solves them in one pass.
constexpr Constraint constraints[] = {
    {Control::title, Anchor::top, backdrop(Anchor::top), 42},
    {Control::title, Anchor::centreX, backdrop(Anchor::centreX), 0},
    {Control::subtitle, Anchor::top, of(Control::title, Anchor::bottom), 4},
    {Control::subtitle, Anchor::centreX, backdrop(Anchor::centreX), 0},
    {Control::regionPicker, Anchor::top, of(Control::subtitle, Anchor::bottom), 22},
    {Control::regionPicker, Anchor::centreX, backdrop(Anchor::centreX), 24},
    {Control::regionPicker, Anchor::width, none, 170},
    {Control::regionCaption, Anchor::trailing, of(Control::regionPicker, Anchor::leading), -12},
    {Control::regionCaption, Anchor::centreY, of(Control::regionPicker, Anchor::centreY), 0},
    {Control::status, Anchor::top, of(Control::regionPicker, Anchor::bottom), 21},
    {Control::status, Anchor::leading, backdrop(Anchor::leading), 48},
    {Control::status, Anchor::trailing, backdrop(Anchor::trailing), -48},
    {Control::version, Anchor::top, of(Control::status, Anchor::bottom), 7},
    {Control::version, Anchor::leading, backdrop(Anchor::leading), 48},
    {Control::version, Anchor::trailing, backdrop(Anchor::trailing), -48},
    {Control::progress, Anchor::top, of(Control::version, Anchor::bottom), 17},
    {Control::progress, Anchor::centreX, backdrop(Anchor::centreX), 0},
    {Control::progress, Anchor::width, none, 300},
    {Control::playButton, Anchor::top, of(Control::progress, Anchor::bottom), 17},
    {Control::playButton, Anchor::centreX, backdrop(Anchor::centreX), 0},
    {Control::playButton, Anchor::width, none, 172},
    {Control::playButton, Anchor::height, none, 42},
    {Control::logButton, Anchor::top, of(Control::playButton, Anchor::bottom), 7},
    {Control::logButton, Anchor::centreX, backdrop(Anchor::centreX), 0},
    {Control::footer, Anchor::bottom, backdrop(Anchor::bottom), -12},
    {Control::footer, Anchor::centreX, backdrop(Anchor::centreX), 0},
};

// Each control has a row.
static_assert([] {
  std::array<bool, controlCount> placed{};
  for (const Constraint &row : constraints) {
    placed.at(static_cast<std::size_t>(row.control)) = true;
  }
  return std::all_of(placed.begin(), placed.end(), [](bool isPlaced) { return isPlaced; });
}());

double positionOf(const QRectF &frame, Anchor anchor) {
  switch (anchor) {
    case Anchor::top:
      return frame.top();
    case Anchor::bottom:
      return frame.bottom();
    case Anchor::centreY:
      return frame.center().y();
    case Anchor::leading:
      return frame.left();
    case Anchor::trailing:
      return frame.right();
    case Anchor::centreX:
      return frame.center().x();
    case Anchor::width:
      return frame.width();
    case Anchor::height:
      return frame.height();
  }
  return 0;
}

// The left or upper edge, from the first of these anchors that is known.
double beginning(std::optional<double> begin, std::optional<double> centre,
                 std::optional<double> end, double size) {
  return begin ? *begin : centre ? *centre - size / 2 : *end - size;
}

// Solves the rows of one control.
QRectF placed(std::span<const Constraint> rows, const PerControl<QRectF> &frames,
              const IntrinsicSize &intrinsicSize) {
  std::array<std::optional<double>, anchorCount> anchors;
  const auto at = [&](Anchor anchor) -> std::optional<double> & {
    return anchors[static_cast<std::size_t>(anchor)];
  };
  for (const Constraint &row : rows) {
    double position = row.constant;
    if (row.other) {
      position +=
          positionOf(row.other->control ? frames[static_cast<std::size_t>(*row.other->control)]
                                        : QRectF({0, 0}, QSizeF(contentSize)),
                     row.other->anchor);
    }
    at(row.anchor) = position;
  }
  // The width first: the intrinsic height of a text depends on it.
  if (at(Anchor::leading) && at(Anchor::trailing)) {
    at(Anchor::width) = *at(Anchor::trailing) - *at(Anchor::leading);
  }
  const std::optional<double> &settled = at(Anchor::width);
  const QSize wanted = intrinsicSize(
      rows.front().control, settled ? std::optional(static_cast<int>(*settled)) : std::nullopt);
  const double width = settled.value_or(wanted.width());
  const double height = at(Anchor::height).value_or(wanted.height());
  return {beginning(at(Anchor::leading), at(Anchor::centreX), at(Anchor::trailing), width),
          beginning(at(Anchor::top), at(Anchor::centreY), at(Anchor::bottom), height), width,
          height};
}

}  // namespace

PerControl<QRect> layOut(const IntrinsicSize &intrinsicSize) {
  PerControl<QRectF> frames;
  const std::span all(constraints);
  for (auto row = all.begin(); row != all.end();) {
    const Control control = row->control;
    const auto next = std::find_if(
        row, all.end(), [&](const Constraint &other) { return other.control != control; });
    frames[static_cast<std::size_t>(control)] = placed(std::span(row, next), frames, intrinsicSize);
    row = next;
  }
  PerControl<QRect> result;
  std::transform(frames.begin(), frames.end(), result.begin(), [](const QRectF &frame) {
    return QRect(static_cast<int>(std::lround(frame.x())), static_cast<int>(std::lround(frame.y())),
                 static_cast<int>(frame.width()), static_cast<int>(frame.height()));
  });
  return result;
}

}  // namespace tarvex
