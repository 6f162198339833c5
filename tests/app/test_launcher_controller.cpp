#include <sys/wait.h>
#include <unistd.h>

#include <QAbstractItemView>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QTest>
#include <deque>
#include <filesystem>
#include <set>

#include "app/launcher_controller.h"
#include "platform/startup.h"
#include "platform/user_settings.h"
#include "test_application.h"
#include "ui/palette.h"

using namespace tarvex;

namespace {

const char *const version = "0123456789abcdef";
const char *const noReport = "UPDATE_CHECK launcher=current client=current";
const char *const clientReport = "UPDATE_CHECK launcher=current client=available:r5";

const QString startFailed = "Retry|Couldn’t start the game|%1|%1";

QJsonArray printing(const QString &text) {
  return {QJsonArray{"print", text}};
}

using Ends = QMap<QString, QJsonArray>;

// The ends of each mode's run, and the steps of the child that lead to them.
const QString updateFound = "update found";
const QString nothingFound = "nothing found";
const QString updated = "updated";
const QString gameEndsWell = "game ends well";
const QString gameCrashes = "game crashes";
const QString fails = "fails";
const QJsonArray failing{QJsonArray{"exit", 255}};
const Ends checks{{nothingFound, printing(noReport)},
                  {updateFound, printing(clientReport)},
                  {fails, {QJsonArray{"print", noReport}, QJsonArray{"kill", 9}}}};
const Ends updates{{updated, printing("Downloading client: 40%")},
                   {"dead launcher installed", printing("Installed launcher x. Restarting…")},
                   {fails, failing}};
const Ends plays{{gameEndsWell, printing("Starting Tarvex…")},
                 {gameCrashes, {QJsonArray{"print", "Starting Tarvex…\n"}, failing[0]}},
                 {"no game", {}},
                 {fails, failing}};

// A model of the launcher between runs.
struct State {
  QString button;          // empty before the start and after the end
  bool automatic = false;  // the update that a check finds starts without a click
  bool wish = false;       // the game starts after a check that finds nothing
  bool operator==(const State &) const = default;
};

// An action of the player, and the ends of the runs that may follow. Before the start, the action
// is the start, with "--continue" if `other` is set. Later it is a press on the button, or the
// choice of a region if `other` is set.
struct Event {
  bool other;
  QString check;
  QString update;
  QString play;
};

std::vector<Event> allEvents() {
  std::vector<Event> all;
  for (const bool other : {false, true}) {
    for (const QString &check : checks.keys()) {
      for (const QString &update : updates.keys()) {
        for (const QString &play : plays.keys()) {
          all.push_back({other, check, update, play});
        }
      }
    }
  }
  return all;
}

struct Step {
  State state;         // after the step
  QString button;      // its title then; empty when the launcher has ended
  QStringList runs{};  // the modes of the runs
  QString name{};      // differs for steps that differ
};

// The mode of the run that follows without a click. When it is empty, `button` gets the title.
QString following(const QString &mode, const Event &event, State &state, QString &button) {
  if (mode == "play") {
    button = event.play == gameEndsWell ? "" : "Retry";
    return {};
  }
  if (mode == "update" ? event.update != updated : event.check == fails) {
    button = "Retry";
    return {};
  }
  if (mode == "update") {
    return "check";
  }
  const bool found = event.check == updateFound;
  if (std::exchange(state.automatic, false) && found) {
    return "update";
  }
  if (std::exchange(state.wish, false) && !found) {
    return "play";
  }
  button = found ? "Update" : "Play";
  return {};
}

Step follow(State state, const Event &event) {
  const bool pressed = !state.button.isEmpty() && !event.other;
  Step step;
  step.name = state.button + (state.automatic ? " automatic" : "") + (state.wish ? " wish" : "") +
              (event.other ? " other:" : ":");
  QString mode = pressed && state.button == "Update" ? "update" : "check";
  state.automatic |= state.button.isEmpty() && event.other;
  state.wish |= pressed && state.button == "Play";
  while (!mode.isEmpty()) {
    step.runs.append(mode);
    step.name += " " + mode + " " +
                 (mode == "check"    ? event.check
                  : mode == "update" ? event.update
                                     : event.play);
    mode = following(mode, event, state, step.button);
  }
  const bool hidesWindow = event.play == gameEndsWell || event.play == gameCrashes;
  if (step.runs.last() != "play" || !hidesWindow) {
    step.state = {step.button, state.automatic, state.wish};
  }
  return step;
}

// Each reachable state with the shortest way to it.
std::vector<std::pair<State, std::vector<Event>>> reachableStates() {
  std::vector<std::pair<State, std::vector<Event>>> states{{{}, {}}};
  for (std::size_t index = 0; index < states.size(); ++index) {
    for (const Event &event : allEvents()) {
      auto [from, way] = states[index];
      const State state = follow(from, event).state;
      if (std::none_of(states.begin(), states.end(),
                       [&](const auto &known) { return known.first == state; })) {
        way.push_back(event);
        states.emplace_back(state, way);
      }
    }
  }
  return states;
}

}  // namespace

