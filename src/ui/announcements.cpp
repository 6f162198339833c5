#include "ui/announcements.h"

#include <cmath>
#include <utility>

namespace tarvex {

void Announcements::note(const ShownLines &lines, Clock::time_point now) {
  const bool isFailure = lines.failures != std::exchange(m_failures, lines.failures);
  if (lines.status == std::exchange(m_status, lines.status) && !isFailure) {
    return;
  }
  m_words.reset();  // words of an older status would be out of date
  if (lines.barHasValue && lines.status.endsWith(u'%')) {
    return;
  }
  m_words = lines.status;
  if (isFailure && !lines.message.isEmpty()) {
    *m_words += u". " + lines.message;
  }
  m_tellsOfFailure = isFailure;

  // A flood: `most` changes came within the span before this one.
  while (!m_changes.empty() && now - m_changes.front() >= span) {
    m_changes.pop_front();
  }
  m_isHeld = m_changes.size() >= most;
  m_due = m_isHeld ? now + calm : now;
  m_changes.push_back(now);
  if (m_changes.size() > most) {
    m_changes.pop_front();
  }
}

std::optional<QString> Announcements::take(Clock::time_point now) {
  if (!m_words || now < m_due) {
    return std::nullopt;
  }
  const QString words = *std::exchange(m_words, std::nullopt);
  const bool isNews = words != std::exchange(m_said, words);
  if (m_isHeld && !m_tellsOfFailure && !isNews) {
    return std::nullopt;  // the flood has ended with the status that was said last
  }
  return words;
}

bool isWorthTelling(double value, Clock::time_point now, double told, Clock::time_point toldAt) {
  constexpr double farther = 10;
  constexpr std::chrono::seconds later{10};
  return value != told && (std::abs(value - told) >= farther || now - toldAt >= later);
}

}  // namespace tarvex
