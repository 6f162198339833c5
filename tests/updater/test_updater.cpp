#include <QTest>
#include <algorithm>

#include "text/unicode_text.h"
#include "updater/check_report.h"
#include "updater/invocation.h"
#include "updater/output_stream.h"
#include "updater/progress_lines.h"
#include "updater/relaunch.h"
#include "updater/run_completion.h"

using namespace tarvex;

namespace {

std::string joined(const std::vector<std::string> &words) {
  std::string all;
  for (const std::string &word : words) {
    all += (all.empty() ? "" : "|") + word;
  }
  return all;
}

QString told(const std::optional<CheckOutcome> &outcome) {
  return outcome
             ? outcome->launcherVersion.value_or("-") + u' ' + outcome->clientRelease.value_or("-")
             : QString("rejected");
}

std::vector<RunRecord> allRecords() {
  std::vector<RunRecord> all;
  const std::optional<CheckOutcome> outcomes[] = {{}, CheckOutcome(), CheckOutcome{{}, "r5"}};
  const std::optional<QString> details[] = {{}, "", "why"};
  for (const Mode mode : {Mode::check, Mode::update, Mode::play}) {
    for (const bool installed : {false, true}) {
      for (const bool started : {false, true}) {
        for (const auto &outcome : outcomes) {
          for (const auto &detail : details) {
            all.push_back({mode, installed, started, outcome, detail});
          }
        }
      }
    }
  }
  return all;
}

}  // namespace

class TestUpdater : public QObject {
  Q_OBJECT

 private slots:
  void argumentsFollowModeAndOptions_data() {
    QTest::addColumn<UpdaterInvocation>("invocation");
    QTest::addColumn<QString>("expected");
    const UpdaterInvocation plain{"/r/u.py", "/r/c.json", "eu-west",   {},
                                  {},        false,       Mode::check, {"-x", "a b", "--", ""}};
    UpdaterInvocation full = plain;
    full.launcher = {"/opt/A B.app", "0123456789abcdef"};
    full.relaunchedFrom = QStringLiteral("fedcba9876543210");
    full.noSelfUpdate = true;
    const QString common = QStringLiteral("/r/u.py|--config|/r/c.json|--region|eu-west");
    const QString options = common +
                            u"|--launcher-bundle|/opt/A B.app|--launcher-version|0123456789abcdef"
                            u"|--relaunched-from|fedcba9876543210|--no-self-update";
    const auto row = [](const char *name, UpdaterInvocation invocation, Mode mode,
                        const QString &expected) {
      invocation.mode = mode;
      QTest::newRow(name) << invocation << expected;
    };
    row("plain check", plain, Mode::check, common + u"|--check");
    row("plain update", plain, Mode::update, common + u"|--update-only");
    row("plain play", plain, Mode::play, common + u"|--|-x|a b|--|");
    row("full check", full, Mode::check, options + u"|--check");
    row("full play", full, Mode::play, options + u"|--|-x|a b|--|");
    full.gameArguments.clear();
    row("play without arguments for the game", full, Mode::play, options);
  }
  void argumentsFollowModeAndOptions() {
    QFETCH(UpdaterInvocation, invocation);
    QTEST(QString::fromStdString(joined(updaterArguments(invocation))), "expected");
  }

  void relaunchThatCannotBeTriedIsLogged() {
    const auto error = std::make_error_code(std::errc::not_enough_memory);
    QCOMPARE(relaunchFailureLogEntry(error),
             "The updated launcher could not be started: Cannot allocate memory\n");
  }

