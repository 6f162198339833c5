// Turns the updater's output from bytes into lines. Values and callbacks, for any one thread; no
// process in it.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace tarvex {

// One line of the output: well-formed UTF-8, trimmed, never empty. The bytes belong to the
// assembler.
struct OutputLine {
  std::string_view entry;  // as it goes into the log, with one line feed at its end
  std::string_view text() const { return entry.substr(0, entry.size() - 1); }
};

// Splits a byte stream at line feeds. Chunks may end at any byte, also within a character. Each
// complete line is made well-formed UTF-8 (ill-formed sequences are replaced) and trimmed of white
// space at both ends; an empty line is dropped. A line may have any length. The cost is linear in
// the number of bytes.
class LineAssembler {
 public:
  // Takes a line, which is valid during the call. The call must not use the assembler.
  using Use = std::function<void(const OutputLine &line)>;

  // Hands over the lines that the chunk completes, in order.
  void append(std::string_view chunk, const Use &use);

  // Hands over the last line of a stream that did not end with a line feed.
  void flush(const Use &use);

  // Drops an incomplete line.
  void clear();

 private:
  std::string m_incomplete;  // never holds a line feed
};

}  // namespace tarvex
