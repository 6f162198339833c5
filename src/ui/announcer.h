// The window's voice: what a screen reader says of it wherever the focus is. announcements.h has
// the rules; this gives them the window's lines and a clock, and shows their words as
// notifications.
#pragma once

#include <QObject>
#include <QString>
#include <QTimer>
#include <QWidget>
#include <array>
#include <cstddef>
#include <memory>

#include "ui/announcements.h"

namespace tarvex {

class Label;
class ProgressIndicator;

// Words that belong to a window, without a place in it. A screen reader says them when it finds a
// notification that comes into view.
class Notice : public QObject {
 public:
  explicit Notice(QWidget &window) : m_window(window) {}

  void show(const QString &words);
  const QString &words() const { return m_words; }
  QWidget &window() const { return m_window; }

 private:
  QWidget &m_window;
  QString m_words;
};

class Announcer : public QObject {
 public:
  // All must outlive the announcer.
  Announcer(QWidget &window, const Label &status, const Label &message,
            const ProgressIndicator &progress);

  // The lines tell of a failure, which may look like the one before.
  void failed() { ++m_failures; }

  // Says what there is to say. To be called when the lines may have changed, and when the window
  // has become active: before, a screen reader would say its title last.
  void announce();

 private:
  QWidget &m_window;
  const Label &m_status;
  const Label &m_message;
  const ProgressIndicator &m_progress;
  int m_failures = 0;
  bool m_isIntroduced = false;  // the window has been active: a screen reader has said its title
  Announcements m_announcements;
  QTimer m_calm;
  // As many as may be said in quick succession: a screen reader asks for the words later.
  std::array<std::unique_ptr<Notice>, Announcements::most> m_notices;
  std::size_t m_next = 0;
};

}  // namespace tarvex
