// Fuzz targets for everything that parses external input. The environment variable
// TARVEX_FUZZ_TARGET names the target to run.
#include <sys/mman.h>
#include <unistd.h>

#include <QRegularExpression>
#include <QStringList>
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "app/launch_options.h"
#include "install/installed_metadata.h"
#include "install/region_catalogue.h"
#include "platform/bundle.h"
#include "text/unicode_text.h"
#include "updater/output_stream.h"
#include "updater/progress_lines.h"
#include "updater/relaunch.h"

using namespace tarvex;

namespace {

// The fuzzer catches the signal, prints the stack and saves the input.
void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

// The forms of identifiers a second time, written independently as regular expressions.
const QString regionId = "[a-z][a-z0-9-]{0,31}";
const QString launcherVersion = "[0-9a-f]{16}";
const QString clientRelease = "[A-Za-z0-9][A-Za-z0-9._-]{0,63}";
const QString worldVersion = R"([0-9]{1,9}\.[0-9]{1,9}\.[0-9]{1,9}\.[0-9a-f]{12})";

bool fits(const std::optional<QString> &text, const QString &form) {
  return !text ||
         QRegularExpression(QRegularExpression::anchoredPattern(form)).match(*text).hasMatch();
}

// Each line of the input is an argument. A relaunch must pass the parsed options on unchanged, and
// add --continue.
void launchOptions(const std::string &input) {
  std::vector<std::string> arguments{"launcher"};
  for (const QByteArray &argument : QByteArray::fromStdString(input).split('\n')) {
    arguments.push_back(argument.toStdString());
  }
  LaunchOptions options = LaunchOptions::parse(arguments);
  require(fits(options.region, regionId) && fits(options.relaunchedFrom, launcherVersion));
  std::vector<std::string> next =
      relaunchArguments({"/a.app", options.region, options.relaunchedFrom, options.noSelfUpdate,
                         options.gameArguments});
  next.erase(next.begin(), std::find(next.begin(), next.end(), "--args"));
  options.automaticContinue = true;
  require(LaunchOptions::parse(next) == options);
}

struct Seen {
  QStringList log;
  std::vector<LineEffect> effects;

  void take(const std::string &line) {
    log.append(decodedUtf8(line));
    for (const Mode mode : {Mode::check, Mode::update, Mode::play}) {
      const LineEffect effect = interpretLine(line, mode, u"North").value_or(LineEffect());
      require(effect.percentage >= 0 && effect.percentage <= 100);
      require(mode != Mode::check ||
              (effect.bar == LineEffect::Bar::unchanged && !effect.status && !effect.versionLine));
      effects.push_back(effect);
    }
  }
  bool operator==(const Seen &) const = default;
};

// The log and the effects must not depend on where the stream is cut.
void output(const std::string &input) {
  Seen expected;
  for (const QByteArray &bytes : QByteArray::fromStdString(input).split('\n')) {
    const std::string line = decodedUtf8(bytes.toStdString()).toStdString();
    if (!trimmed(line).empty()) {
      expected.take(std::string(trimmed(line)));
    }
  }
  for (const unsigned most : {1U, 4U, 256U}) {
    LineAssembler assembler;
    Seen seen;
    const auto use = [&](const OutputLine &line) {
      require(line.entry.back() == '\n');
      seen.take(std::string(line.text()));
    };
    for (std::string_view left = input; !left.empty();) {
      // The input's bytes also choose the cuts, so the fuzzer can vary them.
      const std::string_view chunk = left.substr(0, 1 + std::uint8_t(left.front()) % most);
      left.remove_prefix(chunk.size());
      assembler.append(chunk, use);
    }
    assembler.flush(use);
    require(seen == expected);
  }
}

void checkReport(const std::string &input) {
  static const QRegularExpression form(QRegularExpression::anchoredPattern(
      " *UPDATE_CHECK +launcher=(?:current|unknown|unpackaged|unconfigured|available:(" +
      launcherVersion + ")) +client=(?:current|available:(" + clientRelease +
      "))(?: +world=(?:unknown|" + worldVersion + "))? *"));
  const QString line = decodedUtf8(input);
  const auto match = form.match(line);
  const auto outcome = parseCheck(line);
  require(match.hasMatch() == outcome.has_value());
  require(!outcome || (outcome->launcherVersion.value_or("") == match.captured(1) &&
                       outcome->clientRelease.value_or("") == match.captured(2)));
}

void catalogue(const std::string &input) {
  if (const auto regions = parseRegions(input)) {
    std::set<QString> ids;
    for (const Region &region : regions->regions) {
      require(fits(region.id, regionId) && ids.insert(region.id).second);
    }
    require(!ids.empty());
  }
}

void metadata(const std::string &input) {
  if (const auto installed = parseInstalledMetadata(input)) {
    require(fits(installed->world, worldVersion));
    require(footerText({}, *installed).contains(installed->release));
    const QString line = installedVersionText("Version", *installed);
    const QString beforeRevision = "Version " + installed->release + "  •  source ";
    require(line.startsWith(beforeRevision));
    require(installed->revision.startsWith(line.sliced(beforeRevision.size())));
  }
}

void informationList(const std::string &input) {
  const int file = ::memfd_create("Info.plist", 0);
  require(::write(file, input.data(), input.size()) == static_cast<ssize_t>(input.size()));
  readInformation("/proc/self/fd/" + std::to_string(file));
  ::close(file);
}

const std::map<std::string, void (*)(const std::string &)> targets{
    {"catalogue", catalogue}, {"check_report", checkReport},     {"info_plist", informationList},
    {"metadata", metadata},   {"launch_options", launchOptions}, {"output", output},
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const auto target = targets.at(qgetenv("TARVEX_FUZZ_TARGET").toStdString());
  target({data, data + size});
  return 0;
}
