#include <sys/resource.h>
#include <sys/stat.h>

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>

#include "platform/background_removal.h"
#include "platform/bundle.h"
#include "platform/durable_file.h"
#include "platform/startup.h"
#include "platform/user_settings.h"

using namespace tarvex;

namespace {

mode_t modeOf(const std::filesystem::path &path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

}  // namespace

class TestFiles : public QObject {
  Q_OBJECT

 private slots:
  void init() {
    folder = std::make_unique<QTemporaryDir>();
    root = folder->path().toStdString();
  }

  void entriesAreAddedAtTheEnd() {
    QVERIFY(!DurableFile::open(root / "log"));
    QVERIFY(createPrivateFile(root / "log"));
    QVERIFY(!createPrivateFile(root / "log"));
    auto file = DurableFile::open(root / "log");
    QVERIFY(file->append("one\n"));
    QVERIFY(DurableFile::open(root / "log")->append("two\n"));
    QVERIFY(file->append(""));
    QVERIFY(file->append(std::string("th\0ee", 5)));
    QCOMPARE(*readFile(root / "log"), std::string("one\ntwo\nth\0ee", 13));
    std::filesystem::resize_file(root / "log", 0);  // somebody empties it
    QVERIFY(file->append("four"));
    QCOMPARE(*readFile(root / "log"), "four");
  }

