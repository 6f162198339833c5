#include <QTest>

#include "app/launch_options.h"

using namespace tarvex;

class TestLaunchOptions : public QObject {
  Q_OBJECT

 private slots:
  void parses_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("expected");  // region, continue, from, no self-update, game
    const auto row = [](const QStringList &arguments, const QString &expected) {
      QTest::newRow(arguments.join(u' ').toUtf8()) << arguments << expected;
    };
    const QString hex = "0123456789abcdef";
    const QString none = "-|0|-|0|";
    row({}, none);
    row({"--continue", "--no-self-update", "--continue"}, "-|1|-|1|");
    row({"--region", "eu-west"}, "eu-west|0|-|0|");
    row({"--region", "a"}, "a|0|-|0|");
    row({"--region", QString(32, u'a')}, QString(32, u'a') + "|0|-|0|");
    for (const QString &id : {QString(33, u'a'), QString("EU"), QString("9north"), QString(""),
                              QString("a_b"), QString("a\n"), QString("-a"), QString("é")}) {
      row({"--region", id}, none);
    }
    row({"--region"}, none);
    row({"--region", "--continue"}, none);
    row({"--region", "--", "x"}, none);
    row({"--region", "north", "--region", "south"}, "south|0|-|0|");
    row({"--region", "north", "--region", "South"}, "north|0|-|0|");
    row({"--region", "north", "--region"}, "north|0|-|0|");
    row({"--relaunched-from", hex}, "-|0|" + hex + "|0|");
    row({"--relaunched-from", hex + "0"}, none);
    row({"--"}, none);
    row({"--", "--region", "north", "--", "-x", ""}, "-|0|-|0|--region,north,--,-x,");
    row({"--continue", "--", "--continue"}, "-|1|-|0|--continue");
    row({"--region=north", "-c", "--Continue", "--cont", "north"}, none);
    row({"--unknown", "--continue"}, "-|1|-|0|");
    row({"-platform", "x", "-style", "--", "-display", "y"}, "-|0|-|0|-display,y");
  }
  void parses() {
    QFETCH(QStringList, arguments);
    std::vector<std::string> list{"--continue"};  // the program's path, never an option
    for (const QString &argument : arguments) {
      list.push_back(argument.toStdString());
    }
    const LaunchOptions options = LaunchOptions::parse(list);
    QStringList game;
    for (const std::string &argument : options.gameArguments) {
      game.append(QString::fromStdString(argument));
    }
    QTEST(QString(options.region.value_or("-") + (options.automaticContinue ? "|1|" : "|0|") +
                  options.relaunchedFrom.value_or("-") + (options.noSelfUpdate ? "|1|" : "|0|") +
                  game.join(u',')),
          "expected");
  }

  void survivesAnEmptyListAndForeignBytes() {
    QCOMPARE(LaunchOptions::parse({}), LaunchOptions{});
    const LaunchOptions options =
        LaunchOptions::parse({"t", "--region", "a\xFF", "--", "\xFF\x00"});
    QVERIFY(!options.region);
    QCOMPARE(options.gameArguments, std::vector<std::string>{"\xFF\x00"});
  }
};

QTEST_APPLESS_MAIN(TestLaunchOptions)
#include "test_launch_options.moc"
