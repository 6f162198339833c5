#include <sys/stat.h>

#include <QTemporaryDir>
#include <QTest>

#include "install/installed_metadata.h"
#include "install/launcher_log.h"
#include "install/locations.h"
#include "install/region_catalogue.h"

using namespace tarvex;

class TestInstall : public QObject {
  Q_OBJECT

 private slots:
  void catalogues_data() {
    QTest::addColumn<QString>("json");
    QTest::addColumn<QString>("ids");  // empty: rejected
    const QString whole =
        R"({"schemaVersion":3,"defaultRegion":"a","regions":[{"id":"a","name":"A"},{"id":"b-2","name":"A","x":1}],"more":{}})";
    QTest::newRow("whole") << whole << "a b-2";
    const auto changed = [&](const char *from, const QString &to, const char *ids = "") {
      QString json = whole;
      json.replace(from, to);
      QTest::newRow((from + (" -> " + to)).toUtf8()) << json << ids;
    };
    changed("\"schemaVersion\":3", "\"schemaVersion\":2", "a b-2");
    for (const char *schema : {"1", "4", "3.5", "\"3\"", "true", "null", "[3]", "-3", "2e99",
                               "18446744073709551619", "1e400", "2e400", "-1e400"}) {
      changed("\"schemaVersion\":3", QStringLiteral("\"schemaVersion\":") + schema);
    }
    changed("\"defaultRegion\":\"a\"", "\"defaultRegion\":\"Z?\"", "a b-2");
    for (const char *text : {"7", "null", "[\"a\"]"}) {
      changed("\"defaultRegion\":\"a\"", QStringLiteral("\"defaultRegion\":") + text);
      changed("\"name\":\"A\"}", QStringLiteral("\"name\":") + text + "}");
      changed("\"id\":\"a\"", QStringLiteral("\"id\":") + text);
    }
    changed("\"id\":\"a\"", "\"id\":\"" + QString(32, u'z') + "\"",
            qPrintable(QString(32, u'z') + " b-2"));
    for (const QString &id :
         {QString("b-2"), QString(""), QString("9a"), QString("-a"), QString("A"), QString("a_b"),
          QString("a.b"), QString("a\\n"), QString("é"), QString(33, u'z')}) {
      changed("\"id\":\"a\"", "\"id\":\"" + id + "\"");
    }
    changed("\"name\":\"A\"}", "\"name\":\"\"}", "a b-2");
    for (const char *key :
         {"schemaVersion", "defaultRegion", "regions", "\"id\":\"a\",", "\"name\":\"A\"},"}) {
      changed(key, QString(key).toUpper());
    }
    changed("[{", "[7,{");
    changed("\"regions\":[", "\"regions\":[],\"other\":[");
    changed("}]", "}],}");
    changed("{\"schema", "[{\"schema");
    const QString nul(1, u'\0');
    for (const QString &rest : {QString(" x"), nul, QString(nul + " x")}) {
      changed("\"more\":{}}", "\"more\":{}}" + rest);
    }
    for (const char *value :
         {"\"\\ud8\"", "\"\\ud800\"", "\"\\x\"", "\"\n\"", "\"\t\"", "1.", ".5", "01", "+1", "NaN",
          "'a'", "[1,]", "{a:1}", "tru", "/**/1", "01e400", "1.e400", "1e400.", "1e4 00"}) {
      changed("{}}", QString(value) + "}");
    }
    for (const char *value : {"\"\\ud83d\\ude00\"", "1e400", "[-1.5E+99999, 1e-400]"}) {
      changed("{}}", QString(value) + "}", "a b-2");
    }
    changed("{}}", QString(400, u'9') + "}", "a b-2");
    const QString deep = QString(100'000, u'[') + QString(99'999, u']');
    QTest::newRow("deep") << QString(whole).replace("{}}", deep + "]}") << "a b-2";
    QTest::newRow("deeper than its end") << QString(whole).replace("{}}", deep + "}") << "";
    QTest::newRow("empty") << ""
                           << "";
  }
  void catalogues() {
    QFETCH(QString, json);
    QString ids;
    if (const auto catalogue = parseRegions(json.toStdString())) {
      for (const Region &region : catalogue->regions) {
        ids += (ids.isEmpty() ? "" : " ") + region.id;
      }
    }
    QTEST(ids, "ids");
  }

  void catalogueFaultsAreNamed_data() {
    QTest::addColumn<QString>("json");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *json, const char *reason) {
      QTest::newRow(json) << QString(json) << QString(reason);
    };
    row("{\n 'a': 1}",
        "not JSON: parse error at line 2, column 2: syntax error while parsing object key - "
        "invalid literal; last read: '{<U+000A> ''; expected string literal");
    row("[]", "not a JSON object");
    row("{}", "“schemaVersion” is missing, or not 2 or 3");
    row(R"({"schemaVersion":2})", "“defaultRegion” is missing, or not a text");
    row(R"({"schemaVersion":2,"defaultRegion":"a","regions":[]})",
        "“regions” is missing, or not a list with a region");
    row(R"({"schemaVersion":2,"defaultRegion":"a","regions":[{"id":"a","name":"A"},{"id":"b"}]})",
        "region 2: “id” or “name” is missing, or not a text");
    row(R"({"schemaVersion":2,"defaultRegion":"a","regions":[{"id":"A\n\u009b","name":"A"}]})",
        "region 1: the id \"A\\n\\u009b\" is not a lower-case letter and up to 31 lower-case "
        "letters, digits and hyphens");
    row(R"({"schemaVersion":2,"defaultRegion":"a","regions":[{"id":"a","name":""},)"
        R"({"id":"a","name":"A"}]})",
        "the id “a” is there twice");
  }
  void catalogueFaultsAreNamed() {
    QFETCH(QString, json);
    QTEST(parseRegions(json.toStdString()).reason(), "reason");
  }

