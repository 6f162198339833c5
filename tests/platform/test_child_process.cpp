#include <fcntl.h>
#include <malloc.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDir>
#include <QElapsedTimer>
#include <QPointer>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <array>
#include <csignal>
#include <filesystem>
#include <list>
#include <set>

#include "platform/child_process.h"
#include "platform/startup.h"
#include "test_application.h"
#include "test_limit.h"

using namespace tarvex;

namespace {

// A child, and everything that its handlers have reported.
struct Run {
  explicit Run(const QString &steps)
      : Run(Program{"/usr/bin/python3",
                    {TARVEX_TEST_CHILD, "--steps", steps.toStdString()},
                    ownEnvironment()}) {}
  explicit Run(const Program &program)
      : process(ChildProcess::start(
            program,
            {.output = [this](std::string_view bytes) { output.append(bytes); },
             .exited = [this](int end) { status = end; },
             .lateOutput = [this](std::string_view bytes) { late.append(bytes); },
             .outputEnded = [this] { ended = true; }},
            &parent, error)) {}

  QObject parent;
  std::error_code error;
  QByteArray output;
  QByteArray late;
  std::optional<int> status;
  bool ended = false;
  QPointer<ChildProcess> process;
};

std::ptrdiff_t openDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

}  // namespace

class TestChildProcess : public QObject {
  Q_OBJECT

 private slots:
  void outputAndExit_data() {
    QTest::addColumn<QString>("steps");
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<int>("status");
    const auto row = [](const char *name, const char *steps, const QByteArray &output, int status) {
      QTest::newRow(name) << QString::fromUtf8(steps) << output << status;
    };
    row("silent", "[]", "", 0);
    row("both streams in order",
        R"([["print","a"],["complain","b"],["print","c"],["complain","d"]])", "abcd", 0);
    row("status 255", R"([["print","x"],["exit",255]])", "x", 255);
    row("output closed early", R"([["print","x"],["close output"],["exit",3]])", "x", 3);
    row("any byte", R"([["bytes","00ff0a0d000a0a"]])", QByteArray("\0\xff\n\r\0\n\n", 7), 0);
    row("no descriptor but three", R"([["descriptors"]])", "0 1 2", 0);
  }
  void outputAndExit() {
    // A descriptor without close-on-exec, as a parent process may leave one behind.
    const int stray = ::open("/dev/null", O_RDONLY);
    QFETCH(QString, steps);
    Run run(steps);
    QVERIFY(run.process);
    QTRY_VERIFY(run.ended);
    QTEST(run.output, "output");
    QCOMPARE(run.late, QByteArray());
    QTEST(*run.status, "status");
    QTRY_VERIFY(!run.process);
    ::close(stray);
  }