  void entryThatDoesNotFitIsTakenBack() {
    createPrivateFile(root / "log");
    auto file = DurableFile::open(root / "log");
    rlimit usual{};
    ::getrlimit(RLIMIT_FSIZE, &usual);
    const rlimit tight{10, usual.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    ::setrlimit(RLIMIT_FSIZE, &tight);
    const bool first = file->append("1234567\n");
    const bool second = file->append("too long\n");
    const bool third = file->append("\n");
    ::setrlimit(RLIMIT_FSIZE, &usual);
    QVERIFY(first && !second && third);
    QCOMPARE(*readFile(root / "log"), "1234567\n\n");
  }

  void whatWeCreateIsThePlayersAlone() {
    for (const mode_t mask : {0000U, 0022U, 0777U}) {
      const std::filesystem::path deep = root / std::to_string(mask) / "a" / "b";
      const mode_t before = ::umask(mask);
      bool folders = createPrivateFolders(deep);
      folders = createPrivateFolders(deep) && folders;  // there already
      const bool file = createPrivateFile(deep / "f") && DurableFile::open(deep / "f")->append("x");
      const bool replaced = createPrivateFile(deep / "g") && replaceByEmptyPrivateFile(deep / "g");
      ::umask(before);
      QVERIFY(folders && file && replaced);
      for (const std::filesystem::path &one : {deep, deep.parent_path()}) {
        QCOMPARE(modeOf(one), 0700U);
      }
      QCOMPARE(modeOf(deep / "f"), 0600U);
      QCOMPARE(modeOf(deep / "g"), 0600U);
    }
    createPrivateFile(root / "plain");
    QVERIFY(!createPrivateFolders(root / "plain"));
    QVERIFY(!createPrivateFolders(root / "plain" / "sub"));
    QVERIFY(!replaceByEmptyPrivateFile(root / "missing" / "f"));
  }

  // Each of these would make a careless program wait, or read without end.
  void nothingMakesUsWait() {
    const std::filesystem::path pipe = root / "pipe";
    QCOMPARE(::mkfifo(pipe.c_str(), 0600), 0);
    const std::filesystem::path device = "/dev/full";
    for (const std::filesystem::path &path : {pipe, root, device, root / "missing"}) {
      QCOMPARE(DurableFile::open(path).has_value(), path == device);
      QVERIFY(!readFile(path));
    }
    QVERIFY(!DurableFile::open(device)->append("x"));
  }

  void whatIsInTheWayGoes() {
    const auto isGone = [](const std::filesystem::path &path) {
      return !std::filesystem::exists(std::filesystem::symlink_status(path));
    };
    removeInBackground(root / "missing");
    std::filesystem::create_directories(root / "tree" / "deep" / "deeper");
    removeInBackground(root / "tree");
    QTRY_VERIFY(isGone(root / "tree"));
    std::filesystem::create_directory(root / "kept");
    for (const char *target : {"kept", "missing"}) {
      std::filesystem::create_symlink(root / target, root / "link");
      removeInBackground(root / "link");
      QTRY_VERIFY(isGone(root / "link"));
    }
    QVERIFY(!isGone(root / "kept"));
  }

  void bundleOfAnExecutable_data() {
    QTest::addColumn<QString>("executable");
    QTest::addColumn<QString>("bundle");
    QTest::addColumn<QString>("resources");
    const auto row = [](const char *executable, const char *bundle, const char *resources) {
      QTest::newRow(executable) << executable << bundle << resources;
    };
    row("/o/T.app/Contents/Linux/t", "/o/T.app", "/o/T.app/Contents/Resources");
    row("/o/T.app/Contents/MacOS/t", "/o/T.app", "/o/T.app/Contents/Resources");
    row("/o/T/Contents/Linux/t", "/o/T", "/o/T/Contents/Resources");
    row("/o/T.app/Contents/linux/t", "/o/T.app/Contents/linux", "/o/T.app/Contents/linux");
    row("/o/T.app/contents/Linux/t", "/o/T.app/contents/Linux", "/o/T.app/contents/Linux");
    row("/usr/bin/t", "/usr/bin", "/usr/bin");
  }
  void bundleOfAnExecutable() {
    QFETCH(QString, executable);
    const Bundle bundle = Bundle::ofExecutable(executable.toStdString());
    QTEST(QString::fromStdString(bundle.path), "bundle");
    QTEST(QString::fromStdString(bundle.resources), "resources");
  }

  void informationKeepsTextsOnly() {
    const std::filesystem::path contents = root / "T.app" / "Contents";
    std::filesystem::create_directories(contents / "Linux");
    QFile list(QString::fromStdString(contents / "Info.plist"));
    const auto information = [&](const QByteArray &body) {
      static_cast<void>(list.open(QIODevice::WriteOnly));
      list.write(body);
      list.close();
      return Bundle::ofExecutable(contents / "Linux" / "t").information;
    };
    const QByteArray head = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>";
    const QByteArray tail = "</dict></plist>";
    const QByteArray program = head + "<key>CFBundleExecutable</key>";
    const QByteArray number = "<key>CFBundleVersion</key><integer>7</integer><key>C</key><true/>";
    QCOMPARE(information(program + "<string>x &amp; é</string>" + number + tail),
             (BundleInformation{{"CFBundleExecutable", "x & é"}}));
    QCOMPARE(information(program + "<string></string>" + tail),
             (BundleInformation{{"CFBundleExecutable", ""}}));
    const QByteArray keyWithNul = QByteArray::fromHex(
        "62706c6973743030 d10102 526100 5162 080b0e 0000000000000101"
        "0000000000000003 0000000000000000 0000000000000010");
    const QByteArray textWithNul =
        program + "<string>x" + QByteArray(1, '\0') + "y</string>" + tail;
    const QByteArray deep = program + QByteArray("<array>").repeated(1'000'000);
    for (const QByteArray &broken :
         {QByteArray(), QByteArray("text"), QByteArray("<plist><array/></plist>"), program,
          QByteArray("bplist00"), QByteArray("<plist version=\"1.0\"><string>A</string></plist>"),
          keyWithNul, textWithNul, deep, deep.first(65536)}) {
      QVERIFY2(information(broken).empty(), broken.first(std::min<qsizetype>(broken.size(), 99)));
    }
    QVERIFY(list.remove());
    QVERIFY(Bundle::ofExecutable(contents / "Linux" / "t").information.empty());
  }

  void settingsKeepText() {
    qputenv("XDG_CONFIG_HOME", folder->path().toUtf8());
    QCoreApplication::setOrganizationName("Test");
    QCoreApplication::setApplicationName("settings");
    const auto write = [&](const QByteArray &body) {
      std::filesystem::create_directories(root / "Test");
      QFile file(folder->filePath("Test/settings.conf"));
      QVERIFY(file.open(QIODevice::WriteOnly));
      file.write(body);
    };
    QVERIFY(!userSetting("key"));
    const mode_t before = ::umask(0);
    setUserSetting("key", "x");
    setUserSetting("key", "a, b = \"ü\"");
    ::umask(before);
    QCOMPARE(*userSetting("key"), "a, b = \"ü\"");
    QCOMPARE(modeOf(root / "Test"), 0700U);
    QCOMPARE(modeOf(root / "Test/settings.conf"), 0600U);
    write("[General]\nkey=a, b\n");  // a list
    QVERIFY(!userSetting("key"));
    write(QByteArray("\0[garbage\xFF\n=", 12));
    QVERIFY(!userSetting("key"));
  }

 private:
  std::unique_ptr<QTemporaryDir> folder;
  std::filesystem::path root;

  void home() {
    const QByteArray before = qgetenv("HOME");
    qputenv("HOME", "/some where");
    QCOMPARE(homeFolder(), std::filesystem::path("/some where"));
    for (const bool empty : {true, false}) {
      empty ? qputenv("HOME", "") : qunsetenv("HOME");
      QVERIFY(homeFolder().is_absolute());
      QVERIFY(homeFolder() != "/some where");
    }
    qputenv("HOME", before);
  }
};

QTEST_GUILESS_MAIN(TestFiles)
#include "test_files.moc"
