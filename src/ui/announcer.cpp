#include "ui/announcer.h"

#include <QAccessible>

#include "ui/label.h"
#include "ui/progress_indicator.h"

namespace tarvex {

// A screen reader says a notification when it appears, so it is hidden and shown again.
void Notice::show(const QString &words) {
  m_words = words;
  for (const QAccessible::Event kind :
       {QAccessible::NameChanged, QAccessible::ObjectHide, QAccessible::ObjectShow}) {
    QAccessibleEvent event(this, kind);
    QAccessible::updateAccessibility(&event);
  }
}

Announcer::Announcer(QWidget &window, const Label &status, const Label &message,
                     const ProgressIndicator &progress)
    : m_window(window), m_status(status), m_message(message), m_progress(progress) {
  for (auto &notice : m_notices) {
    notice = std::make_unique<Notice>(window);
  }
  m_calm.setSingleShot(true);
  connect(&m_calm, &QTimer::timeout, this, &Announcer::announce);
}

void Announcer::announce() {
  m_isIntroduced = m_isIntroduced || m_window.isActiveWindow();
  if (!QAccessible::isActive() || !m_isIntroduced || !m_window.isVisible()) {
    return;
  }
  const Clock::time_point now = Clock::now();
  m_announcements.note({.status = m_status.text(),
                        .message = m_message.text(),
                        .barHasValue = m_progress.isVisible() && !m_progress.isIndeterminate(),
                        .failures = m_failures},
                       now);
  if (const auto words = m_announcements.take(now)) {
    m_notices[m_next++ % m_notices.size()]->show(*words);
  }
  // Rounded up: if the timer fired early, no words would be due yet.
  if (const auto due = m_announcements.due()) {
    m_calm.start(std::chrono::ceil<std::chrono::milliseconds>(*due - now));
  }
}

}  // namespace tarvex