  void everyFatalSignalIsReported() {
    QTemporaryDir folder;  // for the cores
    QDir::setCurrent(folder.path());
    const Limit cores(RLIMIT_CORE, RLIM_INFINITY);
    const std::set harmless{SIGCHLD, SIGCONT, SIGURG, SIGWINCH, SIGSTOP, SIGTSTP, SIGTTIN, SIGTTOU};
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
      if (!harmless.contains(signal)) {
        const QString kill = QString("echo x; kill -%1 $$").arg(signal);
        Run run(Program{"/bin/sh", {"-c", kill.toStdString()}, {}});
        QTRY_VERIFY(run.ended);
        QCOMPARE(run.output, QByteArray("x\n"));
        QCOMPARE(*run.status, signal);
      }
    }
    QDir::setCurrent("/");
  }

  void signalsAreDefaultsExceptAnIgnoredHangUp() {
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    std::signal(SIGUSR2, SIG_IGN);
    std::signal(SIGHUP, SIG_IGN);  // as under nohup; this one is inherited
    Run run(Program{"/usr/bin/cat", {"/proc/self/status"}, {}});
    QTRY_VERIFY(run.ended);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    std::signal(SIGUSR2, SIG_DFL);
    std::signal(SIGHUP, SIG_DFL);
    QVERIFY2(run.output.contains("SigBlk:\t0000000000000000"), run.output);
    QVERIFY2(run.output.contains("SigIgn:\t0000000000000001"), run.output);
  }

  // With SIGCHLD ignored, the kernel drops the exit status.
  void lostExitStatusIsNoSuccess() {
    std::signal(SIGCHLD, SIG_IGN);
    Run run(R"([["exit",3]])");
    QTRY_VERIFY(run.ended);
    std::signal(SIGCHLD, SIG_DFL);
    QVERIFY(*run.status < 0);
  }

  void slowConsumerSlowsTheChildDown() {
    QTemporaryDir folder;
    const QString mark = folder.filePath("done");
    Run run(QStringLiteral(R"([["flood",50000],["touch","%1"]])").arg(mark));
    QTRY_VERIFY(!run.output.isEmpty());
    // Without an event loop here, the child can write only as much as a pipe and two buffers hold.
    QElapsedTimer patience;
    patience.start();
    while (!QFile::exists(mark) && patience.elapsed() < 300) {
    }
    QVERIFY(!QFile::exists(mark));
    QTRY_VERIFY(run.ended);
    QVERIFY(QFile::exists(mark));
    QCOMPARE(run.output.count('\n'), 50000);
  }

  // A second SIGTERM would interrupt the child's clean-up.
  void terminateSendsOneSignal() {
    QTemporaryDir folder;
    const auto path = [&](const char *name) { return folder.filePath(name); };
    Run run(QStringLiteral(R"([["clean up","%1","%2","%3"]])")
                .arg(path("cleaning"), path("go on"), path("clean")));
    QTRY_VERIFY(run.output.contains("ready"));
    run.process->terminate();
    QTRY_VERIFY(QFile::exists(path("cleaning")));
    run.process->terminate();
    QVERIFY(QFile(path("go on")).open(QIODevice::WriteOnly));
    QTRY_COMPARE(run.status.value_or(-1), 0);
    QVERIFY(QFile::exists(path("clean")));
  }

  // A dead child can be reaped only after its tracer has waited for it.
  void tracerThatKeepsTheDeadChildBlocksNothing() {
    QTemporaryDir folder;
    Run run(QStringLiteral(R"([["pid"],["wait for","%1"],["exit",5]])").arg(folder.filePath("go")));
    QTRY_VERIFY(run.output.endsWith('.'));
    const pid_t child = run.output.chopped(1).toInt();
    std::array<int, 2> ends{};
    QCOMPARE(::pipe(ends.data()), 0);
    const pid_t tracer = ::fork();
    if (tracer == 0) {
      const char result = ::ptrace(PTRACE_SEIZE, child, nullptr, nullptr) == 0 ? 'y' : 'n';
      if (::write(ends[1], &result, 1) == 1) {
        ::pause();
      }
      ::_exit(1);
    }
    char traced = 0;
    QCOMPARE(::read(ends[0], &traced, 1), 1);
    const auto letGo = [&] {
      ::kill(tracer, SIGKILL);
      ::waitpid(tracer, nullptr, 0);
    };
    if (traced != 'y') {
      letGo();
      QSKIP("this system lets no process trace another's child");
    }
    QVERIFY(QFile(folder.filePath("go")).open(QIODevice::WriteOnly));
    QTRY_VERIFY(!run.process->isRunning());
    int turns = 0;
    QTimer window;
    connect(&window, &QTimer::timeout, this, [&] { ++turns; });
    window.start(1);
    QTRY_VERIFY(turns > 100);
    QVERIFY(!run.status);
    letGo();
    QTRY_COMPARE(run.status.value_or(-1), 5);
    ::close(ends[0]);
    ::close(ends[1]);
  }

  void failedStartGivesTheErrorAndLeaksNothing() {
    const std::ptrdiff_t before = openDescriptors();
    std::error_code error;
    const auto start = [&](const char *program) {
      return ChildProcess::start({program, {}, {}}, {}, this, error);
    };
    QVERIFY(start("/nonexistent/python3") == nullptr);
    QCOMPARE(error.value(), ENOENT);
    QVERIFY(start("/etc/passwd") == nullptr);
    QCOMPARE(error.value(), EACCES);

    for (rlim_t spare = 0; spare < 5; ++spare) {  // each descriptor in turn cannot be opened
      const Limit descriptors(RLIMIT_NOFILE, static_cast<rlim_t>(before) + spare);
      ChildProcess *const process = start("/usr/bin/true");
      if (process == nullptr) {
        QCOMPARE(error.value(), EMFILE);
      }
      delete process;
    }
    QCOMPARE(openDescriptors(), before);
    while (::waitpid(-1, nullptr, 0) > 0) {  // children that started and were killed again
    }
  }

  // With a limit of 1 the thread cannot start, with 2 the child cannot. The limit does not apply to
  // root, so this thread becomes another user for a moment, by a system call that changes only this
  // thread.
  void processLimitIsNoticed() {
    const uid_t user = ::geteuid();
    const uid_t other = 20000 + ::getpid() % 10000;  // has no other process
    const std::ptrdiff_t before = openDescriptors();
    for (const rlim_t limit : {1U, 2U}) {
      const Limit processes(RLIMIT_NPROC, limit);
      if (user == 0) {
        QCOMPARE(::syscall(SYS_setresuid, other, other, 0), 0);
      }
      std::error_code error;
      const auto *const process = ChildProcess::start({"/usr/bin/true", {}, {}}, {}, this, error);
      if (user == 0) {
        QCOMPARE(::syscall(SYS_setresuid, 0, 0, 0), 0);
        ::prctl(PR_SET_DUMPABLE, 1);  // the leak sanitizer traces this process
      }
      QVERIFY(process == nullptr);
      QCOMPARE(error.value(), EAGAIN);
      QCOMPARE(openDescriptors(), before);
      QCOMPARE(::waitpid(-1, nullptr, WNOHANG), -1);
    }
  }

  // Descriptors, threads, memory and children.
  void runsLeakNothing() {
    const std::ptrdiff_t before = openDescriptors();
    std::size_t memory = 0;
    for (int round = 0; round < 200; ++round) {
      std::list<Run> runs;
      for (int index = 0; index < 50; ++index) {
        runs.emplace_back(Program{"/usr/bin/true", {}, {}});
      }
      const auto isGone = [](const Run &run) { return run.ended && run.process.isNull(); };
      QVERIFY(
          QTest::qWaitFor([&] { return std::all_of(runs.begin(), runs.end(), isGone); }, 30000));
      if (round == 0) {
        memory = ::mallinfo2().uordblks;
      }
    }
    QCOMPARE(openDescriptors(), before);
    QCOMPARE(std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}), threads);
    QCOMPARE(::waitpid(-1, nullptr, WNOHANG), -1);  // no child, and no zombie
    const std::size_t now = ::mallinfo2().uordblks;
    QVERIFY2(now < memory + 500'000, qPrintable(QString("%1, then %2").arg(memory).arg(now)));
  }

  void parentMayDeleteItDuringARun() {
    for (int round = 0; round < 5; ++round) {
      Run run(R"([["flood",100000]])");
      QTRY_VERIFY(round == 0 || !run.output.isEmpty());
    }
    while (::waitpid(-1, nullptr, 0) > 0) {
    }
  }

  void initTestCase() {
    threads = std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
  }

 private:
  std::ptrdiff_t threads = 0;
};

TARVEX_TEST_MAIN(TestChildProcess)
#include "test_child_process.moc"
