#include "ui/palette.h"

#include <QApplication>
#include <QPalette>
#include <QPixmapCache>
#include <QThreadPool>
#include <QToolTip>
#include <initializer_list>
#include <utility>

namespace tarvex {

QColor withAlpha(QColor colour, double alpha) {
  colour.setAlphaF(static_cast<float>(alpha));
  return colour;
}

QColor blended(const QColor &colour, double fraction, const QColor &other) {
  const auto mix = [&](int one, int two) { return one * (1 - fraction) + two * fraction; };
  return qRgb(qRound(mix(colour.red(), other.red())), qRound(mix(colour.green(), other.green())),
              qRound(mix(colour.blue(), other.blue())));
}

void styleQt() {
  // No pixmap cache: a timer would wake the idle launcher 30 seconds later to empty it, and there
  // is hardly anything to reuse.
  QPixmapCache::setCacheLimit(0);
  // Qt fills large surfaces with a pool of threads. Idle pool threads would wake just to expire.
  QThreadPool::globalInstance()->setExpiryTimeout(-1);
  // One style for all desktops: themes differ in colours and metrics, but the column of controls
  // has a fixed height.
  QApplication::setStyle(QStringLiteral("Fusion"));
  const QColor raised = blended(forestLight, 0.08, Qt::white);
  QPalette palette;
  const std::initializer_list<std::pair<QPalette::ColorRole, QColor>> roles{
      {QPalette::Window, forest},           {QPalette::WindowText, parchment},
      {QPalette::Base, forestLight},        {QPalette::AlternateBase, forest},
      {QPalette::Text, parchment},          {QPalette::Button, raised},
      {QPalette::ButtonText, parchment},    {QPalette::BrightText, Qt::white},
      {QPalette::Highlight, gold},          {QPalette::HighlightedText, forest},
      {QPalette::ToolTipBase, forestLight}, {QPalette::ToolTipText, parchment},
      {QPalette::PlaceholderText, muted},   {QPalette::Link, gold},
  };
  for (const auto &[role, colour] : roles) {
    palette.setColor(role, colour);
  }
  for (const QPalette::ColorRole role :
       {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    palette.setColor(QPalette::Disabled, role, muted);
  }
  QApplication::setPalette(palette);
  QToolTip::setPalette(palette);
  // Menus are lighter than the window, so that they stand out. The list of regions uses the menu's
  // palette, too.
  for (const QPalette::ColorRole role : {QPalette::Window, QPalette::Base}) {
    palette.setColor(role, raised);
  }
  QApplication::setPalette(palette, "QMenu");
}

}  // namespace tarvex