// The controller with real children: tests/child.py takes the updater's place. It does the steps of
// plan.json and records its arguments.
class TestLauncherController : public QObject {
  Q_OBJECT

 private slots:
  void initTestCase() { styleQt(); }

  void init() {
    folder = std::make_unique<QTemporaryDir>();
    qputenv("XDG_CONFIG_HOME", (folder->path() + "/config").toUtf8());
    const QDir root(folder->path());
    QVERIFY(root.mkpath("T.app/Contents/Resources") && root.mkpath("home"));
    QVERIFY(QFile::copy(TARVEX_TEST_CHILD, resource("client_updater.py")));
    write("launcher-config.json",
          R"({"schemaVersion":2,"defaultRegion":"north","regions":[{"id":"north","name":"North"},)"
          R"({"id":"south","name":"<b>South</b> & Co"},{"id":"far","name":"North"}]})");
    terminations = 0;
    bundleVersion = version;
    plan({{"check", printing(noReport)}});
  }

  void cleanup() {
    cleanUpController();
    folder.reset();
  }

  // The child's steps in the runs after the start, and the window after them. With steps for a play
  // run, the button is pressed.
  void endsOfRuns_data() {
    QTest::addColumn<QJsonObject>("modes");
    QTest::addColumn<QString>("expected");  // button, status, version line, its tooltip
    QTest::addColumn<QString>("log");
    const auto row = [](const char *name, const QJsonObject &modes, const QString &expected,
                        const QString &log) { QTest::newRow(name) << modes << expected << log; };
    const QString checkLog = "Checking for updates.\n";
    const QString currentLog = checkLog + noReport + "\n";
    const QString launcherReport =
        QString("UPDATE_CHECK launcher=available:%1 client=available:r5").arg(version);
    row("check finds a launcher and a client", {{"check", printing(launcherReport)}},
        QString("Update|Launcher update available|Launcher %1|").arg(version),
        checkLog + launcherReport + "\n");
    const QJsonArray error{"print", "  Tarvex launcher error: <b>no</b> &amp; net\r\n\n"};
    row("check fails and says why", {{"check", QJsonArray{error, failing[0]}}},
        QString("Retry|Couldn’t check for updates|%1|%1").arg("<b>no</b> &amp; net"),
        checkLog + "Tarvex launcher error: <b>no</b> &amp; net\n");
    const QString progressLines = "Downloading client: 5%\nStarting Tarvex…\n";
    row("progress means nothing in a check", {{"check", printing(progressLines + noReport)}},
        "Play|Ready to play North|Your game is up to date.|",
        checkLog + progressLines + noReport + "\n");
    row("game does not start", {{"check", printing(noReport)}, {"play", QJsonArray{}}},
        startFailed.arg("The game closed before it finished starting."),
        currentLog + currentLog + "Starting update check.\n");
  }
  void endsOfRuns() {
    QFETCH(QJsonObject, modes);
    plan(modes);
    start();
    QCOMPARE(look(), "Checking…|Checking for updates…|Connecting securely to North|");
    if (modes.contains("play")) {
      QTRY_COMPARE(button().text(), "Play");
      pressButton();
      QVERIFY(!button().isEnabled());
      QCOMPARE(label("Launcher status").text(), "Checking for updates…");
    }
    QTRY_VERIFY(button().isEnabled());
    QTEST(look(), "expected");
    QTEST(logged(), "log");
  }

