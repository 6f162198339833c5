// Desktop notifications: the Desktop Notifications Specification 1.2 (org.freedesktop.Notifications
// on the session bus). Main thread.
#pragma once

#include <QString>
#include <functional>

class QObject;

namespace tarvex {

// Summary and body are shortened to the whole characters within their first 1000 UTF-16 code units,
// because the bus disconnects the sender of a message that is too large.
struct Notification {
  QString summary;
  QString body;    // plain text, shown literally
  QString action;  // the title of the only button
};

// Shows an urgent notification that stays until the player dismisses it. Runs `chosen` from the
// event loop when its button is pressed, unless the parent was destroyed before. Never waits.
// Without a session bus or the service, nothing happens.
void showNotification(const Notification &notification, QObject *parent,
                      std::function<void()> chosen);

}  // namespace tarvex
