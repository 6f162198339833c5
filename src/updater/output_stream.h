// The updater's output, from bytes to lines.
#pragma once

#include <QString>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarvex {

// Cuts a byte stream at line feeds, wherever its chunks end. Each line is decoded as a whole
// (UTF-8, ill-formed sequences replaced), trimmed of white space at both ends, and left out when
// nothing remains. There is no limit on the length of a line; cost is linear in the bytes.
class LineAssembler {
 public:
  // The lines that the chunk completes, in order.
  std::vector<QString> append(std::string_view chunk);

  // The last line of a stream that did not end with a line feed.
  std::optional<QString> flush();

  void clear();

 private:
  std::string m_incomplete;  // never holds a line feed
};

}  // namespace tarvex