  void linesShowInTheWindow() {
    plan({{"check", printing(clientReport)},
          {"update",
           QJsonArray{QJsonArray{"print", "Updating to client r5…\nDownloading client: 40%\n"},
                      QJsonArray{"wait for", "on1"},
                      QJsonArray{"print", "Verifying and installing client…\n"},
                      QJsonArray{"wait for", "on2"}, QJsonArray{"print", "Installed client r5\n"},
                      QJsonArray{"wait for", "on3"}}}});
    start();
    QTRY_COMPARE(button().text(), "Update");
    pressButton();
    QVERIFY(progress().isVisible() && progress().isIndeterminate() && progress().isAnimating());
    QTRY_COMPARE(look(), "Updating…|Downloading update — 40%|Version r5|");
    QVERIFY(!progress().isIndeterminate() && !progress().isAnimating());
    QCOMPARE(progress().value(), 40.0);
    write("on1", "");
    QTRY_COMPARE(look(), "Updating…|Preparing your game…|Version r5|");
    QVERIFY(progress().isIndeterminate() && progress().isAnimating());
    install("north", "r5");
    write("on2", "");
    QTRY_COMPARE(look(), "Updating…|Ready to play|Version r5  •  source abc|Source revision abc");
    const Label &footer = label("Launcher and game version");
    QCOMPARE(footer.text(), QString("Launcher %1 · Game r5").arg(version));
    QCOMPARE(footer.toolTip(), footer.text());
    plan({{"check", printing(noReport)},
          {"play",
           QJsonArray{QJsonArray{"print", "Starting Tarvex…\n"}, QJsonArray{"wait for", "over"}}}});
    write("on3", "");
    QTRY_COMPARE(look(),
                 "Play|Ready to play North|Installed r5  •  source abc|Source revision abc");
    pressButton();
    QTRY_COMPARE(label("Launcher status").text(), "Launching North…");
    QVERIFY(window().isVisible() && !progress().isAnimating());
    QCOMPARE(progress().value(), 100.0);
    QTRY_VERIFY(!window().isVisible());
  }

  // Every action of the player in every state between runs, with every end of the runs that follow.
  // Goes to each state, and from there on through untried steps while the current state has any.
  void everyStateAndWhatFollows() {
    const auto states = reachableStates();
    std::set<QString> untried;
    for (const auto &[state, way] : states) {
      for (const Event &event : allEvents()) {
        untried.insert(follow(state, event).name);
      }
    }
    QCOMPARE(untried.size(), 53U);
    while (::waitpid(-1, nullptr, 0) > 0) {  // children of earlier tests
    }
    const auto untriedIn = [&](const State &state) {
      for (const Event &event : allEvents()) {
        if (untried.contains(follow(state, event).name)) {
          return std::optional(event);
        }
      }
      return std::optional<Event>();
    };
    for (const auto &[destination, way] : states) {
      while (untriedIn(destination)) {
        State state;
        std::deque<Event> next(way.begin(), way.end());
        for (auto event = untriedIn(destination); event; event = untriedIn(state)) {
          next.push_back(*event);
          for (; !next.empty(); next.pop_front()) {
            const Step step = follow(state, next.front());
            take(state, next.front(), step);
            if (QTest::currentTestFailed()) {
              return;
            }
            untried.erase(step.name);
            state = step.state;
          }
        }
      }
    }
  }