  void linesAreTheSameWhereverTheStreamIsCut_data() {
    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<QStringList>("expected");
    using Lines = QStringList;
    QTest::newRow("three lines") << QByteArray("a\nb\nc\n") << Lines{"a", "b", "c"};
    QTest::newRow("no end") << QByteArray("a\nb") << Lines{"a", "b"};
    QTest::newRow("carriage returns") << QByteArray("a\r\nb\rc\r\n") << Lines{"a", "b\rc"};
    QTest::newRow("blank lines") << QByteArray("\n \t\n\r\n\xC2\xA0\xE2\x80\xA8\n\xC2\x85")
                                 << Lines{};
    QTest::newRow("trimmed") << QByteArray("\xE3\x80\x80 a b \v\n") << Lines{"a b"};
    QTest::newRow("indented") << QByteArray("\t a\n \xFF\n")
                              << Lines{"a", QStringLiteral("\uFFFD")};
    QTest::newRow("split characters") << QByteArray("…é😀\n") << Lines{QStringLiteral("…é😀")};
    QTest::newRow("ill-formed") << QByteArray("a\xFF\xE2\x80z\xF0\x9F\x98\n")
                                << Lines{QStringLiteral("a\uFFFD\uFFFDz\uFFFD")};
    QTest::newRow("overlong and surrogate")
        << QByteArray("\xC0\x80\xED\xA0\x80\n") << Lines{QString(5, QChar(0xFFFD))};
    QTest::newRow("mark") << QByteArray("\xEF\xBB\xBFx\n") << Lines{QStringLiteral("\uFEFFx")};
    QTest::newRow("NUL") << QByteArray("a\0b\n", 4)
                         << Lines{QString(u'a') + QChar(0) + QChar(u'b')};
  }
  void linesAreTheSameWhereverTheStreamIsCut() {
    QFETCH(QByteArray, stream);
    QFETCH(QStringList, expected);
    for (qsizetype size = 1; size <= stream.size(); ++size) {
      LineAssembler assembler;
      QStringList lines;
      const auto use = [&](const OutputLine &line) {
        QVERIFY(line.entry.ends_with('\n'));
        lines.append(decodedUtf8(line.text()));
      };
      for (qsizetype at = 0; at < stream.size(); at += size) {
        assembler.append(stream.mid(at, size).toStdString(), use);
      }
      assembler.flush(use);
      assembler.flush(use);  // nothing is left
      QCOMPARE(lines, expected);
    }
  }

