#include "rehearsal.h"

#include <unistd.h>

#include <QCoreApplication>
#include <algorithm>
#include <array>
#include <iterator>
#include <system_error>
#include <utility>

#include "install/installed_metadata.h"
#include "install/locations.h"
#include "platform/bundle.h"
#include "platform/descendants.h"
#include "platform/durable_file.h"
#include "platform/startup.h"
#include "text/unicode_text.h"
#include "updater/failures.h"
#include "updater/invocation.h"
#include "updater/relaunch.h"

namespace tarvex {
namespace {

using Event = LineEffect::Event;

constexpr int shownOfGame = 20;       // lines
constexpr qint64 longestRest = 1000;  // milliseconds, for output and processes after the end

QString inWords(const std::string &program, const std::vector<std::string> &arguments) {
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

// Keeps the updater away from the developer's own folders. The encoding is one that a player's
// locale may have instead of UTF-8: it exposes an updater that relies on the locale.
std::vector<std::string> rehearsalEnvironment(const std::filesystem::path &home) {
  std::vector<std::string> environment = ownEnvironment();
  std::erase_if(environment, [](const std::string &entry) {
    static constexpr const char *replaced[] = {
        "HOME=",          "XDG_CACHE_HOME=", "XDG_CONFIG_HOME=",
        "XDG_DATA_HOME=", "XDG_STATE_HOME=", "PYTHONIOENCODING="};
    return std::any_of(std::begin(replaced), std::end(replaced),
                       [&](const char *name) { return entry.starts_with(name); });
  });
  environment.push_back("HOME=" + home.string());
  environment.emplace_back("PYTHONIOENCODING=cp1252:replace");
  return environment;
}

}  // namespace

Rehearsal::Rehearsal(RehearsalPlan plan, Report &report)
    : m_plan(std::move(plan)),
      m_report(report),
      m_environment(rehearsalEnvironment(m_plan.home)),
      m_automaticUpdatePending(m_plan.update),
      m_playAfterCheck(m_plan.play) {
  constexpr std::chrono::milliseconds soon(20);
  m_silence.setSingleShot(true);
  m_silence.setInterval(m_plan.silence);
  m_silence.callOnTimeout(this, [this] { breakOff(); });
  m_rest.setInterval(soon);
  m_rest.callOnTimeout(this, [this] { waitForTheRest(); });
}

void Rehearsal::start() {
  openLauncher();
}

void Rehearsal::openLauncher() {
  m_during = QStringLiteral("start");
  m_version.reset();
  if (m_plan.bundle) {
    const auto version = bundleVersion(
        Bundle::ofExecutable(*m_plan.bundle / "Contents" / bundleProgramFolder / "-"));
    if (!version) {
      warn(QString::fromStdString(*m_plan.bundle) +
           u": the updater gets neither the bundle nor its version: " + version.reason());
    }
    m_version = version.optional();
  }
  if (m_relaunches > 0 && m_version == m_relaunchedFrom) {
    warn(QStringLiteral("the new launcher has the version of the old one"));
  }
  const std::filesystem::path file = m_plan.resources / updaterConfiguration;
  const auto broken = [&](const QString &reason) {
    warn(QString::fromStdString(file) + u": " + reason);
    fail(failures::startFailed, failures::invalidRegions);
  };
  const auto catalogue = readRegions(file);
  if (!catalogue) {
    broken(catalogue.reason());
    return;
  }
  const auto first = initialRegion(catalogue->regions, {m_plan.region, catalogue->defaultRegion});
  if (!first) {
    broken(QStringLiteral("“defaultRegion” is the id of no region"));
    return;
  }
  m_region = catalogue->regions[*first];
  if (m_plan.region && m_region.id != *m_plan.region) {
    warn(u"there is no region " + *m_plan.region + u": the launcher uses another one");
  }
  m_report.tell(Entry::region, {m_region.name, m_region.id});
  startUpdater(Mode::check);
}

void Rehearsal::startUpdater(Mode mode) {
  static constexpr std::array<QStringView, modeCount> names{u"check", u"update", u"play"};
  m_during = names.at(static_cast<std::size_t>(mode)).toString();
  UpdaterInvocation invocation{.script = m_plan.resources / updaterScript,
                               .configuration = m_plan.resources / updaterConfiguration,
                               .regionId = m_region.id,
                               .launcher = std::nullopt,
                               .relaunchedFrom = m_relaunchedFrom,
                               .noSelfUpdate = false,
                               .mode = mode,
                               .gameArguments = m_plan.gameArguments};
  if (const std::error_code error = whyUnreadable(invocation.script)) {
    warn(QString::fromStdString(invocation.script.string() + ": " + error.message()));
    fail(failures::startFailed, failures::incomplete);
    return;
  }
  if (m_plan.bundle && m_version) {
    invocation.launcher = {*m_plan.bundle, *m_version};
  }
  m_run = RunNotes();
  m_run.record.mode = mode;
  m_lines.clear();
  m_lateLines.clear();
  m_sinceStart.start();
  m_silence.start();

  const Program program{updaterInterpreter, updaterArguments(invocation),
                        updaterEnvironment(m_environment)};
  m_report.tell(Entry::run, {m_during, inWords(program.executable, program.arguments)});
  const auto late = [this](const OutputLine &line) { m_run.lateLines += decodedUtf8(line.text()); };
  std::error_code error;
  m_child = ChildProcess::start(
      program,
      {.output = [this](std::string_view bytes) { consume(bytes); },
       .exited = [this](int status) { exited(status); },
       .lateOutput = [this, late](std::string_view bytes) { m_lateLines.append(bytes, late); },
       .outputEnded =
           [this, late] {
             m_pipeIsHeld = false;
             m_lateLines.flush(late);
           }},
      this, error);
  m_pipeIsHeld = m_child != nullptr;
  if (m_child == nullptr) {
    warn(QString::fromStdString(program.executable + ": " + error.message()));
    fail(failures::startFailed, failures::noUpdater);
  }
}

void Rehearsal::consume(std::string_view bytes) {
  m_silence.start();
  m_lines.append(bytes, [this](const OutputLine &line) { handleLine(line); });
}

void Rehearsal::handleLine(const OutputLine &output) {
  const std::string_view bytes = output.text();
  const QString line = decodedUtf8(bytes);
  const std::optional<LineEffect> effect = interpretLine(bytes, m_run.record.mode, m_region.name);
  QStringList findings = findingsAboutLine(bytes, effect, m_run);
  const bool isFirstOfGame = m_run.record.sawGameStart && m_run.linesOfGame == 0;
  const bool isOneOfMany = m_run.linesOfGame > shownOfGame;
  QString meaning;
  if (effect) {
    meaning = describe(*effect, m_run.barIsBusy);
  } else if (isFirstOfGame) {
    meaning = QStringLiteral("log only: the first line after the game’s start");
  } else if (m_run.record.mode == Mode::check && interpretLine(bytes, Mode::update, {})) {
    meaning = QStringLiteral("log only: in a check, only reports and errors count");
  } else {
    meaning = QStringLiteral("log only");
  }
  m_run.take(bytes, effect, m_sinceStart.elapsed());
  if (!isOneOfMany || effect || !findings.isEmpty()) {
    m_report.tell(Entry::line, {printable(line), meaning});
  }
  if (effect && effect->event == Event::clientInstalled) {
    const auto file =
        readFile(currentMetadata(supportFolder(m_plan.home), m_region.id), largestMetadata);
    showInstalled(QStringLiteral("Version"), file);
    findings += findingsAboutInstalled(line, file);
  }
  for (const QString &finding : std::as_const(findings)) {
    warn(finding, line);
  }
}

void Rehearsal::showInstalled(const QString &prefix, const Expected<std::string> &file) {
  const auto installed = file ? parseInstalledMetadata(*file).optional() : std::nullopt;
  m_report.tell(Entry::installed, {footerText(m_version, installed),
                                   installed ? installedVersionText(prefix, *installed)
                                             : QStringLiteral("as it is")});
}

void Rehearsal::exited(int status) {
  m_lines.flush([this](const OutputLine &line) { handleLine(line); });
  m_silence.stop();
  m_run.status = status;
  m_run.duration = m_sinceStart.elapsed();
  m_run.fatalSignal = m_child->fatalSignal();
  m_report.tell(Entry::end,
                {m_run.fatalSignal ? QString::fromStdString(signalName(*m_run.fatalSignal))
                                   : u"status " + QString::number(status),
                 QString::number(static_cast<double>(m_run.duration) / 1000, 'f', 1)});
  m_rest.start();
}

// The launcher would not wait here. The rehearsal waits, so that it does not report a process that
// is about to end.
void Rehearsal::waitForTheRest() {
  const std::vector<Child> left = childrenLeft();
  if ((m_pipeIsHeld || !left.empty()) && m_sinceStart.elapsed() < m_run.duration + longestRest) {
    return;
  }
  m_rest.stop();
  for (const Child &child : left) {
    m_run.leftBehind += QString::fromStdString(child.name);
  }
  m_run.outputIsOpen = m_pipeIsHeld && !left.empty();
  delete m_child.data();
  endChildren();
  for (const QString &finding : findingsAboutRun(m_run)) {
    warn(finding);
  }
  decide(judgeRun(m_run.record, m_run.status));
}

void Rehearsal::decide(const Verdict &verdict) {
  switch (verdict.kind) {
    case Verdict::Kind::relaunch:
      relaunch();
      break;
    case Verdict::Kind::failed:
      fail(failures::startFailed, verdict.message);
      break;
    case Verdict::Kind::checked:
      showCheckResult(*m_run.record.checkOutcome);
      break;
    case Verdict::Kind::checkFailed:
      fail(failures::checkFailed, verdict.message);
      break;
    case Verdict::Kind::checkAgain:
      m_report.tell(Entry::note, {QStringLiteral("  => updated; the launcher checks again")});
      startUpdater(Mode::check);
      break;
    case Verdict::Kind::gameFinished:
      m_report.tell(Entry::note,
                    {QStringLiteral("  => the game has ended, and so does the launcher")});
      end();
      break;
  }
}

void Rehearsal::showCheckResult(const CheckOutcome &outcome) {
  const CheckResult result = checkResult(outcome, m_region.name);
  const auto file =
      readFile(currentMetadata(supportFolder(m_plan.home), m_region.id), largestMetadata);
  const auto installed =
      file && !result.offersUpdate ? parseInstalledMetadata(*file).optional() : std::nullopt;
  m_report.tell(Entry::result,
                {result.status,
                 installed ? installedVersionText(QStringLiteral("Installed"), *installed)
                           : result.versionLine,
                 result.offersUpdate ? QStringLiteral("Update") : QStringLiteral("Play")});
  if (result.offersUpdate && outcome == m_updatedAfter) {
    warn(QStringLiteral("the update succeeded, but the same update is offered again"));
  }
  if (!result.offersUpdate) {
    showInstalled(QStringLiteral("Installed"), file);
  }
  const FollowUp next = followUp(outcome, m_automaticUpdatePending, m_playAfterCheck);
  m_automaticUpdatePending = next.automaticUpdatePending;
  m_playAfterCheck = next.playAfterCheck;
  if (next.run) {
    m_updatedAfter = outcome;
    startUpdater(*next.run);
  } else {
    m_report.tell(Entry::note, {QStringLiteral("\nThe launcher waits for the player.")});
    end();
  }
}

void Rehearsal::relaunch() {
  const auto broken = [this](const QString &reason) {
    warn(reason);
    fail(failures::startFailed, failures::noRelaunch);
  };
  if (!m_plan.bundle) {
    broken(QStringLiteral("no --launcher-bundle was passed, so there is nothing to start again"));
    return;
  }
  const std::filesystem::path bundle = *m_plan.bundle;
  m_report.tell(Entry::note,
                {u"  => " + inWords("open", relaunchArguments({bundle, m_region.id, m_version,
                                                               false, m_plan.gameArguments}))});
  const auto program = programOf(bundle);
  if (!program) {
    broken(QString::fromStdString(bundle) + u": " + program.reason());
    return;
  }
  if (!std::filesystem::is_regular_file(*program) || ::access(program->c_str(), R_OK | X_OK) != 0) {
    broken(QString::fromStdString(*program) + u" is no program that can be started");
    return;
  }
  constexpr int mostRelaunches = 3;
  if (++m_relaunches > mostRelaunches) {
    broken(QStringLiteral("launchers would replace each other for ever"));
    return;
  }
  const std::filesystem::path retired = retiredBundle(bundle);
  m_report.tell(Entry::note,
                {u"      " + QString::fromStdString(retired) +
                 (std::filesystem::remove_all(retired) > 0 ? u": deleted by the new launcher"
                                                           : u": not there")});
  m_relaunchedFrom = m_version;
  m_automaticUpdatePending = true;
  m_updatedAfter.reset();
  m_plan.resources = bundle / "Contents/Resources";
  m_plan.region = m_region.id;
  m_report.tell(Entry::note, {QStringLiteral("\nThe new launcher starts")});
  openLauncher();
}

void Rehearsal::breakOff() {
  const QString time = QString::number(m_plan.silence.count()) + u" s";
  const std::vector<Child> left = childrenLeft();
  const bool isStopped =
      std::any_of(left.begin(), left.end(), [](const Child &child) { return child.isStopped; });
  if (m_run.record.sawGameStart && !isStopped) {
    m_report.tell(Entry::note,
                  {u"  => no output of the game for " + time + u"; the rehearsal ends here"});
    end();
    return;
  }
  warn(isStopped ? QStringLiteral("the updater is stopped, by SIGSTOP or by a question to the "
                                  "terminal: ask nothing")
                 : u"no output for " + time +
                       u", and the launcher sets no limit: use time-outs, and print progress");
  m_report.tell(Entry::standstill,
                {m_during, QStringLiteral("the window stays as it is, and the launcher waits")});
  end();
}

void Rehearsal::warn(const QString &text, const QString &line) {
  m_report.tell(Entry::warning,
                {m_during, line.isEmpty() ? line : quoted(line) + u": ", printable(text)});
}

void Rehearsal::fail(QStringView status, QStringView message) {
  m_report.tell(Entry::failure, {m_during, status.toString(), message.toString()});
  end();
}

void Rehearsal::end() {
  m_silence.stop();
  m_report.tell(Entry::summary,
                {QString::number(m_report.failures()), QString::number(m_report.warnings())});
  QCoreApplication::quit();
}

}  // namespace tarvex
