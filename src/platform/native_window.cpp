#include "platform/native_window.h"

#include <wayland-client.h>
#include <xcb/xcb.h>

#include <QColor>
#include <QGuiApplication>
#include <QSystemTrayIcon>
#include <QWindow>
#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "platform/startup.h"

namespace tarvex {
namespace {

// xcb allocates replies and events with malloc.
template <typename Reply>
std::unique_ptr<Reply, decltype(&std::free)> owned(Reply *reply) {
  return {reply, &std::free};
}

// Qt's connection; null when the window system is not X11.
xcb_connection_t *x11Connection() {
  const auto *const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  return x11 != nullptr ? x11->connection() : nullptr;
}

const xcb_screen_t &screenOf(xcb_connection_t *connection) {
  return *xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
}

xcb_atom_t atom(xcb_connection_t *connection, std::string_view name) {
  const auto asked =
      xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.data());
  const auto answer = owned(xcb_intern_atom_reply(connection, asked, nullptr));
  return answer != nullptr ? answer->atom : xcb_atom_t{XCB_ATOM_NONE};
}

void sendToRoot(xcb_connection_t *connection, const xcb_client_message_event_t &message,
                uint32_t listeners) {
  const auto *const bytes =
      static_cast<const char *>(static_cast<const void *>(&message));  // as xcb wants them
  xcb_send_event(connection, 0, screenOf(connection).root, listeners, bytes);
}

// The X server's time. It comes with the event of a changed property; an empty addition to a
// property is such a change. A connection of its own is needed, because Qt takes all events of its
// connection.
xcb_timestamp_t serverTime() {
  const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> owner(
      xcb_connect(nullptr, nullptr), &xcb_disconnect);
  xcb_connection_t *const connection = owner.get();
  if (xcb_connection_has_error(connection) != 0) {
    return XCB_CURRENT_TIME;
  }
  const xcb_window_t window = xcb_generate_id(connection);
  const uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
  xcb_create_window(connection, 0, window, screenOf(connection).root, 0, 0, 1, 1, 0,
                    XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
  xcb_change_property(connection, XCB_PROP_MODE_APPEND, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING,
                      8, 0, nullptr);
  xcb_flush(connection);
  const auto event = owned(xcb_wait_for_event(connection));
  if (event == nullptr || event->response_type != XCB_PROPERTY_NOTIFY) {
    return XCB_CURRENT_TIME;
  }
  return static_cast<const xcb_property_notify_event_t *>(static_cast<void *>(event.get()))->time;
}

// The time of the player's click: a startup identifier ends with "_TIME" and the X server's time.
xcb_timestamp_t timeIn(std::string_view startupId) {
  constexpr std::string_view mark = "_TIME";
  xcb_timestamp_t time = XCB_CURRENT_TIME;
  if (const std::size_t at = startupId.rfind(mark); at != std::string_view::npos) {
    std::from_chars(startupId.data() + at + mark.size(), startupId.data() + startupId.size(), time);
  }
  return time;
}

// Broadcasts "remove" of the Startup Notification Protocol: a text with a zero byte at its end, in
// client messages of 20 bytes.
void endStartupFeedback(xcb_connection_t *connection, xcb_window_t sender,
                        const std::string &startupId) {
  std::string text = "remove: ID=\"";
  for (const char character : startupId) {
    if (character == '"' || character == '\\') {
      text += '\\';
    }
    text += character;
  }
  text += '"';
  xcb_client_message_event_t piece{};
  piece.response_type = XCB_CLIENT_MESSAGE;
  piece.format = 8;
  piece.window = sender;
  piece.type = atom(connection, "_NET_STARTUP_INFO_BEGIN");
  const xcb_atom_t next = atom(connection, "_NET_STARTUP_INFO");
  for (std::size_t sent = 0; sent <= text.size(); sent += sizeof piece.data) {
    piece.data = {};
    text.copy(static_cast<char *>(static_cast<void *>(piece.data.data8)), sizeof piece.data, sent);
    sendToRoot(connection, piece, XCB_EVENT_MASK_PROPERTY_CHANGE);
    piece.type = next;
  }
}

}  // namespace

void dressNativeWindow(const QWindow &window, const QColor &background) {
  xcb_connection_t *const connection = x11Connection();
  if (connection == nullptr) {
    return;  // Wayland shows a window only with its first frame
  }
  // Sends all requests before it waits for replies, so there is only one round trip to the display.
  const auto askForAtom = [&](const char *name) {
    return xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(name)), name);
  };
  const auto variantAsked = askForAtom("_GTK_THEME_VARIANT");
  const auto textAsked = askForAtom("UTF8_STRING");
  // A window without alpha has the screen's visual and colour map.
  const QRgba64 colour = background.rgba64();
  const auto pixelAsked = xcb_alloc_color(connection, screenOf(connection).default_colormap,
                                          colour.red(), colour.green(), colour.blue());

  const auto handle = static_cast<xcb_window_t>(window.winId());
  const auto variant = owned(xcb_intern_atom_reply(connection, variantAsked, nullptr));
  const auto text = owned(xcb_intern_atom_reply(connection, textAsked, nullptr));
  if (variant != nullptr && text != nullptr) {
    constexpr const char *dark = "dark";
    constexpr uint8_t bitsOfAnElement = 8;
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, handle, variant->atom, text->atom,
                        bitsOfAnElement, static_cast<uint32_t>(std::strlen(dark)), dark);
  }
  if (const auto pixel = owned(xcb_alloc_color_reply(connection, pixelAsked, nullptr))) {
    xcb_change_window_attributes(connection, handle, XCB_CW_BACK_PIXEL, &pixel->pixel);
  }
}

