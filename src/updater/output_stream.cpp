#include "updater/output_stream.h"

#include <utility>

#include "platform/unicode_text.h"

namespace tarvex {
namespace {

std::optional<QString> lineOf(std::string_view bytes) {
  const QString decoded = decodedUtf8(bytes);
  const QStringView text = trimmed(decoded);
  if (text.isEmpty()) {
    return std::nullopt;
  }
  return text.size() == decoded.size() ? decoded : text.toString();
}

}  // namespace

std::vector<QString> LineAssembler::append(std::string_view chunk) {
  std::vector<QString> lines;
  for (std::size_t end = chunk.find('\n'); end != std::string_view::npos; end = chunk.find('\n')) {
    std::optional<QString> line;
    if (m_incomplete.empty()) {
      line = lineOf(chunk.substr(0, end));
    } else {
      m_incomplete.append(chunk.substr(0, end));
      line = flush();
    }
    if (line) {
      lines.push_back(*std::move(line));
    }
    chunk.remove_prefix(end + 1);
  }
  m_incomplete.append(chunk);
  return lines;
}

std::optional<QString> LineAssembler::flush() {
  // Taken out, not cleared: a line of a gigabyte must not keep its memory for the rest of the day.
  return lineOf(std::exchange(m_incomplete, {}));
}

void LineAssembler::clear() {
  m_incomplete = {};
}

}  // namespace tarvex
