#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include "platform/desktop_entries.h"

using namespace tarvex;

class TestDesktopEntries : public QObject {
  Q_OBJECT

 private slots:
  void commandsOfAnEntry_data() {
    QTest::addColumn<QString>("lines");
    QTest::addColumn<QString>("expected");  // the words, each in brackets; empty: not usable
    const auto row = [](const char *lines, const char *expected) {
      QTest::newRow(lines) << QString(lines) << QString(expected);
    };
    const char *const opens = "[/bin/sh][/a b%]";
    row("Exec=sh %f", opens);
    row("Exec=/bin/sh %F", opens);
    row("Exec=sh", opens);
    row("Exec = sh  %f ", opens);
    row("Exec=sh %u", "[/bin/sh][file:///a%20b%25]");
    row("Exec=sh %U --last", "[/bin/sh][file:///a%20b%25][--last]");
    row("Exec=sh %i --name=%c %k %% %f\nName=x y",
        "[/bin/sh][--name=x y][DATA/app.desktop][%][/a b%]");
    row("Exec=sh \"a b\" \"\" \"\\\\\"\\\\$\" c\"d\" %f", "[/bin/sh][a b][][\"$][cd][/a b%]");
    row("Exec=sh a\\sb %f", "[/bin/sh][a][b][/a b%]");
    row("Exec=sh %f\nTryExec=sh\nTerminal=false\nHidden=false", opens);
    row("Exec=sh %f\nTryExec=/nowhere/sh", "");
    row("Exec=sh %f\nTerminal=true", "");
    row("Exec=sh %f\nHidden=true", "");
    row("Exec=no-such-program %f", "");
    row("Exec=", "");
    row("Exec=\"\"", "");
    row("#Exec=sh", "");
    row("[Desktop Action x]\nExec=sh %f", "");
    row("Name=x", "");
  }
  void commandsOfAnEntry() {
    QFETCH(QString, lines);
    QTemporaryDir folder;
    write(folder, "data/applications/app.desktop", "[Desktop Entry]\n" + lines);
    // The entry of the first folder counts, even if it is not usable.
    write(folder, "data2/applications/app.desktop", "[Desktop Entry]\nExec=sh");
    write(folder, "config/mimeapps.list", "[Default Applications]\ntext/plain=app.desktop");
    QTEST(commands(folder, "/a b%"), "expected");
  }

  // Applications in the order in which they are tried.
  void orderOfTheApplications_data() {
    QTest::addColumn<QStringList>("lists");  // each a file with its group, type and entries
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const QStringList &lists, const char *expected) {
      QTest::newRow(name) << lists << QString(expected);
    };
    row("nothing", {}, "");
    row("default", {"config/mimeapps.list|Default Applications|text/plain|a"}, "a");
    row("several", {"config/mimeapps.list|Default Applications|text/plain|b;missing;;a;b"}, "b a");
    row("another type", {"config/mimeapps.list|Default Applications|text/html|a"}, "");
    row("special type first",
        {"config/mimeapps.list|Default Applications|text/plain|a",
         "data2/applications/mimeapps.list|Default Applications|text/x-log|b"},
        "b a");
    row("player's own first",
        {"data2/applications/mimeapps.list|Default Applications|text/plain|d",
         "data/applications/mimeapps.list|Default Applications|text/plain|c",
         "config2/mimeapps.list|Default Applications|text/plain|b",
         "config/mimeapps.list|Default Applications|text/plain|a"},
        "a b c d");
    row("desktop's own first",
        {"config/mimeapps.list|Default Applications|text/plain|b",
         "config/kde-mimeapps.list|Default Applications|text/plain|a",
         "config/gnome-mimeapps.list|Default Applications|text/plain|c"},
        "a b");
    row("associations after defaults",
        {"data/applications/mimeinfo.cache|MIME Cache|text/x-log|c",
         "config/mimeapps.list|Added Associations|text/plain|b",
         "data2/applications/mimeapps.list|Default Applications|text/plain|a"},
        "a c b");
    row("cache elsewhere", {"config/mimeinfo.cache|MIME Cache|text/plain|a"}, "");
    row("group of another name", {"config/mimeapps.list|Default|text/plain|a"}, "");
    row("entry in a folder", {"config/mimeapps.list|Default Applications|text/plain|in-side-x"},
        "in-side-x");
  }
  void orderOfTheApplications() {
    QFETCH(QStringList, lists);
    QTemporaryDir folder;
    for (const char *const name : {"a", "b", "c", "d", "in/side-x"}) {
      write(folder, QString("data2/applications/%1.desktop").arg(name),
            "[Desktop Entry]\nExec=sh " + QString(name).replace('/', '-'));
    }
    for (const QString &list : lists) {
      const QStringList parts = list.split('|');
      write(folder, parts[0],
            "[" + parts[1] + "]\n" + parts[2] + "=" + QString(parts[3]).replace(';', ".desktop;") +
                ".desktop\n");
    }
    QString tried = commands(folder, "/f");
    tried.replace("[/f]", " ").remove("[/bin/sh]").remove('[').remove(']');
    QTEST(tried.trimmed(), "expected");
  }

 private:
  static void write(const QTemporaryDir &folder, const QString &name, const QString &text) {
    QFile file(folder.filePath(name));
    QVERIFY(QDir(folder.path()).mkpath(QFileInfo(file).path()) && file.open(QIODevice::Append));
    file.write(text.toUtf8());
  }
  static QString commands(const QTemporaryDir &folder, const std::string &file) {
    const std::filesystem::path root = folder.path().toStdString();
    QString result;
    for (const auto &words : commandsToShow(
             file, {"text/x-log", "text/plain"},
             {{root / "config", root / "config2"}, {root / "data", root / "data2"}, {"kde"}})) {
      for (const std::string &word : words) {
        result += "[" + QString::fromStdString(word) + "]";
      }
    }
    result.replace("/usr/bin/sh", "/bin/sh");
    return result.replace(folder.filePath("data/applications"), "DATA");
  }
};

QTEST_GUILESS_MAIN(TestDesktopEntries)
#include "test_desktop_entries.moc"
