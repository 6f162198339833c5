// The updater's output, from bytes to lines.
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

// Cuts a byte stream at line feeds, wherever its chunks end. Each line is made well-formed UTF-8 as
// a whole (ill-formed sequences are replaced), trimmed of white space at both ends, and left out
// when nothing remains. There is no limit on the length of a line; cost is linear in the bytes.
class LineAssembler {
 public:
  // Takes a line, which is valid during the call. The call must leave the assembler alone.
  using Use = std::function<void(const OutputLine &line)>;

  // Hands over the lines that the chunk completes, in order.
  void append(std::string_view chunk, const Use &use);

  // Hands over the last line of a stream that did not end with a line feed.
  void flush(const Use &use);

  void clear();

 private:
  std::string m_incomplete;  // never holds a line feed
};

}  // namespace tarvex
