// Desktop notifications, after the Desktop Notifications Specification 1.2
// (org.freedesktop.Notifications on the session bus).
#pragma once

#include <QString>
#include <functional>

class QObject;

namespace tarvex {

// The bus hangs up on a message that is too large: of summary and body, the whole characters within
// the first 1000 UTF-16 code units are shown.
struct Notification {
  QString summary;
  QString body;    // plain text, shown literally
  QString action;  // the title of the one button
};

// Shows an urgent notification that stays until the player dismisses it, and runs `chosen` on the
// main thread when its button is pressed, unless the parent is gone by then. Never waits; on a
// desktop without the service, or without a session bus, nothing happens.
void showNotification(const Notification &notification, QObject *parent,
                      std::function<void()> chosen);

}  // namespace tarvex