  void regionIsRememberedAndChecked() {
    install("south", "r7");
    start();
    QTRY_COMPARE(button().text(), "Play");
    QCOMPARE(picker().count(), 3);
    QVERIFY(label("Launcher and game version").text().endsWith("Game not installed"));
    choose(Qt::Key_Down);
    QTRY_COMPARE(
        look(),
        "Play|Ready to play <b>South</b> & Co|Installed r7  •  source abc|Source revision abc");
    QVERIFY(label("Launcher and game version").text().endsWith("Game r7"));
    QCOMPARE(*userSetting("selectedRegion"), "south");
    choose(Qt::Key_unknown);  // choosing the same region counts, too
    QTRY_COMPARE(calls().size(), 3);
    QTRY_VERIFY(button().isEnabled());
    for (const Qt::Key key : {Qt::Key_Home, Qt::Key_End, Qt::Key_F, Qt::Key_PageDown}) {
      QTest::keyClick(&picker(), key);
    }
    QCOMPARE(picker().currentIndex(), 1);

    restart({"--region", "nowhere"});
    QCOMPARE(picker().currentIndex(), 1);
    restart({"--region", "far"});
    QCOMPARE(picker().currentIndex(), 2);
    QCOMPARE(*userSetting("selectedRegion"), "far");
    setUserSetting("selectedRegion", "gone");
    restart({});
    QCOMPARE(picker().currentIndex(), 0);
  }

  void brokenInstallationsAreToldApart_data() {
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("content");  // null: the file is missing
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("explanation");
    const auto row = [](const char *name, const char *file, const char *content, const char *what,
                        const char *explanation) {
      QTest::newRow(name) << file << QByteArray(content) << QString("The launcher %1.").arg(what)
                          << QString("/%1: %2\n").arg(file, explanation);
    };
    const char *const invalid = "region configuration is invalid";
    const char *const missing = "No such file or directory";
    row("no updater", "client_updater.py", nullptr, "installation is incomplete", missing);
    row("no catalogue", "launcher-config.json", nullptr, invalid, missing);
    row("no region to begin with", "launcher-config.json",
        R"({"schemaVersion":2,"defaultRegion":"x","regions":[{"id":"a","name":"A"}]})", invalid,
        "“defaultRegion” is the id of no region");
  }
  void brokenInstallationsAreToldApart() {
    QFETCH(QString, file);
    QFETCH(QByteArray, content);
    QFETCH(QString, message);
    if (content.isNull()) {
      QVERIFY(QFile::remove(resource(file)));
    } else {
      write(file, content);
    }
    const QString said = standardErrorOf([this] { start(); });
    QFETCH(QString, explanation);
    QVERIFY2(said.endsWith(explanation), qPrintable(said));
    QCOMPARE(said.count("\n"), 1);
    QVERIFY(window().isVisible());
    QCOMPARE(look(), startFailed.arg(message));
    const bool forGood = message.contains("configuration");
    QCOMPARE(button().isEnabled(), !forGood);
    QCOMPARE(picker().isEnabled(), !forGood);
    QTRY_VERIFY(logButton().isVisible());
    QVERIFY(calls().isEmpty());
    QCOMPARE(logged(), "");
  }

  void resourcesThatGoMissingAreNoticed() {
    const QString resources = folder->filePath("T.app/Contents/Resources");
    const auto pressAndFail = [](const QString &message) {
      pressButton();
      QCOMPARE(look(), startFailed.arg(message));
    };
    start();
    QTRY_COMPARE(button().text(), "Play");
    QVERIFY(QFile::rename(resources, folder->filePath("gone")));
    pressAndFail("The launcher resources could not be found.");
    QVERIFY(QFile::link("Resources", resources));  // a link to itself
    pressAndFail("The launcher installation is incomplete.");
    QVERIFY(QFile::remove(resources) && QFile::rename(folder->filePath("gone"), resources));
    QVERIFY(QFile::remove(resource("launcher-config.json")));
    pressAndFail("The launcher installation is incomplete.");
    QCOMPARE(calls().size(), 1);
  }

  void worksWithoutALog() {
    QVERIFY(QFile(folder->filePath("home/Library")).open(QIODevice::WriteOnly));
    plan({{"check", QJsonArray{}}});
    start();
    QTRY_COMPARE(button().text(), "Retry");
    QVERIFY(!logButton().isVisible());
  }

