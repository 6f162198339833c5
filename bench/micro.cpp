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

void use(std::string_view entry) {
  benchmark::DoNotOptimize(entry);
}

// One line without an end, in chunks: MiB, chunk size.
void assembleLongLine(benchmark::State &state) {
  const std::string line(static_cast<std::size_t>(state.range(0)) << 20U, 'x');
  for (auto _ : state) {
    LineAssembler assembler;
    inChunks(line, static_cast<std::size_t>(state.range(1)),
             [&](std::string_view chunk) { assembler.append(chunk, use); });
    assembler.flush(use);
  }
  setBytes(state, line.size());
}
// The same bytes, looked through for a line end and appended to a text.
void assembleLongLineBaseline(benchmark::State &state) {
  const std::string line(static_cast<std::size_t>(state.range(0)) << 20U, 'x');
  for (auto _ : state) {
    std::string text;
    inChunks(line, static_cast<std::size_t>(state.range(1)), [&](std::string_view chunk) {
      benchmark::DoNotOptimize(std::memchr(chunk.data(), '\n', chunk.size()));
      text.append(chunk);
    });
    benchmark::DoNotOptimize(text);
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
    assembler.append(lineOf60, use);
  }
  setBytes(state, lineOf60.size());
}
void assembleLinesBaseline(benchmark::State &state) {
  for (auto _ : state) {
    const auto *const end =
        static_cast<const char *>(std::memchr(lineOf60.data(), '\n', lineOf60.size()));
    benchmark::DoNotOptimize(end);
  }
  setBytes(state, lineOf60.size());
}
BENCHMARK(assembleLines);
BENCHMARK(assembleLinesBaseline);

// A line's effect, beside a copy of the line.
void interpret(benchmark::State &state, const char *text) {
  const std::string line = text;
  const std::optional<QString> region = QStringLiteral("Aurora Reach");
  for (auto _ : state) {
    benchmark::DoNotOptimize(interpretLine(line, Mode::update, region));
  }
}
void copyOfLine(benchmark::State &state, const char *text) {
  const std::string line = text;
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::string(line));
  }
}
constexpr const char *otherLine = "Copied assets/terrain/highlands/tile-0042.mesh to client r7";
constexpr const char *download = "Downloading client: 42% of the release, at the full speed..";
constexpr const char *report =
    "UPDATE_CHECK launcher=available:0123456789abcdef client=available:r7 "
    "world=1.2.3.0123456789ab";
BENCHMARK_CAPTURE(interpret, other, otherLine);
BENCHMARK_CAPTURE(copyOfLine, other, otherLine);
BENCHMARK_CAPTURE(interpret, download, download);
BENCHMARK_CAPTURE(copyOfLine, download, download);

void checkReport(benchmark::State &state) {
  const QString line = QString::fromUtf8(report);
  for (auto _ : state) {
    benchmark::DoNotOptimize(parseCheck(line));
  }
}
BENCHMARK(checkReport);
BENCHMARK_CAPTURE(copyOfLine, report, report);

}  // namespace

BENCHMARK_MAIN();
