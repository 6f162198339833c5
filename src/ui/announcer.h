// Makes a screen reader say the changes of the window, wherever the focus is. announcements.h has
// the rules. The announcer gives them the window's lines and a clock, and shows their words as
// AT-SPI notifications. Main thread.
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

// An object of the role "notification" that belongs to a window and has no place in it. A screen
// reader says its words when it appears.
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
  // The arguments must outlive the announcer.
  Announcer(QWidget &window, const Label &status, const Label &message,
            const ProgressIndicator &progress);

  // The lines show a failure now, perhaps with the same words as the failure before.
  void failed() { ++m_failures; }

  // Makes a screen reader say the words that are due. Call it when the lines may have changed, and
  // when the window has become active. Before the window is first active, no words are said: the
  // screen reader would say the window's title after them.
  void announce();

 private:
  QWidget &m_window;
  const Label &m_status;
  const Label &m_message;
  const ProgressIndicator &m_progress;
  int m_failures = 0;
  bool m_isIntroduced = false;  // the window was active, so a screen reader has said its title
  Announcements m_announcements;
  QTimer m_calm;
  // Words in quick succession need one object each: a screen reader asks for the words only later.
  std::array<std::unique_ptr<Notice>, Announcements::most> m_notices;
  std::size_t m_next = 0;
};

}  // namespace tarvex