  void outputAfterTheExitIsOnlyLogged() {
    plan({{"check",
           QJsonArray{QJsonArray{"print", QString(QString(clientReport) + "\n")},
                      QJsonArray{"daemon", "say it", "UPDATE_CHECK x\nStarting Tarvex…\nend"}}}});
    start();
    QTRY_COMPARE(button().text(), "Update");
    write("say it", "");
    QTRY_VERIFY(logged().endsWith("UPDATE_CHECK x\nStarting Tarvex…\nend\n"));
    QCOMPARE(look(), "Update|Update available|Version r5|");
  }

  void unpackagedLauncherSaysSo() {
    bundleVersion = "0";
    const QString said = standardErrorOf([this] { start(); });
    QVERIFY2(said.endsWith("T.app: unpackaged, so never updated: CFBundleVersion is missing, or "
                           "not 16 of 0-9 and a-f\n"),
             qPrintable(said));
    QTRY_COMPARE(button().text(), "Play");
    QCOMPARE(label("Launcher and game version").text(), "Launcher unpackaged · Game not installed");
    QVERIFY(!calls()[0]["arguments"].toVariant().toStringList().contains("--launcher-bundle"));
  }

 private:
  static QString standardErrorOf(const std::function<void()> &action) {
    QTemporaryFile file;
    static_cast<void>(file.open());
    const Descriptor before(::dup(STDERR_FILENO));
    ::dup2(file.handle(), STDERR_FILENO);
    action();
    ::dup2(before.get(), STDERR_FILENO);
    file.seek(0);
    return QString::fromUtf8(file.readAll());
  }

  // Counts the ends of the application instead of ending the test.
  struct Observer : ApplicationDelegate {
    explicit Observer(TestLauncherController &owner) : test(owner) {}
    void applicationDidFinishLaunching() override {}
    bool applicationShouldHandleReopen(const StartupTokens & /*tokens*/) override { return false; }
    bool applicationShouldTerminateAfterLastWindowClosed() override { return false; }
    TerminateReply applicationShouldTerminate() override {
      test.terminations += 1;
      return TerminateReply::cancel;
    }
    void applicationWillTerminate() override {}
    TestLauncherController &test;
  };

  // Performs one step and compares the launcher with the model.
  void take(const State &before, const Event &event, const Step &expected) {
    plan({{"check", checks[event.check]},
          {"update", updates[event.update]},
          {"play", plays[event.play]}});
    QFile::remove(resource("calls.jsonl"));
    terminations = 0;
    if (before.button.isEmpty()) {
      cleanUpController();
      start(event.other ? QStringList{"--continue"} : QStringList{});
      button().installEventFilter(this);
    } else if (event.other) {
      choose(Qt::Key_unknown);
    } else {
      pressButton();
    }
    const QByteArray name = expected.name.toUtf8();
    QVERIFY2(progress().isIndeterminate() && progress().isAnimating(), name);
    Q_EMIT picker().activated(0);
    const auto isOver = [&] {
      if (!button().isEnabled()) {
        Q_EMIT button().clicked();  // has no effect while a run is alive
      }
      return button().isEnabled() || terminations > 0;
    };
    QVERIFY2(QTest::qWaitFor(isOver, 30000), name);
    QStringList runs;
    for (const QJsonObject &call : calls()) {
      runs.append(call["mode"].toString());
    }
    QVERIFY2(runs == expected.runs, qPrintable(expected.name + " but " + runs.join(' ')));
    QVERIFY2(terminations == (expected.button.isEmpty() ? 1 : 0), name);
    if (!expected.button.isEmpty()) {
      QVERIFY2(button().text() == expected.button && picker().isEnabled(), name);
      QVERIFY2(progress().isHidden() && !progress().isIndeterminate() &&
                   !progress().isAnimating() && progress().value() == 0.0,
               name);
      QVERIFY2(logButton().isHidden() == (expected.button != "Retry"), name);
    }
  }
  // The button must be disabled while a child runs.
  bool eventFilter(QObject *watched, QEvent *event) override {
    if (event->type() == QEvent::EnabledChange && static_cast<QWidget *>(watched)->isEnabled()) {
      if (::waitpid(-1, nullptr, WNOHANG) != -1) {
        QTest::qFail("the button is enabled while a run is alive", __FILE__, __LINE__);
      }
    }
    return false;
  }