bool bringToFront(QWindow &window, const StartupTokens &tokens) {
  xcb_connection_t *const connection = x11Connection();
  if (connection == nullptr) {
    // Desktops without the variable for Wayland's token pass it in the variable for X11's.
    const std::string &token =
        tokens.activationToken.empty() ? tokens.startupId : tokens.activationToken;
    if (token.empty()) {
      return false;
    }
    // Qt reads the token from the environment, and removes it when the compositor can use it.
    constexpr const char *variable = "XDG_ACTIVATION_TOKEN";
    ::setenv(variable, token.c_str(), 1);
    window.requestActivate();
    const bool isUsed = std::getenv(variable) == nullptr;
    ::unsetenv(variable);
    return isUsed;
  }
  window.raise();
  window.requestActivate();
  // A second request: Qt's request has the time of this window's last event. Window managers refuse
  // the keyboard when another window had a later event.
  const auto handle = static_cast<xcb_window_t>(window.winId());
  const xcb_timestamp_t started = timeIn(tokens.startupId);
  constexpr uint32_t application = 1;  // source indication of EWMH
  xcb_client_message_event_t request{};
  request.response_type = XCB_CLIENT_MESSAGE;
  request.format = 32;
  request.window = handle;
  request.type = atom(connection, "_NET_ACTIVE_WINDOW");
  request.data.data32[0] = application;
  request.data.data32[1] = started != XCB_CURRENT_TIME ? started : serverTime();
  sendToRoot(connection, request,
             XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY);
  if (!tokens.startupId.empty()) {
    endStartupFeedback(connection, handle, tokens.startupId);
  }
  xcb_flush(connection);
  return true;
}

bool needsOwnTitleBar() {
  if (!QGuiApplication::platformName().startsWith(u"wayland")) {
    return false;
  }
  ::setenv("QT_WAYLAND_DISABLE_WINDOWDECORATION", "1", 1);
  // A connection of its own: before 6.5, Qt has no public access to its connection.
  wl_display *const display = wl_display_connect(nullptr);
  if (display == nullptr) {
    return false;
  }
  constexpr wl_registry_listener listener{
      .global =
          [](void *found, wl_registry * /*registry*/, uint32_t /*name*/, const char *interface,
             uint32_t /*version*/) {
            if (interface == std::string_view("zxdg_decoration_manager_v1")) {
              *static_cast<bool *>(found) = true;
            }
          },
      .global_remove = [](void * /*found*/, wl_registry * /*registry*/, uint32_t /*name*/) {}};
  bool drawsTitleBars = false;
  wl_registry *const registry = wl_display_get_registry(display);
  wl_registry_add_listener(registry, &listener, &drawsTitleBars);
  wl_display_roundtrip(display);
  wl_registry_destroy(registry);
  wl_display_disconnect(display);
  return !drawsTitleBars;
}

// On X11, Qt waits for a status area that appears later. isSystemTrayAvailable is not asked there,
// because it also looks on D-Bus and prints a warning when it finds none.
bool mayHaveStatusArea() {
  return qGuiApp->nativeInterface<QNativeInterface::QX11Application>() != nullptr ||
         QSystemTrayIcon::isSystemTrayAvailable();
}

}  // namespace tarvex
