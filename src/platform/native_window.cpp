#include "platform/native_window.h"

#include <xcb/xcb.h>

#include <QColor>
#include <QGuiApplication>
#include <QSystemTrayIcon>
#include <QWindow>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace tarvex {
namespace {

template <typename Reply>
std::unique_ptr<Reply, decltype(&std::free)> owned(Reply *reply) {
  return {reply, &std::free};
}

}  // namespace

void dressNativeWindow(const QWindow &window, const QColor &background) {
  const auto *const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  xcb_connection_t *const connection = x11 != nullptr ? x11->connection() : nullptr;
  if (connection == nullptr) {
    return;  // Wayland shows no window without its picture, and decorations in our own colours
  }
  // All questions first, then the answers: one way to the display and back.
  const auto askForAtom = [&](const char *name) {
    return xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(name)), name);
  };
  const auto variantAsked = askForAtom("_GTK_THEME_VARIANT");
  const auto textAsked = askForAtom("UTF8_STRING");
  // A window without alpha has the screen's own visual, and so its colours.
  const QRgba64 colour = background.rgba64();
  const auto pixelAsked = xcb_alloc_color(
      connection, xcb_setup_roots_iterator(xcb_get_setup(connection)).data->default_colormap,
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

// On X11 Qt finds the area when it comes. Its question about one looks elsewhere, too, and
// complains when it finds none.
bool mayHaveStatusArea() {
  return qGuiApp->nativeInterface<QNativeInterface::QX11Application>() != nullptr ||
         QSystemTrayIcon::isSystemTrayAvailable();
}

}  // namespace tarvex
