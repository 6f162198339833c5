// The rules of what the window says to a player who does not look at it. They are values in, words
// out, with no clock and no screen reader in them.
#pragma once

#include <QString>
#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>

namespace tarvex {

using Clock = std::chrono::steady_clock;

// What the window shows when a turn of the event loop ends.
struct ShownLines {
  QString status;
  QString message{};         // the line below the status
  bool barHasValue = false;  // the progress bar is visible and determinate
  int failures = 0;          // so far; one more than before: the lines tell of another failure
};

// Each change of the status is said once. A failure is said with the message, and said again when
// the next attempt fails in the same way. A status that ends with the bar's percentage is left to
// the bar. More than `most` changes within `span` are a flood: nothing is said until `calm` has
// passed without a change, and then the last status alone.
class Announcements {
 public:
  static constexpr std::size_t most = 6;
  static constexpr std::chrono::seconds span{2};
  static constexpr std::chrono::seconds calm{1};

  void note(const ShownLines &lines, Clock::time_point now);

  // The words that are due. They count as said.
  std::optional<QString> take(Clock::time_point now);

  // When words that wait will be due; absent: none wait.
  std::optional<Clock::time_point> due() const {
    return m_words ? std::optional(m_due) : std::nullopt;
  }

 private:
  QString m_status;
  int m_failures = 0;
  std::deque<Clock::time_point> m_changes;  // the last ones, `most` at most
  std::optional<QString> m_words;
  bool m_tellsOfFailure = false;  // m_words does
  bool m_isHeld = false;          // m_words wait for the end of a flood
  Clock::time_point m_due{};
  QString m_said;
};

// A progress bar's value is worth telling when it is ten of a hundred away from the one that was
// told last, or another ten seconds later.
bool isWorthTelling(double value, Clock::time_point now, double told, Clock::time_point toldAt);

}  // namespace tarvex
