// What the plain functions on the way of a line cost, each beside the least that its work can cost.
#include <benchmark/benchmark.h>

#include <QString>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "updater/check_report.h"
#include "updater/output_stream.h"
#include "updater/progress_lines.h"

namespace {

using namespace tarvex;

const std::string lineOf60 = "Copied assets/terrain/highlands/tile-0042.mesh to client r7\n";

void setBytes(benchmark::State &state, std::size_t bytes) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

// Calls use(chunk) for the whole of the bytes.
template <typename Use>
void inChunks(std::string_view bytes, std::size_t size, Use use) {
  for (; !bytes.empty(); bytes.remove_prefix(std::min(size, bytes.size()))) {
    use(bytes.substr(0, size));
  }
}

// One line without an end, in chunks: MiB, chunk size.
void assembleLongLine(benchmark::State &state) {
  const std::string line(static_cast<std::size_t>(state.range(0)) << 20U, 'x');
  for (auto _ : state) {
    LineAssembler assembler;
    inChunks(line, static_cast<std::size_t>(state.range(1)),
             [&](std::string_view chunk) { benchmark::DoNotOptimize(assembler.append(chunk)); });
    benchmark::DoNotOptimize(assembler.flush());
  }
  setBytes(state, line.size());
}
// The same bytes, looked through for a line end, appended to a text, and widened to UTF-16.
void assembleLongLineBaseline(benchmark::State &state) {
  const std::string line(static_cast<std::size_t>(state.range(0)) << 20U, 'x');
  for (auto _ : state) {
    std::string text;
    inChunks(line, static_cast<std::size_t>(state.range(1)), [&](std::string_view chunk) {
      benchmark::DoNotOptimize(std::memchr(chunk.data(), '\n', chunk.size()));
      text.append(chunk);
    });
    benchmark::DoNotOptimize(QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size())));
  }
  setBytes(state, line.size());
}
void longLines(benchmark::internal::Benchmark *one) {
  for (const int chunk : {1, 7, 64, 4096, 65536, 1 << 20}) {
    one->Args({256, chunk});
  }
  for (const int chunk : {1, 64, 65536}) {
    one->Args({32, chunk});
  }
  one->Iterations(1)->Unit(benchmark::kMillisecond);
}
BENCHMARK(assembleLongLine)->Apply(longLines);
BENCHMARK(assembleLongLineBaseline)->Apply(longLines);

void assembleLines(benchmark::State &state) {
  LineAssembler assembler;
  for (auto _ : state) {
    benchmark::DoNotOptimize(assembler.append(lineOf60));
  }
  setBytes(state, lineOf60.size());
}
void assembleLinesBaseline(benchmark::State &state) {
  for (auto _ : state) {
    const auto *const end =
        static_cast<const char *>(std::memchr(lineOf60.data(), '\n', lineOf60.size()));
    benchmark::DoNotOptimize(QString::fromLatin1(lineOf60.data(), end - lineOf60.data()));
  }
  setBytes(state, lineOf60.size());
}
BENCHMARK(assembleLines);
BENCHMARK(assembleLinesBaseline);

// A line's effect, beside a copy of the line.
void interpret(benchmark::State &state, const char16_t *text) {
  const QString line = QString::fromUtf16(text);
  const std::optional<QString> region = QStringLiteral("Aurora Reach");
  for (auto _ : state) {
    benchmark::DoNotOptimize(interpretLine(line, Mode::update, region));
  }
}
void copyOfLine(benchmark::State &state, const char16_t *text) {
  const QString line = QString::fromUtf16(text);
  for (auto _ : state) {
    benchmark::DoNotOptimize(QString(line.constData(), line.size()));
  }
}
constexpr const char16_t *otherLine =
    u"Copied assets/terrain/highlands/tile-0042.mesh to client r7";
constexpr const char16_t *download = u"Downloading client: 42% of the release, at the full speed..";
constexpr const char16_t *report =
    u"UPDATE_CHECK launcher=available:0123456789abcdef client=available:r7 "
    u"world=1.2.3.0123456789ab";
BENCHMARK_CAPTURE(interpret, other, otherLine);
BENCHMARK_CAPTURE(copyOfLine, other, otherLine);
BENCHMARK_CAPTURE(interpret, download, download);
BENCHMARK_CAPTURE(copyOfLine, download, download);

void checkReport(benchmark::State &state) {
  const QString line = QString::fromUtf16(report);
  for (auto _ : state) {
    benchmark::DoNotOptimize(parseCheck(line));
  }
}
BENCHMARK(checkReport);
BENCHMARK_CAPTURE(copyOfLine, report, report);

}  // namespace

BENCHMARK_MAIN();
