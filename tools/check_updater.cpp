// Takes an updater through its runs as the launcher would, with the launcher's own code and without
// its window, and says for each line what the launcher understands, shows and decides.
#include <unistd.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSocketNotifier>
#include <QTemporaryDir>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>

#include "install/installed_metadata.h"
#include "install/json.h"
#include "install/locations.h"
#include "install/region_catalogue.h"
#include "line_report.h"
#include "platform/bundle.h"
#include "platform/child_process.h"
#include "platform/durable_file.h"
#include "platform/event_descriptors.h"
#include "platform/startup.h"
#include "text/unicode_text.h"
#include "updater/failures.h"
#include "updater/invocation.h"
#include "updater/output_stream.h"
#include "updater/relaunch.h"
#include "updater/run_completion.h"

namespace tarvex {
namespace {

enum ExitStatus { succeeded = 0, failed = 1, notUnderstood = 2, interrupted = 130 };

void say(const QString &text) {
  std::fputs((text + u'\n').toUtf8().constData(), stdout);
  std::fflush(stdout);
}

void warn(const QString &text) {
  say(u"      warning: " + text);
}

QString words(const std::string &program, const std::vector<std::string> &arguments) {
  QString all = QString::fromStdString(program);
  for (const std::string &argument : arguments) {
    const QString word = QString::fromStdString(argument);
    const bool isPlain = !word.isEmpty() && !word.contains(u' ') && !word.contains(u'\'');
    all += u' ' +
           (isPlain ? word
                    : u'\'' + QString(word).replace(QStringLiteral("'"), QStringLiteral("'\\''")) +
                          u'\'');
  }
  return all;
}

// The player's own folders are not for rehearsals.
std::vector<std::string> environmentWithHome(const std::filesystem::path &home) {
  std::vector<std::string> environment = ownEnvironment();
  std::erase_if(environment, [](const std::string &entry) {
    static constexpr const char *folders[] = {
        "HOME=", "XDG_CACHE_HOME=", "XDG_CONFIG_HOME=", "XDG_DATA_HOME=", "XDG_STATE_HOME="};
    return std::any_of(std::begin(folders), std::end(folders),
                       [&](const char *name) { return entry.starts_with(name); });
  });
  environment.push_back("HOME=" + home.string());
  return environment;
}

QString whyInvalid(const std::string &catalogue) {
  try {
    const Json wellFormed = Json::parse(catalogue);
  } catch (const Json::exception &error) {
    return QString::fromUtf8(error.what());
  }
  return QStringLiteral(
      "it must be an object with “schemaVersion” (2 or 3), “defaultRegion” (a text) and “regions” "
      "(one or more objects with the texts “id”, of 1 to 32 characters a-z 0-9 - that begin with a "
      "letter, each id once, and “name”)");
}

// The launcher's runs from its start to the point where it would wait for the player. With `update`
// it is started with "--continue".
class Rehearsal : public QObject {
 public:
  Rehearsal(const std::filesystem::path &home, bool update)
      : m_support(supportFolder(home)),
        m_environment(environmentWithHome(home)),
        m_automaticUpdatePending(update) {}

  void openLauncher(const std::filesystem::path &resources, const std::optional<QString> &region,
                    const std::optional<std::filesystem::path> &bundle);
  void terminate() {
    if (m_child != nullptr) {
      m_child->terminate();
    }
  }

 private:
  void startUpdater(Mode mode);
  void handleLine(const OutputLine &output);
  void showInstalled(const QString &prefix) const;
  void finish(int status);
  void warnAboutRun(const Verdict &verdict, int status, qint64 duration) const;
  void showCheckResult(const CheckOutcome &outcome);
  void relaunch();
  void fail(QStringView status, QStringView message) {
    say(u"  => FAILURE: status “" + status + u"”, version line “" + message + u"”, button Retry");
    QCoreApplication::exit(failed);
  }
  void failToStart(QStringView message) { fail(failures::startFailed, message); }

  const std::filesystem::path m_support;
  const std::vector<std::string> m_environment;
  std::filesystem::path m_resources;
  std::optional<std::filesystem::path> m_bundle;
  std::optional<QString> m_version;
  std::optional<QString> m_relaunchedFrom;
  Region m_region;
  bool m_automaticUpdatePending;
  std::optional<CheckOutcome> m_updatedAfter;  // what the check before the update run offered
  int m_relaunches = 0;

