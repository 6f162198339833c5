#include "platform/notification.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QObject>
#include <QVariantMap>
#include <algorithm>
#include <utility>

#include "platform/session_bus.h"
#include "text/unicode_text.h"

namespace tarvex {
namespace {

const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
const QString chosenKey = QStringLiteral("chosen");

QString shortened(const QString &text) {
  constexpr qsizetype most = 1000;
  // One code point more, which decides whether a character ends at the limit.
  const QStringView beginning = QStringView(text).first(std::min(text.size(), most + 2));
  qsizetype length = 0;
  forEachCharacter(beginning, [&](QStringView character) {
    const bool fits = length + character.size() <= most;
    length += fits ? character.size() : 0;
    return fits;
  });
  return length < text.size() ? text.first(length) + ellipsis : text;
}

// Lives until its notification is closed.
class ShownNotification : public QObject {
  Q_OBJECT

 public:
  ShownNotification(Notification notification, QObject *parent, std::function<void()> chosen)
      : QObject(parent), m_notification(std::move(notification)), m_chosen(std::move(chosen)) {
    // A server that interprets markup needs an escaped body; another would show the escapes.
    call(QStringLiteral("GetCapabilities"), {}, [this](const QDBusPendingCall &answer) {
      const QDBusPendingReply<QStringList> capabilities = answer;
      if (capabilities.isError()) {
        deleteLater();
        return;
      }
      notify(capabilities.value().contains(QStringLiteral("body-markup")));
    });
  }

 private Q_SLOTS:
  void invoked(uint id, const QString &key) {
    if (id == m_id && key == chosenKey) {
      m_chosen();
    }
  }
  void closed(uint id, uint /*reason*/) {
    if (id == m_id) {
      deleteLater();
    }
  }

 private:
  template <typename Answer>
  void call(const QString &method, const QVariantList &arguments, Answer answer) {
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, service, method);
    message.setArguments(arguments);
    auto *const watcher =
        new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(message), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher, answer] {
      answer(*watcher);
      watcher->deleteLater();
    });
  }

  void notify(bool readsMarkup) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.connect(service, path, service, QStringLiteral("ActionInvoked"), this,
                SLOT(invoked(uint, QString)));
    bus.connect(service, path, service, QStringLiteral("NotificationClosed"), this,
                SLOT(closed(uint, uint)));
    constexpr uchar urgent = 2;
    constexpr int stays = 0;  // never expires
    const QString body = readsMarkup ? m_notification.body.toHtmlEscaped() : m_notification.body;
    call(QStringLiteral("Notify"),
         {QStringLiteral("Tarvex Launcher"), 0U, QStringLiteral("com.tarvex.launcher"),
          // An action is a key and a title.
          m_notification.summary, body, QStringList{chosenKey, m_notification.action},
          QVariantMap{{QStringLiteral("urgency"), QVariant::fromValue(urgent)},
                      {QStringLiteral("desktop-entry"), QStringLiteral("com.tarvex.launcher")}},
          stays},
         [this](const QDBusPendingCall &answer) {
           const QDBusPendingReply<uint> id = answer;
           if (id.isError()) {
             deleteLater();
             return;
           }
           m_id = id.value();
         });
  }

  Notification m_notification;
  std::function<void()> m_chosen;
  uint m_id = 0;  // the service's ids begin with 1
};

}  // namespace

void showNotification(const Notification &notification, QObject *parent,
                      std::function<void()> chosen) {
  if (hasSessionBus()) {
    new ShownNotification(
        {shortened(notification.summary), shortened(notification.body), notification.action},
        parent, std::move(chosen));
  }
}

}  // namespace tarvex

#include "notification.moc"
