#include <fcntl.h>
#include <sys/stat.h>

#include <QDir>
#include <QFile>
#include <QLockFile>
#include <QRegularExpression>
#include <QSettings>
#include <QStringEncoder>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>

#include "platform/background_removal.h"
#include "platform/bundle.h"
#include "platform/durable_file.h"
#include "platform/single_instance.h"
#include "platform/user_settings.h"
#include "test_limit.h"

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

  void entriesAreAppended() {
    QVERIFY(!DurableFile::open(root / "log"));
    QVERIFY(createPrivateFile(root / "log"));
    QVERIFY(!createPrivateFile(root / "log"));
    auto file = DurableFile::open(root / "log");
    QVERIFY(file->append("one\n"));
    QVERIFY(DurableFile::open(root / "log")->append("two\n"));
    QVERIFY(file->append(""));
    QVERIFY(file->append(std::string("th\0ee", 5)));
    QCOMPARE(*readFile(root / "log", 99), std::string("one\ntwo\nth\0ee", 13));
    std::filesystem::resize_file(root / "log", 0);  // as another program may do
    QVERIFY(file->append("four"));
    QCOMPARE(*readFile(root / "log", 99), "four");
  }

  void partOfAnEntryIsRemovedOnAFullDevice() {
    createPrivateFile(root / "log");
    auto file = DurableFile::open(root / "log");
    std::signal(SIGXFSZ, SIG_IGN);
    const Limit size(RLIMIT_FSIZE, 10);
    QVERIFY(file->append("1234567\n"));
    QVERIFY(!file->append("too long\n"));
    QVERIFY(file->append("\n"));
    QCOMPARE(*readFile(root / "log", 99), "1234567\n\n");
  }

  void createdFilesAndFoldersArePrivate() {
    for (const mode_t mask : {0000U, 0022U, 0777U}) {
      const std::filesystem::path deep = root / std::to_string(mask) / "a" / "b";
      const mode_t before = ::umask(mask);
      bool folders = createPrivateFolders(deep);
      folders = createPrivateFolders(deep) && folders;  // exists already
      const bool file = createPrivateFile(deep / "f") && DurableFile::open(deep / "f")->append("x");
      const bool replaced =
          createPrivateFile(deep / "g") && replaceByPrivateFile(deep / "g", leaveEmpty);
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
    QVERIFY(!replaceByPrivateFile(root / "missing" / "f", leaveEmpty));
    QVERIFY(!replaceByPrivateFile(root / "plain", [](const auto &) { return false; }));
    QCOMPARE(namesIn(root), (QStringList{"0", "18", "511", "plain"}));
  }

  void fileAboveTheLimitIsNotRead() {
    QVERIFY(createPrivateFile(root / "log"));
    for (const std::uintmax_t size : {0ULL, 1ULL, 65536ULL, 65537ULL}) {
      std::filesystem::resize_file(root / "log", size);
      QCOMPARE(readFile(root / "log", size).value_or("none"), std::string(size, '\0'));
      QVERIFY(size == 0 || !readFile(root / "log", size - 1));
    }
    std::filesystem::resize_file(root / "log", std::uintmax_t(1) << 40);  // more than any memory
    QVERIFY(!readFile(root / "log", 65536));
    const std::filesystem::path saysItIsEmpty = "/proc/self/maps";
    QVERIFY(readFile(saysItIsEmpty, 1'000'000));
    QVERIFY(!readFile(saysItIsEmpty, 10));
  }

  // A plain open or read of these would wait, or never end.
  void pipesAndDevicesNeverBlock() {
    const std::filesystem::path pipe = root / "pipe";
    QCOMPARE(::mkfifo(pipe.c_str(), 0600), 0);
    const std::filesystem::path device = "/dev/full";
    for (const std::filesystem::path &path : {pipe, root, device, root / "missing"}) {
      QCOMPARE(DurableFile::open(path).has_value(), path == device);
      QVERIFY(!readFile(path, 99));
    }
    QVERIFY(!DurableFile::open(device)->append("x"));
  }

  void foldersAndLinksAreRemoved() {
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

  void deeplyNestedFoldersAreRemoved() {
    createPrivateFile(root / "kept");
    std::filesystem::create_directory(root / "deep");
    Descriptor here(::open((root / "deep").c_str(), O_RDONLY | O_CLOEXEC));
    for (int depth = 0; depth < 3000; ++depth) {
      QCOMPARE(::mkdirat(here.get(), "sub", 0700), 0);
      if (depth % 1000 == 0) {
        QCOMPARE(::mkdirat(here.get(), "empty", 0700), 0);
        QCOMPARE(::symlinkat(root.c_str(), here.get(), "up"), 0);
      }
      here = Descriptor(::openat(here.get(), "sub", O_RDONLY | O_CLOEXEC));
    }
    here.reset();
    const Limit descriptors(RLIMIT_NOFILE, 32);
    removeInBackground(root / "deep");
    QTRY_VERIFY_WITH_TIMEOUT(!std::filesystem::exists(root / "deep"), 60'000);
    QCOMPARE(namesIn(root), QStringList("kept"));
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
    const QByteArray declared = "<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n<!DOCTYPE plist>\n";
    const QString text = QString::fromUtf8(declared + program.mid(head.indexOf("<plist"))) +
                         "<string>é😀</string>" + tail;
    for (const auto encoding : {QStringConverter::Utf8, QStringConverter::Utf16LE,
                                QStringConverter::Utf16BE, QStringConverter::Utf32}) {
      QStringEncoder encoder(encoding, QStringConverter::Flag::WriteBom);
      const QByteArray bytes = encoder(text);
      QVERIFY2(information(bytes) == (BundleInformation{{"CFBundleExecutable", "é😀"}}), bytes);
      QVERIFY2(information(bytes.first(bytes.size() / 2)).empty(), bytes);
    }
    const QByteArray keyWithNul = QByteArray::fromHex(
        "62706c6973743030 d10102 526100 5162 080b0e 0000000000000101"
        "0000000000000003 0000000000000000 0000000000000010");
    const QByteArray textWithNul =
        program + "<string>x" + QByteArray(1, '\0') + "y</string>" + tail;
    const QByteArray deep = program + QByteArray("<array>").repeated(1'000'000);
    for (const QByteArray &broken :
         {QByteArray(), QByteArray("text"), QByteArray("<plist><array/></plist>"), program,
          QByteArray("bplist00"), QByteArray("<plist version=\"1.0\"><string>A</string></plist>"),
          keyWithNul, textWithNul, deep, deep.first(65536), QByteArray("\xEF\xBB\xBF"),
          QByteArray("\xFE\xFF\0", 3), QByteArray("\xEF\xBB\xBF" + keyWithNul)}) {
      QVERIFY2(information(broken).empty(), broken.first(std::min<qsizetype>(broken.size(), 99)));
    }
    QVERIFY(list.remove());
    QVERIFY(Bundle::ofExecutable(contents / "Linux" / "t").information.empty());
  }

  void settingsKeepText() {
    const std::filesystem::path file = useSettings();
    QVERIFY(!userSetting("key"));
    const mode_t before = ::umask(0);
    setUserSetting("key", "x");
    setUserSetting("key", "a, b = \"ü\"");
    ::umask(before);
    QCOMPARE(*userSetting("key"), "a, b = \"ü\"");
    QCOMPARE(modeOf(file.parent_path()), 0700U);
    QCOMPARE(modeOf(file), 0600U);
    write(file, "[General]\nkey=a, b\n");  // a list
    QVERIFY(!userSetting("key"));
    write(file, QByteArray("\0[garbage\xFF\n=", 12));
    QVERIFY(!userSetting("key"));
    setUserSetting("key", "y");
    QCOMPARE(*userSetting("key"), "y");
  }

  void settingsAreThoseOfQt() {
    const std::filesystem::path file = useSettings();
    QSettings().setValue("key", "x");  // QSettings determines its folder only once
    QSettings().setValue("other/list", QStringList{"1", "é, 2"});
    std::filesystem::rename(file, root / "kept elsewhere");
    std::filesystem::create_symlink(root / "kept elsewhere", file);
    QCOMPARE(*userSetting("key"), "x");
    const auto written = std::filesystem::last_write_time(file);
    setUserSetting("key", "x");
    QVERIFY(std::filesystem::last_write_time(file) == written);
    setUserSetting("key", "a = \"ü\"");
    QCOMPARE(QSettings().value("key").toString(), "a = \"ü\"");
    QCOMPARE(QSettings().value("other/list").toStringList(), (QStringList{"1", "é, 2"}));
    QVERIFY(std::filesystem::is_symlink(file));
    QCOMPARE(namesIn(file.parent_path()), QStringList("settings.conf"));
  }

  void settingsNeverBlock() {
    const std::filesystem::path file = useSettings();
    const std::filesystem::path lock = file.string() + ".lock";
    setUserSetting("key", "x");
    QLockFile held(QString::fromStdString(lock));  // held by this process, so it is not stale
    QVERIFY(held.lock());
    setUserSetting("key", "held");
    QCOMPARE(*userSetting("key"), "held");
    held.unlock();
    std::filesystem::create_directory(lock);
    setUserSetting("key", "folder");
    QCOMPARE(*userSetting("key"), "folder");
    std::filesystem::remove(lock);

    {
      const Limit size(RLIMIT_FSIZE, 20);
      setUserSetting("key", "does not fit");
    }
    QCOMPARE(*userSetting("key"), "folder");
    QCOMPARE(namesIn(file.parent_path()), QStringList("settings.conf"));

    std::filesystem::resize_file(file, std::uintmax_t(1) << 40);
    QVERIFY(!userSetting("key"));
    setUserSetting("key", "x");
    QCOMPARE(std::filesystem::file_size(file), std::uintmax_t(1) << 40);
    for (const bool isPipe : {true, false}) {
      std::filesystem::remove(file);
      QVERIFY(isPipe ? ::mkfifo(file.c_str(), 0600) == 0 : std::filesystem::create_directory(file));
      QVERIFY(!userSetting("key"));
      setUserSetting("key", "x");
      QVERIFY(isPipe ? std::filesystem::is_fifo(file) : std::filesystem::is_directory(file));
    }
  }

  void folderHasOneNameOnTheBus() {
    const std::string name = instanceName(root / "home/not yet there");
    const QRegularExpression form("\\Acom\\.tarvex\\.launcher\\.s[0-9a-f]{16}\\z");
    QVERIFY(form.match(QString::fromStdString(name)).hasMatch());
    std::filesystem::create_directory(root / "home");
    std::filesystem::create_directory_symlink("home", root / "link");
    for (const char *const same : {"home/not yet there", "link/../link/not yet there"}) {
      QCOMPARE(instanceName(root / same), name);
    }
    for (const char *const other : {"home", "home/not yet There", "home/not yet \xff"}) {
      QVERIFY(instanceName(root / other) != name);
    }
  }

 private:
  std::unique_ptr<QTemporaryDir> folder;
  std::filesystem::path root;

  static bool leaveEmpty(const std::filesystem::path & /*temporary*/) { return true; }

  static QStringList namesIn(const std::filesystem::path &path) {
    return QDir(QString::fromStdString(path)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
  }

  std::filesystem::path useSettings() {
    qputenv("XDG_CONFIG_HOME", folder->path().toUtf8());
    QCoreApplication::setOrganizationName("Test");
    QCoreApplication::setApplicationName("settings");
    return root / "Test" / "settings.conf";
  }

  static void write(const std::filesystem::path &path, const QByteArray &body) {
    QFile file(QString::fromStdString(path));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(body);
  }
};

QTEST_GUILESS_MAIN(TestFiles)
#include "test_files.moc"