  void reports_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("expected");
    const auto row = [](const QString &line, const QString &expected) {
      QTest::newRow(line.toUtf8()) << QString(u"UPDATE_CHECK " + line) << expected;
    };
    const QString hex = QStringLiteral("0123456789abcdef");
    row("launcher=current client=current", "- -");
    row("launcher=unknown client=current world=unknown", "- -");
    row("launcher=unpackaged client=available:r512.3", "- r512.3");
    row("  launcher=unconfigured   client=available:A_-. ", "- A_-.");
    row("launcher=available:" + hex + " client=available:7", hex + " 7");
    row("launcher=available:" + hex + " client=current world=1.4.123456789.0a1b2c3d4e5f",
        hex + " -");
    row("launcher=current client=available:" + QString(64, u'x'), "- " + QString(64, u'x'));
    for (const char *launcher : {"Current", "", "available:", "available:0123456789ABCDEF",
                                 "available:0123456789abcde", "available:0123456789abcdef0"}) {
      row("launcher=" + QString(launcher) + " client=current", "rejected");
    }
    for (const char *client : {"unknown", "unpackaged", "CURRENT", "available:.x", "available:-x",
                               "available:_x", "available:a/b", "available:", "available:é"}) {
      row("launcher=current client=" + QString::fromUtf8(client), "rejected");
    }
    for (const char *rest :
         {"extra", "world=1.4.2", "world=1.4.2.0A1B2C3D4E5F", "world=1.4.1234567890.0a1b2c3d4e5f",
          "world=1.4.2.0a1b2c3d4e5f0", "world=", "World=unknown", "world=unknown world=unknown",
          "client=current"}) {
      row("launcher=current client=current " + QString(rest), "rejected");
    }
    for (const char *line : {"", "launcher=current", "client=current launcher=current",
                             "launcher=current\tclient=current", "launcher=current world=unknown",
                             "launcher=current world=unknown client=current"}) {
      row(line, "rejected");
    }
    row("launcher=current client=available:" + QString(65, u'x'), "rejected");
    QTest::newRow("another word") << QStringLiteral("UPDATE_CHECKS launcher=current client=current")
                                  << QStringLiteral("rejected");
  }
  void reports() {
    QFETCH(QString, line);
    QTEST(told(parseCheck(line)), "expected");
  }

  // The effect as one text: bar, status, version line, event.
  void effects_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *line, const char *expected) {
      QTest::newRow(line) << QString::fromUtf8(line) << QString::fromUtf8(expected);
    };
    row("Downloading launcher: 37%", "37 | Downloading launcher — 37% | - | none");
    row("Downloading client: 007%", "7 | Downloading update — 7% | - | none");
    row("Downloading client:150", "100 | Downloading update — 150% | - | none");
    row("Downloading client: 12.5%", "100 | Downloading update — 125% | - | none");
    row("Downloading client: 3 of 10 (30%)", "100 | Downloading update — 31030% | - | none");
    row("Downloading client:", "0 | Downloading update — 0% | - | none");
    row("Downloading client: 4²", "0 | Downloading update — 0% | - | none");
    row("Downloading client: ½", "0 | Downloading update — 0% | - | none");
    row("Downloading client: ٣", "0 | Downloading update — 0% | - | none");
    row("Downloading client: 1…2 – é3%", "100 | Downloading update — 123% | - | none");
    row("Downloading client: 37 % …", "37 | Downloading update — 37% | - | none");
    row("Downloading client: 1\u20E3 2", "0 | Downloading update — 0% | - | none");
    row("Downloading client: 9007199254740993",
        "100 | Downloading update — 9007199254740992% | - | none");
    row("Downloading client: 9223372036854775807",
        "100 | Downloading update — 9223372036854775807% | - | none");
    row("Updating launcher to abc…", "unchanged | Updating the launcher… | Launcher abc | none");
    row("Updating to client r…5Updating to client 6…",
        "unchanged | Downloading the latest update… | Version r5Version 6 | none");
    row("Verifying and installing launcher…", "busy | Installing the launcher… | - | none");
    row("Verifying and installing client…", "busy | Preparing your game… | - | none");
    row("Installed launcher x. Restarting…",
        "unchanged | Restarting the launcher… | The launcher was updated and is starting again. | "
        "launcherInstalled");
    row("Installed client r5", "unchanged | Ready to play | - | clientInstalled");
    row("Client r5 is current.", "unchanged | Ready to play | - | clientInstalled");
    row("Starting Tarvex…", "full | Launching North… | - | gameStarted");
    row("Tarvex launcher error: a Tarvex launcher error:  b\u3000",
        "unchanged | - | - | error:a   b");
    row("Tarvex launcher error:", "unchanged | - | - | error:");
    row("UPDATE_CHECK launcher=current client=available:r5", "unchanged | - | - | report:- r5");
    row("UPDATE_CHECK nonsense", "unchanged | - | - | report:rejected");
    for (const char *nothing : {"UPDATE_CHECK",
                                "update_check launcher=current client=current",
                                "UPDATE_CHECK \u0301launcher=current client=current",
                                "Tarvex launcher error",
                                "Tarvex launcher error:\u0301 x",
                                "A Tarvex launcher error: x",
                                "Downloading client",
                                "downloading client: 1%",
                                "Downloading client:\u0301 1",
                                "Updating launcher to",
                                "Updating to client",
                                "Verifying and installing client...",
                                "Verifying and installing client… now",
                                "Verifying and installing launcher",
                                "Installed launcher x. Restarting...",
                                "Installed launcher x",
                                "Installed client",
                                "Client r5 is current",
                                "Client is current.x",
                                "Starting Tarvex...",
                                "Starting Tarvex",
                                "Starting Tarvex… ok",
                                "\u0600 Client r5 is current."}) {
      row(nothing, "unchanged | - | - | none");
    }
  }
  void effects() {
    QFETCH(QString, line);
    static constexpr const char *bars[] = {"unchanged", "", "busy", "full"};
    static constexpr const char *events[] = {
        "none", "report:", "error:", "launcherInstalled", "clientInstalled", "gameStarted"};
    const auto describe = [&](Mode mode) {
      const LineEffect effect =
          interpretLine(line.toStdString(), mode, u"North").value_or(LineEffect());
      const QString bar = effect.bar == LineEffect::Bar::percentage
                              ? QString::number(effect.percentage)
                              : QString::fromLatin1(bars[static_cast<int>(effect.bar)]);
      QString event = QString::fromLatin1(events[static_cast<int>(effect.event)]);
      if (effect.event == LineEffect::Event::checkReport) {
        event += told(effect.checkOutcome);
      }
      return QStringList{bar, effect.status.value_or("-"), effect.versionLine.value_or("-"),
                         event + effect.errorDetail}
          .join(" | ");
    };
    QTEST(describe(Mode::update), "expected");
    QTEST(describe(Mode::play), "expected");
    QFETCH(QString, expected);
    const bool countsInCheck = expected.contains(u"error:") || expected.contains(u"report:");
    QCOMPARE(describe(Mode::check),
             countsInCheck ? expected : QStringLiteral("unchanged | - | - | none"));
  }

  void digitRunsOfAnyLengthAreHarmless() {
    for (const std::size_t length : {19, 20, 400, 1000000}) {
      const auto effect = interpretLine("Downloading client: " + std::string(length, '9'),
                                        Mode::update, std::nullopt);
      QVERIFY(effect);
      QCOMPARE(effect->percentage, 100.0);
      QCOMPARE(*effect->status, u"Downloading update — 9223372036854775807%");
    }
    QCOMPARE(*interpretLine("Starting Tarvex…", Mode::play, std::nullopt)->status,
             u"Launching Tarvex…");
  }

  // Compares every possible run with a table. The first row that matches decides.
  void everyRunIsJudged() {
    using Kind = Verdict::Kind;
    struct Row {
      QStringView modes;
      const char *state;  // launcher installed, game started, report, success; '-' matches any
      Kind kind;
      QStringView message{};
      bool detailIsTold = true;
    };
    constexpr QStringView preserved =
        u"The update could not be completed. Your installed game was preserved.";
    const Row rows[] = {
        {u"cup", "1--1", Kind::relaunch},
        {u"cup", "1--0", Kind::failed, u"The launcher update could not be completed."},
        {u"c", "--11", Kind::checked},
        {u"c", "----", Kind::checkFailed, u"The update check could not be completed."},
        {u"u", "---1", Kind::checkAgain},
        {u"u", "---0", Kind::failed, preserved},
        {u"p", "-1-1", Kind::gameFinished},
        {u"p", "-1-0", Kind::failed, u"The game closed unexpectedly. You can try again.", false},
        {u"p", "-0-1", Kind::failed, u"The game closed before it finished starting.", false},
        {u"p", "-0-0", Kind::failed, preserved},
    };
    const auto check = [&](const RunRecord &run, int status) {
      const auto digit = [](bool flag) { return flag ? '1' : '0'; };
      const std::string state{digit(run.sawLauncherInstalled), digit(run.sawGameStart),
                              digit(run.checkOutcome.has_value()), digit(status == 0)};
      const QChar mode = u"cup"[static_cast<int>(run.mode)];
      const Row &row = *std::find_if(std::begin(rows), std::end(rows), [&](const Row &one) {
        return one.modes.contains(mode) &&
               std::equal(state.begin(), state.end(), one.state,
                          [](char is, char wanted) { return wanted == '-' || wanted == is; });
      });
      QString message = row.message.toString();
      if (!message.isEmpty() && row.detailIsTold) {
        message = run.lastErrorDetail.value_or(message);
      }
      const Verdict verdict = judgeRun(run, status);
      const QString which = mode + QString::fromStdString(state) + QString::number(status);
      QCOMPARE(which + QString::number(static_cast<int>(verdict.kind)) + verdict.message,
               which + QString::number(static_cast<int>(row.kind)) + message);
    };
    for (const RunRecord &run : allRecords()) {
      for (const int status : {0, 1, 9, 15, 255, 256, -1}) {
        check(run, status);
      }
    }
  }

  void recordKeepsTheLastFacts() {
    RunRecord run{.mode = Mode::update};
    const auto read = [&](const char *line) -> QString {
      run.apply(interpretLine(line, run.mode, {}).value_or(LineEffect()));
      return told(run.checkOutcome) + u'|' + run.lastErrorDetail.value_or("-") + u'|' +
             (run.sawLauncherInstalled ? u"L" : u"") + (run.sawGameStart ? u"G" : u"");
    };
    const std::pair<const char *, QStringView> steps[] = {
        {"Downloading client: 5%", u"rejected|-|"},
        {"UPDATE_CHECK launcher=current client=available:r5", u"- r5|-|"},
        {"Tarvex launcher error: one", u"- r5|one|"},
        {"Tarvex launcher error:", u"- r5||"},
        {"UPDATE_CHECK x", u"rejected||"},
        {"Installed launcher x. Restarting…", u"rejected||L"},
        {"Starting Tarvex…", u"rejected||LG"},
        {"Client r5 is current.", u"rejected||LG"},
    };
    for (const auto &[line, expected] : steps) {
      const QString state = read(line);
      QVERIFY2(state == expected, qPrintable(QString::fromUtf8(line) + u": " + state));
    }
  }

  void everyCheckIsFollowedUp() {
    const QString found = QStringLiteral("0123456789abcdef");
    for (const CheckOutcome &outcome :
         {CheckOutcome{}, CheckOutcome{{}, found}, {found, {}}, {found, found}}) {
      const bool available = outcome != CheckOutcome{};
      for (const bool automatic : {false, true}) {
        for (const bool play : {false, true}) {
          const FollowUp next = followUp(outcome, automatic, play);
          QCOMPARE(next.run == Mode::update, automatic && available);
          QCOMPARE(next.run == Mode::play, play && !available);
          QVERIFY(next.run != Mode::check);
          QVERIFY(!next.automaticUpdatePending);
          QCOMPARE(next.playAfterCheck, play && automatic && available);
        }
      }
    }
  }
};

QTEST_APPLESS_MAIN(TestUpdater)
#include "test_updater.moc"
