// The rules for the words that a screen reader says about the window. Plain values without a clock
// or a screen reader: the caller passes the time and announces the words. Any one thread.
#pragma once

#include <QString>
#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>

namespace tarvex {

using Clock = std::chrono::steady_clock;

// The window's lines at the end of a turn of the event loop.
struct ShownLines {
  QString status;
  QString message{};         // the line below the status
  bool barHasValue = false;  // the progress bar is visible and determinate
  int failures = 0;          // shown so far; a higher number marks another failure
};

// Each change of the status is said once. A failure is said with its message, and again when the
// next attempt fails in the same way. A status that ends with the bar's percentage is not said: the
// bar reports its value itself. More than `most` changes within `span` are a flood: nothing is said
// until `calm` has passed without a change, then only the last status.
class Announcements {
 public:
  static constexpr std::size_t most = 6;
  static constexpr std::chrono::seconds span{2};
  static constexpr std::chrono::seconds calm{1};

  void note(const ShownLines &lines, Clock::time_point now);

  // The words to say now, if there are any. They count as said.
  std::optional<QString> take(Clock::time_point now);

  // The time from which `take` returns waiting words. Absent when no words are waiting.
  std::optional<Clock::time_point> due() const {
    return m_words ? std::optional(m_due) : std::nullopt;
  }

 private:
  QString m_status;
  int m_failures = 0;
  std::deque<Clock::time_point> m_changes;  // the last ones, at most `most`
  std::optional<QString> m_words;           // waiting to be said
  bool m_tellsOfFailure = false;            // m_words report a failure
  bool m_isHeld = false;                    // m_words wait for the end of a flood
  Clock::time_point m_due{};
  QString m_said;  // the last words that were taken
};

// Whether a progress bar's value (0 to 100) should be reported: it differs from the last reported
// value by at least 10, or by any amount after 10 seconds.
bool isWorthTelling(double value, Clock::time_point now, double told, Clock::time_point toldAt);

}  // namespace tarvex