  QString resource(const QString &name) const {
    return folder->filePath("T.app/Contents/Resources/" + name);
  }
  void write(const QString &name, const QByteArray &body) const {
    QFile file(resource(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(body);
  }
  void plan(const QJsonObject &modes) const { write("plan.json", QJsonDocument(modes).toJson()); }
  void install(const QString &region, const QString &release) const {
    const QString at =
        folder->filePath("home/Library/Application Support/Tarvex/client/regions/" + region);
    QVERIFY(QDir().mkpath(at));
    QFile file(at + "/current.json");
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QString(R"({"releaseId":"%1","sourceRevision":"abc"})").arg(release).toUtf8());
  }

  void start(const QStringList &arguments = {}) {
    std::vector<std::string> list{"tarvex-launcher"};
    for (const QString &argument : arguments) {
      list.push_back(argument.toStdString());
    }
    const std::filesystem::path root = folder->path().toStdString();
    auto &application = *static_cast<Application *>(qApp);
    application.setDelegate(observer);
    controller = std::make_unique<LauncherController>(
        application, LauncherController::Surroundings{list,
                                                      ownEnvironment(),
                                                      {root / "T.app",
                                                       root / "T.app/Contents/Resources",
                                                       {{"CFBundleVersion", bundleVersion}}},
                                                      root / "home"});
    controller->applicationDidFinishLaunching();
  }
  void cleanUpController() {
    if (controller) {
      controller->applicationWillTerminate();
      controller.reset();
    }
  }
  void restart(const QStringList &arguments) {
    cleanUpController();
    start(arguments);
    QTRY_COMPARE(button().text(), "Play");
  }

  static QWidget &window() {
    for (QWidget *const widget : QApplication::topLevelWidgets()) {
      if (widget->windowTitle() == "Tarvex") {
        return *widget;
      }
    }
    qFatal("no window");
  }
  template <typename Widget>
  static Widget &find(const QString &name) {
    for (QWidget *const widget : window().findChildren<QWidget *>()) {
      auto *const found = dynamic_cast<Widget *>(widget);
      if (found != nullptr && (name.isEmpty() || found->accessibleName() == name)) {
        return *found;
      }
    }
    qFatal("no such control");
  }
  static PlayButton &button() { return find<PlayButton>({}); }
  static RegionPicker &picker() { return find<RegionPicker>({}); }
  static ProgressIndicator &progress() { return find<ProgressIndicator>({}); }
  static Label &label(const char *name) { return find<Label>(name); }
  static LogButton &logButton() { return find<LogButton>({}); }

  static void pressButton() { QTest::keyClick(&window(), Qt::Key_Return); }
  static void choose(Qt::Key key) {
    QTest::keyClick(&picker(), Qt::Key_Space);
    QTRY_VERIFY(picker().view()->isVisible());
    if (key != Qt::Key_unknown) {
      QTest::keyClick(picker().view(), key);
    }
    QTest::keyClick(picker().view(), Qt::Key_Return);
  }
  static QString look() {
    const Label &second = label("Installed version");
    return QStringList{button().text(), label("Launcher status").text(), second.text(),
                       second.toolTip()}
        .join('|');
  }

  QString logged() const {  // without the opening header
    QFile file(folder->filePath("home/Library/Application Support/Tarvex/launcher.log"));
    static_cast<void>(file.open(QIODevice::ReadOnly));  // a missing file reads as empty
    return QString::fromUtf8(file.readAll()).section("---\n", 1);
  }
  QList<QJsonObject> calls() const {
    QList<QJsonObject> result;
    QFile file(resource("calls.jsonl"));
    if (file.open(QIODevice::ReadOnly)) {
      while (!file.atEnd()) {
        result.append(QJsonDocument::fromJson(file.readLine()).object());
      }
    }
    return result;
  }

  std::unique_ptr<QTemporaryDir> folder;
  std::unique_ptr<LauncherController> controller;
  std::string bundleVersion;
  Observer observer{*this};
  int terminations = 0;
};

TARVEX_TEST_MAIN(TestLauncherController)
#include "test_launcher_controller.moc"
