#include "platform/text_viewer.h"

#include <fcntl.h>
#include <sys/wait.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusUnixFileDescriptor>
#include <QElapsedTimer>
#include <QSocketNotifier>
#include <QStandardPaths>
#include <QUuid>
#include <QVariantMap>
#include <algorithm>
#include <chrono>
#include <deque>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/descriptor.h"
#include "platform/desktop_entries.h"
#include "platform/event_descriptors.h"
#include "platform/session_bus.h"
#include "platform/spawn.h"

namespace tarvex {
namespace {

// The more specific type first.
const std::vector<std::string> mimeTypes{"text/x-log", "text/plain"};

std::vector<std::string> withoutStartupTokens(std::vector<std::string> environment) {
  std::erase_if(environment, [](std::string_view entry) {
    return entry.starts_with("DESKTOP_STARTUP_ID=") || entry.starts_with("XDG_ACTIVATION_TOKEN=");
  });
  return environment;
}

// One request to show a file. Deletes itself when it has succeeded or failed.
class TextViewer : public QObject {
  Q_OBJECT

 public:
  TextViewer(std::filesystem::path file, const std::vector<std::string> &environment,
             QObject *parent)
      : QObject(parent), m_file(std::move(file)), m_environment(withoutStartupTokens(environment)) {
    const QString opener = QStandardPaths::findExecutable(QStringLiteral("xdg-open"));
    if (!opener.isEmpty()) {
      m_commands.push_back({opener.toStdString(), fileUrl(m_file)});
    }
    runNextCommand();
  }

 private Q_SLOTS:
  // The portal's result. It may come long after the reply to the call, because the portal may ask
  // the player to choose an application.
  void portalResponded(uint response, const QVariantMap & /*results*/) {
    constexpr uint failed = 2;  // 1: the player has cancelled, so no other way is tried
    if (response == failed) {
      runApplications();
    } else {
      deleteLater();
    }
  }

 private:
  void runNextCommand() {
    while (!m_commands.empty()) {
      const std::vector<std::string> words = std::move(m_commands.front());
      m_commands.pop_front();
      if (run({words[0], {words.begin() + 1, words.end()}, m_environment})) {
        return;
      }
    }
    if (!std::exchange(m_hasAskedPortal, true)) {
      askPortal();
    } else {
      deleteLater();
    }
  }

  bool run(const Program &program) {
    pid_t child = -1;
    if (spawn(program, std::nullopt, Session::ownOfItsOwn, child)) {
      return false;
    }
    m_child = childDescriptor(child);
    if (!m_child) {  // without a descriptor, the exit cannot be watched; count it as a success
      deleteLater();
      return true;
    }
    m_sinceStart.start();
    m_end = std::make_unique<QSocketNotifier>(m_child.get(), QSocketNotifier::Read);
    connect(m_end.get(), &QSocketNotifier::activated, this, [this, child] { ended(child); });
    return true;
  }

  // Some openers run until the viewer is closed. After 5 seconds, a failure does not count: the
  // viewer was open, so no other way is tried.
  void ended(pid_t child) {
    constexpr std::chrono::seconds soon{5};
    m_end.release()->deleteLater();  // not at once, because this runs in its callback
    int status = 0;
    const bool hasFailed = ::waitpid(child, &status, 0) != child || status != 0;
    if (hasFailed && std::chrono::milliseconds(m_sinceStart.elapsed()) < soon) {
      runNextCommand();
    } else {
      deleteLater();
    }
  }

  void askPortal() {
    const Descriptor file(::open(m_file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!hasSessionBus() || !file) {
      runApplications();
      return;
    }
    // Connect to the signal before the call, or a quick response would be missed. The path of the
    // response follows from our bus name and a token that we choose.
    QDBusConnection bus = QDBusConnection::sessionBus();
    const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
    const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
    const QString token = QUuid::createUuid().toString(QUuid::Id128).prepend(u't');
    const QString sender = bus.baseService().mid(1).replace(u'.', u'_');
    bus.connect({}, path + u"/request/" + sender + u'/' + token,
                QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"), this,
                SLOT(portalResponded(uint, QVariantMap)));
    QDBusMessage call = QDBusMessage::createMethodCall(
        service, path, QStringLiteral("org.freedesktop.portal.OpenURI"),
        QStringLiteral("OpenFile"));
    const QString noParentWindow;
    call.setArguments({noParentWindow, QVariant::fromValue(QDBusUnixFileDescriptor(file.get())),
                       QVariantMap{{QStringLiteral("handle_token"), token}}});
    // The portal may have to be started first.
    constexpr std::chrono::milliseconds patience = std::chrono::seconds(10);
    auto *const watcher =
        new QDBusPendingCallWatcher(bus.asyncCall(call, static_cast<int>(patience.count())), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
      watcher->deleteLater();
      if (watcher->isError()) {
        runApplications();
      }
    });
  }

  void runApplications() {
    for (auto &command : commandsToShow(m_file, mimeTypes, DesktopFolders::ofThisProcess())) {
      m_commands.push_back(std::move(command));
    }
    runNextCommand();
  }

  const std::filesystem::path m_file;
  const std::vector<std::string> m_environment;
  std::deque<std::vector<std::string>> m_commands;  // still to be tried
  bool m_hasAskedPortal = false;

  // Of the command that runs.
  Descriptor m_child;
  QElapsedTimer m_sinceStart;
  std::unique_ptr<QSocketNotifier> m_end;
};

}  // namespace

void showTextFile(const std::filesystem::path &file, const std::vector<std::string> &environment,
                  QObject *parent) {
  new TextViewer(file, environment, parent);
}

}  // namespace tarvex

#include "text_viewer.moc"
