#include "platform/font_preload.h"

#include <fontconfig/fontconfig.h>

#include <QFontDatabase>
#include <QStringList>
#include <functional>
#include <system_error>
#include <thread>

namespace tarvex {
namespace {

void inBackground(const std::function<void()> &work) {
  try {
    std::thread(work).detach();
  } catch (const std::system_error &) {
    return;  // no thread to be had; then it happens when it is needed
  }
}

}  // namespace

void preloadFontConfiguration() {
  inBackground([] { FcInit(); });
}

void preloadFonts() {
  inBackground([] { QFontDatabase::families(); });
}

}  // namespace tarvex
