// From exec to the first picture: first-picture ROUNDS PROGRAM...
//
// Starts the programs in turn, ROUNDS times each, on the display of $DISPLAY, which must show
// nothing else. The picture is there when the pixel in the middle of the screen changes, where a
// window that is centred by itself or by a window manager has its content. Prints a line a start:
// the number of the program and the milliseconds.
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;
using namespace std::chrono_literals;

std::uint32_t middlePixel(xcb_connection_t *connection, const xcb_screen_t *screen) {
  const auto cookie =
      xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, screen->root,
                    static_cast<std::int16_t>(screen->width_in_pixels / 2),
                    static_cast<std::int16_t>(screen->height_in_pixels / 2), 1, 1, ~0U);
  std::uint32_t pixel = 0;
  if (auto *const reply = xcb_get_image_reply(connection, cookie, nullptr)) {
    std::memcpy(&pixel, xcb_get_image_data(reply), sizeof pixel);
    std::free(reply);
  }
  return pixel & 0xffffffU;
}

// Waits until the pixel has that colour, or another one than that.
void await(xcb_connection_t *connection, const xcb_screen_t *screen, std::uint32_t colour,
           bool same) {
  constexpr auto pollInterval = 250us;
  constexpr auto patience = 30s;
  const auto end = Clock::now() + patience;
  while ((middlePixel(connection, screen) == colour) != same) {
    if (Clock::now() > end) {
      std::fputs("first-picture: nothing has happened on the display\n", stderr);
      std::exit(1);
    }
    std::this_thread::sleep_for(pollInterval);
  }
}

}  // namespace

int main(int argc, char **argv) {
  xcb_connection_t *const connection = xcb_connect(nullptr, nullptr);
  if (argc < 3 || xcb_connection_has_error(connection) != 0) {
    std::fputs("usage: first-picture ROUNDS PROGRAM...   (with a display)\n", stderr);
    return 2;
  }
  const xcb_screen_t *const screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
  const std::uint32_t background = middlePixel(connection, screen);
  for (int round = 0; round < std::atoi(argv[1]); ++round) {
    for (int program = 2; program < argc; ++program) {
      char *arguments[] = {argv[program], nullptr};
      pid_t child = -1;
      const auto start = Clock::now();
      if (::posix_spawn(&child, argv[program], nullptr, nullptr, arguments, environ) != 0) {
        std::perror(argv[program]);
        return 1;
      }
      await(connection, screen, background, false);
      std::printf("%d %.2f\n", program - 2, Milliseconds(Clock::now() - start).count());
      std::fflush(stdout);
      // Let a start that goes on behind the picture come to its rest.
      std::this_thread::sleep_for(300ms);
      ::kill(child, SIGTERM);
      ::waitpid(child, nullptr, 0);
      await(connection, screen, background, true);
    }
  }
}
