// Runs an updater as the launcher would, and prints each line's meaning and each run's result. It
// uses the launcher's code, but no window.
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTemporaryDir>
#include <csignal>
#include <cstdio>
#include <system_error>

#include "install/locations.h"
#include "platform/bundle.h"
#include "platform/descendants.h"
#include "platform/event_descriptors.h"
#include "platform/startup.h"
#include "rehearsal.h"
#include "report.h"

namespace tarvex {
namespace {

enum ExitStatus { succeeded = 0, failed = 1, notUnderstood = 2, interrupted = 130 };

struct Options {
  QCommandLineOption region{QStringLiteral("region"),
                            QStringLiteral("the region; default: the catalogue's"),
                            QStringLiteral("ID")};
  QCommandLineOption update{QStringLiteral("update"),
                            QStringLiteral("install the update that the check finds")};
  QCommandLineOption play{QStringLiteral("play"),
                          QStringLiteral("the same, then start the game and wait for its end")};
  QCommandLineOption bundle{QStringLiteral("launcher-bundle"),
                            QStringLiteral("be the launcher of a copy of this bundle"),
                            QStringLiteral("PATH")};
  QCommandLineOption timeout{
      QStringLiteral("timeout"),
      QStringLiteral("break a run off after this time without output; default: 60"),
      QStringLiteral("SECONDS"), QStringLiteral("60")};
  QCommandLineOption strict{QStringLiteral("strict"),
                            QStringLiteral("count a warning as a failure")};
  QCommandLineOption quiet{QStringLiteral("quiet"),
                           QStringLiteral("print only warnings and failures")};
  QCommandLineOption json{QStringLiteral("json"),
                          QStringLiteral("print one JSON object on each line, for programs")};
};

// Signals quit the event loop, so that the temporary folder is removed.
const Descriptor &quitEvent() {
  static const Descriptor event = eventDescriptor();
  return event;
}

// A copy, because the updater may replace the bundle. Absent when the path is not a bundle's.
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

int misunderstood(const QString &why) {
  std::fprintf(stderr, "%s\nSee check-updater --help.\n", qUtf8Printable(why));
  return notUnderstood;
}

int rehearse(const RehearsalPlan &plan, Report &report) {
  Rehearsal rehearsal(plan, report);
  QSocketNotifier quit(quitEvent().get(), QSocketNotifier::Read);
  QObject::connect(&quit, &QSocketNotifier::activated, &rehearsal,
                   [] { QCoreApplication::exit(interrupted); });
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    std::signal(number, [](int) { raiseEvent(quitEvent()); });
  }
  QMetaObject::invokeMethod(&rehearsal, &Rehearsal::start, Qt::QueuedConnection);
  return QCoreApplication::exec();
}

int run(int argc, char **argv) {
  QCoreApplication application(argc, argv);
  const Options options;
  QCommandLineParser parser;
  parser.setApplicationDescription(QStringLiteral(
      "Runs the check of a folder's updater as the launcher would, in a temporary home, and "
      "prints\n"
      "each line with its meaning for the launcher, and the result.\nThe exit status is 1 after a "
      "failure or, with --strict, after a warning."));
  parser.addOptions({options.region, options.update, options.play, options.bundle, options.timeout,
                     options.strict, options.quiet, options.json});
  const QCommandLineOption help = parser.addHelpOption();
  parser.addPositionalArgument(QStringLiteral("DIR"),
                               QStringLiteral("holds client_updater.py and launcher-config.json"));
  parser.addPositionalArgument(QStringLiteral("ARGUMENT"), QStringLiteral("for the game"),
                               QStringLiteral("[-- ARGUMENT...]"));
  if (!parser.parse(QCoreApplication::arguments())) {
    return misunderstood(parser.errorText());
  }
  if (parser.isSet(help)) {
    std::fputs(parser.helpText().toUtf8().constData(), stdout);
    return succeeded;
  }
  bool isNumber = false;
  const int seconds = parser.value(options.timeout).toInt(&isNumber);
  const QStringList arguments = parser.positionalArguments();
  if (!isNumber || seconds <= 0 || seconds > 1'000'000) {
    return misunderstood(QStringLiteral("--timeout takes a number of seconds."));
  }
  if (arguments.isEmpty() || (arguments.size() > 1 && !parser.isSet(options.play))) {
    return misunderstood(QStringLiteral("One DIR is needed; arguments for a game need --play."));
  }

  const QTemporaryDir folder;
  RehearsalPlan plan{
      .home = folder.path().toStdString(),
      .resources = std::filesystem::absolute(arguments.front().toStdString()).lexically_normal(),
      .update = parser.isSet(options.update) || parser.isSet(options.play),
      .play = parser.isSet(options.play),
      .silence = std::chrono::seconds(seconds)};
  for (const QString &argument : arguments.sliced(1)) {
    plan.gameArguments.push_back(argument.toStdString());
  }
  if (parser.isSet(options.region)) {
    plan.region = parser.value(options.region);
  }
  if (parser.isSet(options.bundle)) {
    plan.bundle = copyOfBundle(parser.value(options.bundle).toStdString(), plan.home);
    if (!plan.bundle) {
      return misunderstood(QStringLiteral("The extension of a launcher bundle is “app”."));
    }
  }
  adoptOrphans();
  Report report(parser.isSet(options.json)    ? Report::Form::json
                : parser.isSet(options.quiet) ? Report::Form::problems
                                              : Report::Form::text);
  const int status = rehearse(plan, report);
  endChildren();
  if (status != succeeded) {
    return status;
  }
  const bool isGood =
      report.failures() == 0 && (report.warnings() == 0 || !parser.isSet(options.strict));
  return isGood ? succeeded : failed;
}

}  // namespace
}  // namespace tarvex

int main(int argc, char **argv) {
  try {
    return tarvex::run(argc, argv);
  } catch (const std::filesystem::filesystem_error &error) {
    std::fprintf(stderr, "%s\n", error.what());
    return tarvex::notUnderstood;
  }
}
