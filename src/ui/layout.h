// The layout of the window: a column of controls, given as equalities between their anchors. A
// plain function over values. All sizes are in device-independent pixels.
#pragma once

#include <QRect>
#include <QSize>
#include <array>
#include <cstddef>
#include <functional>
#include <optional>

namespace tarvex {

// In stacking order, the lowest first. The footer must stay the last value for controlCount.
enum class Control : std::size_t {
  title,
  subtitle,
  regionCaption,
  regionPicker,
  status,
  version,
  progress,
  playButton,
  logButton,
  footer,
};
inline constexpr std::size_t controlCount = static_cast<std::size_t>(Control::footer) + 1;

template <typename Value>
using PerControl = std::array<Value, controlCount>;

inline constexpr QSize contentSize{540, 365};

// The preferred size of a control. If a width is given, the height is that for this width.
using IntrinsicSize = std::function<QSize(Control, std::optional<int> width)>;

// The frames of all controls in the backdrop's coordinates.
PerControl<QRect> layOut(const IntrinsicSize &intrinsicSize);

}  // namespace tarvex