  void firstCandidateThatNamesARegionWins() {
    const std::vector<Region> regions{{"a", "A"}, {"b", "B"}, {"c", "B"}};
    const auto index = [&](const std::vector<std::optional<QString>> &candidates) {
      const auto found = initialRegion(regions, candidates);
      return found ? static_cast<int>(*found) : -1;
    };
    QCOMPARE(index({"c", "b", "a"}), 2);
    QCOMPARE(index({std::nullopt, "b", "a"}), 1);
    QCOMPARE(index({"C", "", "a"}), 0);
    QCOMPARE(index({"x", std::nullopt, "y"}), -1);
  }

  void metadata_data() {
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("footer");
    const auto row = [](const QByteArray &json, const char *footer) {
      QTest::newRow(json) << json << QString(footer);
    };
    const char *const none = "Launcher unpackaged · Game not installed";
    const char *const release = "Launcher unpackaged · Game r1";
    row(R"({"releaseId":"r1","sourceRevision":"s","worldVersion":"1.4.2.0a1b2c3d4e5f"})",
        "Launcher unpackaged · Game 1.4.2.0a1b2c3d4e5f (r1)");
    row(R"({"releaseId":"r1","sourceRevision":"s","timeout":1e400})", release);
    row(R"({"releaseId":"","sourceRevision":""})", "Launcher unpackaged · Game ");
    for (const char *world :
         {"\"1.4.2.0A1B2C3D4E5F\"", "\"1.4.2\"", "\"1.4.2.0a1b2c3d4e5\"", "7", "null", "\"\"",
          "\"1234567890.4.2.0a1b2c3d4e5f\"", "\"1.4.2.0a1b2c3d4e5f\\n\"", "[\"1\"]"}) {
      row(QByteArray(R"({"releaseId":"r1","sourceRevision":"s","worldVersion":)") + world + "}",
          release);
    }
    for (const char *json :
         {"", "[]", "7", R"([{"releaseId":"r1","sourceRevision":"s"}])", R"({"releaseId":"r1"})",
          R"({"sourceRevision":"s"})", R"({"releaseId":1,"sourceRevision":"s"})",
          R"({"releaseId":"r1","sourceRevision":null})",
          R"({"releaseId":"r1","sourceRevision":"s")",
          R"({"releaseid":"r1","sourceRevision":"s"})"}) {
      row(json, none);
    }
  }
  void metadata() {
    QFETCH(QByteArray, json);
    QTEST(footerText(std::nullopt, parseInstalledMetadata(json.toStdString()).optional()),
          "footer");
  }

