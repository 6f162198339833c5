#include "updater/output_stream.h"

#include <optional>
#include <utility>

#include "text/unicode_text.h"

namespace tarvex {
namespace {

// `bytes` is one line with its line feed.
void handOver(std::string_view bytes, const LineAssembler::Use &use) {
  const std::optional<std::string> repaired = repairedUtf8(bytes);
  const std::string_view line = repaired ? *repaired : bytes;
  const std::string_view text = trimmed(line);
  if (text.empty()) {
    return;
  }
  // Without white space at the end, the entry is a part of the line: no copy.
  const auto begin = static_cast<std::size_t>(text.data() - line.data());
  if (begin + text.size() + 1 == line.size()) {
    use({line.substr(begin)});
  } else {
    const std::string entry = std::string(text) + '\n';
    use({entry});
  }
}

}  // namespace

void LineAssembler::append(std::string_view chunk, const Use &use) {
  for (std::size_t end = chunk.find('\n'); end != std::string_view::npos; end = chunk.find('\n')) {
    const std::string_view rest = chunk.substr(0, end + 1);
    chunk.remove_prefix(end + 1);
    if (m_incomplete.empty()) {
      handOver(rest, use);
    } else {
      m_incomplete.append(rest);
      handOver(std::exchange(m_incomplete, {}), use);
    }
  }
  m_incomplete.append(chunk);
}

void LineAssembler::flush(const Use &use) {
  // exchange, not clear(), which would keep the memory of a very long line.
  handOver(std::exchange(m_incomplete, {}) + '\n', use);
}

void LineAssembler::clear() {
  m_incomplete = {};
}

}  // namespace tarvex
