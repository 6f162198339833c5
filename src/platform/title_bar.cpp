#include "platform/title_bar.h"

#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QWindow>
#include <cstdlib>
#include <cstring>

namespace tarvex {

void askForDarkTitleBar(const QWindow &window) {
  const auto *const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  xcb_connection_t *const connection = x11 != nullptr ? x11->connection() : nullptr;
  if (connection == nullptr) {
    return;  // Wayland: our own colours make the toolkit's decorations dark
  }
  const auto ask = [&](const char *name) {
    return xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(name)), name);
  };
  const auto variantAsked = ask("_GTK_THEME_VARIANT");
  const auto textAsked = ask("UTF8_STRING");
  const auto answer = [&](xcb_intern_atom_cookie_t cookie) {
    xcb_intern_atom_reply_t *const reply = xcb_intern_atom_reply(connection, cookie, nullptr);
    const xcb_atom_t result = reply != nullptr ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    std::free(reply);  // NOLINT(*-no-malloc): the library's contract
    return result;
  };
  constexpr const char *dark = "dark";
  constexpr uint8_t bitsOfAnElement = 8;
  xcb_change_property(connection, XCB_PROP_MODE_REPLACE, static_cast<xcb_window_t>(window.winId()),
                      answer(variantAsked), answer(textAsked), bitsOfAnElement,
                      static_cast<uint32_t>(std::strlen(dark)), dark);
}

}  // namespace tarvex