  void installedVersion() {
    const InstalledMetadata installed{"r1", "e\u0301123456789", {}};
    QCOMPARE(installedVersionText("Installed", installed),
             QString("Installed r1  •  source e\u03011234567"));
    QCOMPARE(installedVersionToolTip(installed), QString("Source revision e\u0301123456789"));
    QCOMPARE(installedVersionText("Version", {"r1", "abc", {}}),
             QString("Version r1  •  source abc"));
    QCOMPARE(footerText(QString("0123456789abcdef"), installed),
             QString("Launcher 0123456789abcdef · Game r1"));
  }

  void places() {
    const auto bundleAt = [](const char *path) { return applicationBundle({path, {}, {}}); };
    QCOMPARE(*bundleAt("/o/A B.app"), std::filesystem::path("/o/A B.app"));
    for (const char *other : {"/o/T.APP", "/o/T", "/o/app", "/o/.app", "/o/T.app.old"}) {
      QVERIFY(!bundleAt(other));
    }
    QCOMPARE(currentMetadata("/s", {}),
             std::filesystem::path("/s/client/regions/production/current.json"));
  }

  // Near misses of the form are in the test of the check's reports.
  void versions() {
    const QString version = "0123456789abcdef";
    QCOMPARE(*bundleVersion({{}, {}, {{"CFBundleVersion", version.toStdString()}}}), version);
    QVERIFY(!bundleVersion({{}, {}, {{"CFBundleVersion", "0123456789abcdef\n"}}}));
    QVERIFY(!bundleVersion({}));
  }

  void logIsKeptUntilItIsTooLarge() {
    QTemporaryDir folder;
    const std::filesystem::path support = std::filesystem::path(folder.path().toStdString()) / "s";
    const auto isPrivate = [&] {
      return std::filesystem::status(launcherLog(support)).permissions() ==
             (std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    };
    const mode_t usual = ::umask(0);
    QVERIFY(openLauncherLog(support)->append("kept\n"));
    QVERIFY(isPrivate());
    QVERIFY(openLauncherLog(support)->append("added\n"));
    QCOMPARE(*readFile(launcherLog(support), 99), "kept\nadded\n");
    std::filesystem::resize_file(launcherLog(support), 2'000'000);
    QVERIFY(openLauncherLog(support));
    QCOMPARE(std::filesystem::file_size(launcherLog(support)), 2'000'000U);
    std::filesystem::resize_file(launcherLog(support), 2'000'001);
    QVERIFY(openLauncherLog(support));
    ::umask(usual);
    QCOMPARE(std::filesystem::file_size(launcherLog(support)), 0U);
    QVERIFY(isPrivate());

    std::filesystem::remove(launcherLog(support));
    std::filesystem::create_directory(launcherLog(support));
    QVERIFY(!openLauncherLog(support));
    QVERIFY(createPrivateFile(support / "file"));
    QVERIFY(!openLauncherLog(support / "file" / "below"));
    QCOMPARE(
        openingHeader(QDateTime::fromString("2026-11-16T16:03:03.999+02:00", Qt::ISODateWithMs)),
        "\n--- Launcher opened 2026-11-16T14:03:03Z ---\n");
  }
};

QTEST_APPLESS_MAIN(TestInstall)
#include "test_install.moc"