  ChildProcess *m_child = nullptr;
  LineAssembler m_lines;
  RunRecord m_run;
  QElapsedTimer m_sinceStart;
  std::vector<qint64> m_effectTimes;  // milliseconds, of each line that had an effect
};

void Rehearsal::openLauncher(const std::filesystem::path &resources,
                             const std::optional<QString> &region,
                             const std::optional<std::filesystem::path> &bundle) {
  m_resources = resources;
  m_bundle = bundle;
  m_version.reset();
  if (bundle) {
    m_version =
        bundleVersion(Bundle::ofExecutable(*bundle / "Contents" / bundleProgramFolder / "-"));
    if (!m_version) {
      warn(QString::fromStdString(*bundle) +
           u" has no CFBundleVersion of 16 digits 0-9 a-f: the updater is told neither bundle nor "
           u"version");
    }
  }
  if (m_relaunches > 0 && m_version == m_relaunchedFrom) {
    warn(QStringLiteral("the new launcher has the version of the old one"));
  }
  const auto fail = [this](const QString &why) {
    warn(QString::fromStdString(m_resources / updaterConfiguration) + u": " + why);
    failToStart(failures::invalidRegions);
  };
  const auto bytes = readFile(m_resources / updaterConfiguration, largestCatalogue);
  if (!bytes) {
    fail(u"missing, unreadable, or of more than " + QString::number(largestCatalogue) + u" bytes");
    return;
  }
  const auto catalogue = parseRegions(*bytes);
  if (!catalogue) {
    fail(whyInvalid(*bytes));
    return;
  }
  const auto first = initialRegion(catalogue->regions, {region, catalogue->defaultRegion});
  if (!first) {
    fail(QStringLiteral("“defaultRegion” names none of the regions"));
    return;
  }
  m_region = catalogue->regions[*first];
  if (region && m_region.id != *region) {
    warn(u"there is no region " + *region + u": the launcher takes another one");
  }
  say(u"Region “" + m_region.name + u"” (" + m_region.id + u")");
  startUpdater(Mode::check);
}

void Rehearsal::startUpdater(Mode mode) {
  static constexpr QStringView names[] = {u"check", u"update", u"play"};
  static_assert(std::size(names) == modeCount);
  UpdaterInvocation invocation{.script = m_resources / updaterScript,
                               .configuration = m_resources / updaterConfiguration,
                               .regionId = m_region.id,
                               .launcher = std::nullopt,
                               .relaunchedFrom = m_relaunchedFrom,
                               .noSelfUpdate = false,
                               .mode = mode,
                               .gameArguments = {}};
  if (!isReadable(invocation.script)) {
    warn(QString::fromStdString(invocation.script) + u": missing or unreadable");
    failToStart(failures::incomplete);
    return;
  }
  if (m_bundle && m_version) {
    invocation.launcher = {*m_bundle, *m_version};
  }
  m_run = {.mode = mode};
  m_lines.clear();
  m_effectTimes.clear();
  m_sinceStart.start();

  const Program program{updaterInterpreter, updaterArguments(invocation),
                        updaterEnvironment(m_environment)};
  say(u"\nRun: " + names[static_cast<int>(mode)] + u"\n  " +
      words(program.executable, program.arguments));
  const auto ignore = [](std::string_view /*bytes*/) {
  };  // of a process that the updater left behind
  ChildProcess::Handlers handlers{
      .output =
          [this](std::string_view bytes) {
            m_lines.append(bytes, [this](const OutputLine &line) { handleLine(line); });
          },
      .exited = [this](int status) { finish(status); },
      .lateOutput = ignore,
      .outputEnded = [] {}};
  std::error_code error;
  m_child = ChildProcess::start(program, std::move(handlers), this, error);
  if (m_child == nullptr) {
    warn(QString::fromStdString(program.executable + ": " + error.message()));
    failToStart(failures::noUpdater);
  }
}

void Rehearsal::handleLine(const OutputLine &output) {
  const std::string_view line = output.text();
  const std::optional<LineEffect> effect = interpretLine(line, m_run.mode, m_region.name);
  QString meaning;
  if (effect) {
    meaning = describe(*effect);
    m_effectTimes.push_back(m_sinceStart.elapsed());
  } else {
    meaning = interpretLine(line, Mode::update, m_region.name)
                  ? QStringLiteral("log only: in a check, only reports and errors count")
                  : QStringLiteral("log only");
  }
  say(u"  | " + printable(decodedUtf8(line)) + u"  ->  " + meaning);
  for (const QString &warning : warningsAbout(line, m_run.mode)) {
    warn(warning);
  }
  if (!effect) {
    return;
  }
  m_run.apply(*effect);
  if (effect->event == LineEffect::Event::clientInstalled) {
    showInstalled(QStringLiteral("Version"));
  }
}

void Rehearsal::showInstalled(const QString &prefix) const {
  const std::filesystem::path file = currentMetadata(m_support, m_region.id);
  const auto bytes = readFile(file, largestMetadata);
  const auto installed = bytes ? parseInstalledMetadata(*bytes) : std::nullopt;
  say(u"      footer “" + footerText(m_version, installed) + u'”' +
      (installed ? u", version line now “" + installedVersionText(prefix, *installed) + u'”'
                 : QString()));
  if (!installed) {
    warn(QString::fromStdString(file) +
         u" is missing, too large, or no object with the texts “releaseId” and “sourceRevision”");
  } else if (!installed->world && parseObject(*bytes)->contains("worldVersion")) {
    warn(QStringLiteral("“worldVersion” in current.json has not the form N.N.N.HASH: left out"));
  }
}

void Rehearsal::finish(int status) {
  const qint64 duration = m_sinceStart.elapsed();
  m_lines.flush([this](const OutputLine &line) { handleLine(line); });
  m_child = nullptr;
  say(u"  Ended with status " + QString::number(status) + u" after " +
      QString::number(static_cast<double>(duration) / 1000, 'f', 1) + u" s");
  const Verdict verdict = judgeRun(m_run, status);
  warnAboutRun(verdict, status, duration);
  switch (verdict.kind) {
    case Verdict::Kind::relaunch:
      relaunch();
      break;
    case Verdict::Kind::failed:
      failToStart(verdict.message);
      break;
    case Verdict::Kind::checked:
      showCheckResult(*m_run.checkOutcome);
      break;
    case Verdict::Kind::checkFailed:
      fail(failures::checkFailed, verdict.message);
      break;
    case Verdict::Kind::checkAgain:
      say(QStringLiteral("  => updated; the launcher checks again"));
      startUpdater(Mode::check);
      break;
    case Verdict::Kind::gameFinished:
      break;  // no game is started here
  }
}

void Rehearsal::warnAboutRun(const Verdict &verdict, int status, qint64 duration) const {
  const bool isFailure =
      verdict.kind == Verdict::Kind::failed || verdict.kind == Verdict::Kind::checkFailed;
  if (isFailure && !m_run.lastErrorDetail) {
    warn(status == 0
             ? QStringLiteral("a check needs a valid UPDATE_CHECK line, and the last one counts")
             : QStringLiteral("no line “Tarvex launcher error: …” explains this to the player"));
  }
  if (!isFailure && m_run.lastErrorDetail) {
    warn(QStringLiteral("the status 0 is a success; the error line is not shown"));
  }
  if (m_run.mode == Mode::check && status != 0 && m_run.checkOutcome) {
    warn(QStringLiteral("with a status other than 0 the report does not count"));
  }
  constexpr qint64 longEnoughToTell = 1000;
  constexpr qint64 shareOfBurst = 20;
  if (duration >= longEnoughToTell && m_effectTimes.size() > 1 &&
      m_effectTimes.back() - m_effectTimes.front() < duration / shareOfBurst) {
    warn(QStringLiteral("all that the window shows came at once: is the output buffered?"));
  }
}

void Rehearsal::showCheckResult(const CheckOutcome &outcome) {
  const CheckResult result = checkResult(outcome, m_region.name);
  say(u"  => status “" + result.status + u"”, version line “" + result.versionLine + u"”, button " +
      (result.offersUpdate ? u"Update" : u"Play"));
  if (result.offersUpdate && outcome == m_updatedAfter) {
    warn(QStringLiteral("the update succeeded, and yet the same update is offered again"));
  }
  if (!result.offersUpdate) {
    showInstalled(QStringLiteral("Installed"));
  }
  const FollowUp next = followUp(outcome, m_automaticUpdatePending, false);
  m_automaticUpdatePending = next.automaticUpdatePending;
  if (next.run) {
    m_updatedAfter = outcome;
    startUpdater(*next.run);
  } else {
    say(QStringLiteral("\nThe launcher waits for the player: no failure."));
    QCoreApplication::exit(succeeded);
  }
}

void Rehearsal::relaunch() {
  const auto fail = [this](const QString &why) {
    warn(why);
    failToStart(failures::noRelaunch);
  };
  if (!m_bundle) {
    fail(QStringLiteral("no --launcher-bundle was passed, so there is nothing to start again"));
    return;
  }
  const std::filesystem::path bundle = *m_bundle;
  say(u"  => " + words("open", relaunchArguments({bundle, m_region.id, m_version, false, {}})));
  const std::filesystem::path contents = bundle / "Contents";
  const auto program = programOf(bundle);
  if (!program) {
    fail(QString::fromStdString(contents / "Info.plist") +
         u" is missing, or names no file in a CFBundleExecutable");
    return;
  }
  if (!std::filesystem::is_regular_file(*program) || ::access(program->c_str(), R_OK | X_OK) != 0) {
    fail(QString::fromStdString(*program) + u" is no program that can be started");
    return;
  }
  constexpr int mostRelaunches = 3;
  if (++m_relaunches > mostRelaunches) {
    say(QStringLiteral("  => FAILURE: it would go on like this, so the rehearsal ends here"));
    QCoreApplication::exit(failed);
    return;
  }
  const std::filesystem::path retired = retiredBundle(bundle);
  say(u"      " + QString::fromStdString(retired) +
      (std::filesystem::remove_all(retired) > 0 ? u": deleted by the new launcher"
                                                : u": not there"));
  m_relaunchedFrom = m_version;
  m_automaticUpdatePending = true;
  m_updatedAfter.reset();
  say(QStringLiteral("\nThe new launcher starts"));
  openLauncher(contents / "Resources", m_region.id, bundle);
}

// --- The program ---------------------------------------------------------------------------------

// Signals end the rehearsal in order, so that its folder goes.
const Descriptor &quitEvent() {
  static const Descriptor event = eventDescriptor();
  return event;
}

// A copy, because the updater may replace it.
std::optional<std::filesystem::path> copyOfBundle(std::filesystem::path bundle,
                                                  const std::filesystem::path &home) {
  bundle = std::filesystem::absolute(bundle).lexically_normal();
  if (!bundle.has_filename()) {
    bundle = bundle.parent_path();
  }
  if (!applicationBundle({bundle, {}, {}})) {
    return std::nullopt;
  }
  const std::filesystem::path copy = home / "Applications" / bundle.filename();
  std::filesystem::create_directory(copy.parent_path());
  std::filesystem::copy(
      bundle, copy,
      std::filesystem::copy_options::recursive | std::filesystem::copy_options::copy_symlinks);
  return copy;
}

int run(int argc, char **argv) {
  QCoreApplication application(argc, argv);
  QCommandLineParser parser;
  parser.setApplicationDescription(QStringLiteral(
      "Takes the updater of a folder through a check as the launcher would, in a home of its own, "
      "and tells\nline by line what the launcher understands, shows and decides.\nThe exit status "
      "is 1 when a run ends in a failure."));
  parser.addHelpOption();
  parser.addPositionalArgument(QStringLiteral("DIR"),
                               QStringLiteral("holds client_updater.py and launcher-config.json"));
  const QCommandLineOption region(QStringLiteral("region"),
                                  QStringLiteral("the region; else the catalogue's default"),
                                  QStringLiteral("ID"));
  const QCommandLineOption update(QStringLiteral("update"),
                                  QStringLiteral("go on into the update that the check finds"));
  const QCommandLineOption bundle(
      QStringLiteral("launcher-bundle"),
      QStringLiteral("be the launcher of this bundle (of a copy of it)"), QStringLiteral("PATH"));
  parser.addOptions({region, update, bundle});
  if (!parser.parse(QCoreApplication::arguments()) || parser.positionalArguments().size() != 1) {
    std::fputs((parser.errorText() + u'\n' + parser.helpText()).toUtf8().constData(), stderr);
    return notUnderstood;
  }
  if (parser.isSet(QStringLiteral("help"))) {
    say(parser.helpText());
    return succeeded;
  }

  const QTemporaryDir folder;
  const std::filesystem::path home = folder.path().toStdString();
  std::optional<std::filesystem::path> launcherBundle;
  if (parser.isSet(bundle)) {
    launcherBundle = copyOfBundle(parser.value(bundle).toStdString(), home);
    if (!launcherBundle) {
      std::fputs("The extension of a launcher bundle is “app”.\n", stderr);
      return notUnderstood;
    }
  }
  Rehearsal rehearsal(home, parser.isSet(update));
  QSocketNotifier quit(quitEvent().get(), QSocketNotifier::Read);
  QObject::connect(&quit, &QSocketNotifier::activated, &rehearsal, [&] {
    rehearsal.terminate();
    QCoreApplication::exit(interrupted);
  });
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    std::signal(number, [](int) { raiseEvent(quitEvent()); });
  }
  const std::filesystem::path resources =
      std::filesystem::absolute(parser.positionalArguments().front().toStdString())
          .lexically_normal();
  QMetaObject::invokeMethod(
      &rehearsal,
      [&] {
        rehearsal.openLauncher(
            resources, parser.isSet(region) ? std::optional(parser.value(region)) : std::nullopt,
            launcherBundle);
      },
      Qt::QueuedConnection);
  return QCoreApplication::exec();
}

}  // namespace
}  // namespace tarvex

int main(int argc, char **argv) {
  try {
    return tarvex::run(argc, argv);
  } catch (const std::filesystem::filesystem_error &error) {
    std::fputs((std::string(error.what()) + '\n').c_str(), stderr);
    return tarvex::notUnderstood;
  }
}
