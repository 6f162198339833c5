// Looks at windows from outside, as the display and the system see them:
//
//   window-probe start ROUNDS BASELINE LAUNCHER   starts both in turn, ROUNDS times; prints a line
//                                                 a start: 0 or 1 for the program, milliseconds
//                                                 from exec to the first picture, to the complete
//                                                 one and to the exec of its child, and KiB of
//                                                 resident memory and of its share, at rest
//   window-probe settle PROCESS                   waits until the process has no child and its
//                                                 window answers
//   window-probe click PROCESS                    clicks on the golden button, or in the middle
//                                                 where there is none; prints the milliseconds
//                                                 until a child's exec
//   window-probe ping PROCESS                     asks the window again and again whether it is
//                                                 alive; prints the milliseconds of each answer
//
// The display is that of $DISPLAY, with a window manager and without other windows.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto pollInterval = 250us;
constexpr auto patience = 30s;

double millisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

template <typename Condition>
void await(Condition condition, const char *what) {
  const auto end = Clock::now() + patience;
  while (!condition()) {
    if (Clock::now() > end) {
      std::fprintf(stderr, "window-probe: waited in vain for %s\n", what);
      std::exit(1);
    }
    std::this_thread::sleep_for(pollInterval);
  }
}

template <typename Reply>
using Owned = std::unique_ptr<Reply, decltype(&std::free)>;
template <typename Reply>
Owned<Reply> owned(Reply *reply) {
  return {reply, &std::free};
}

// Processes.

std::string proc(pid_t process, const std::string &file) {
  return "/proc/" + std::to_string(process) + "/" + file;
}

std::vector<pid_t> childrenOf(pid_t process) {
  std::ifstream file(proc(process, "task/" + std::to_string(process) + "/children"));
  std::vector<pid_t> children;
  for (pid_t child = 0; file >> child;) {
    children.push_back(child);
  }
  return children;
}

std::string programOf(pid_t process) {
  char path[4096];
  const ssize_t length = ::readlink(proc(process, "exe").c_str(), path, sizeof path);
  return {path, static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

// Between its start and its exec, a child still runs its parent's program.
bool hasExecutedChild(pid_t process) {
  const std::vector<pid_t> children = childrenOf(process);
  return std::any_of(children.begin(), children.end(), [&](pid_t child) {
    const std::string program = programOf(child);
    return !program.empty() && program != programOf(process);
  });
}

long kibibytes(pid_t process, const std::string &what) {
  std::ifstream file(proc(process, "smaps_rollup"));
  for (std::string word; file >> word;) {
    if (word == what) {
      long value = 0;
      file >> value;
      return value;
    }
  }
  return 0;
}

pid_t start(char *program) {
  char *arguments[] = {program, nullptr};
  pid_t child = -1;
  if (::posix_spawn(&child, program, nullptr, nullptr, arguments, environ) != 0) {
    std::perror(program);
    std::exit(1);
  }
  return child;
}

// The display.

class Display {
 public:
  Display() : m_connection(xcb_connect(nullptr, nullptr)) {
    if (xcb_connection_has_error(m_connection) != 0) {
      std::fputs("window-probe: no display\n", stderr);
      std::exit(2);
    }
    m_screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
    // The answers to pings go to the root window, and toolkits differ in how.
    const std::uint32_t events =
        XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(m_connection, m_screen->root, XCB_CW_EVENT_MASK, &events);
    m_protocols = atom("WM_PROTOCOLS");
    m_ping = atom("_NET_WM_PING");
    m_clients = atom("_NET_CLIENT_LIST");
    m_process = atom("_NET_WM_PID");
  }
  ~Display() { xcb_disconnect(m_connection); }
  Display(const Display &) = delete;
  Display &operator=(const Display &) = delete;

  struct Point {
    int x;
    int y;
  };
  Point middle() const { return {m_screen->width_in_pixels / 2, m_screen->height_in_pixels / 2}; }

  // A column of pixels, from top to bottom.
  std::vector<std::uint32_t> column(Point top, int height) const {
    const auto reply = owned(xcb_get_image_reply(
        m_connection,
        xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, m_screen->root,
                      static_cast<std::int16_t>(top.x), static_cast<std::int16_t>(top.y), 1,
                      static_cast<std::uint16_t>(height), ~0U),
        nullptr));
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(height));
    if (reply) {
      std::memcpy(pixels.data(), xcb_get_image_data(reply.get()),
                  pixels.size() * sizeof pixels.front());
    }
    for (std::uint32_t &pixel : pixels) {
      pixel &= 0xffffffU;
    }
    return pixels;
  }

  xcb_window_t windowOf(pid_t process) const {
    for (const std::uint32_t window : property(m_screen->root, m_clients)) {
      const auto owner = property(window, m_process);
      if (!owner.empty() && static_cast<pid_t>(owner.front()) == process) {
        return window;
      }
    }
    return XCB_NONE;
  }

  // Asks the window whether it is alive, and waits for the answer, but not for ever: a window that
  // is just being closed gives none.
  bool ping(xcb_window_t window) {
    xcb_client_message_event_t question{};
    question.response_type = XCB_CLIENT_MESSAGE;
    question.format = 32;
    question.window = window;
    question.type = m_protocols;
    question.data.data32[0] = m_ping;
    question.data.data32[1] = ++m_pings;
    question.data.data32[2] = window;
    xcb_send_event(m_connection, 0, window, 0, reinterpret_cast<const char *>(&question));
    xcb_flush(m_connection);
    constexpr int tooLong = 5000;  // milliseconds
    for (pollfd answers{xcb_get_file_descriptor(m_connection), POLLIN, 0};;) {
      while (const auto event = owned(xcb_poll_for_event(m_connection))) {
        xcb_client_message_event_t answer;
        std::memcpy(&answer, event.get(), sizeof answer);
        if ((answer.response_type & 0x7fU) == XCB_CLIENT_MESSAGE && answer.type == m_protocols &&
            answer.data.data32[0] == m_ping && answer.data.data32[1] == m_pings) {
          return true;
        }
      }
      if (xcb_connection_has_error(m_connection) != 0 || ::poll(&answers, 1, tooLong) <= 0) {
        return false;
      }
    }
  }

  void movePointer(Point to) {
    xcb_test_fake_input(m_connection, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, m_screen->root,
                        static_cast<std::int16_t>(to.x), static_cast<std::int16_t>(to.y), 0);
    xcb_flush(m_connection);
  }
  void click() {
    for (const auto type : {std::uint8_t{XCB_BUTTON_PRESS}, std::uint8_t{XCB_BUTTON_RELEASE}}) {
      xcb_test_fake_input(m_connection, type, 1, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    }
    xcb_flush(m_connection);
  }

 private:
  xcb_atom_t atom(std::string_view name) const {
    const auto cookie =
        xcb_intern_atom(m_connection, 0, static_cast<std::uint16_t>(name.size()), name.data());
    const auto reply = owned(xcb_intern_atom_reply(m_connection, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
  }

  std::vector<std::uint32_t> property(xcb_window_t window, xcb_atom_t name) const {
    const auto cookie =
        xcb_get_property(m_connection, 0, window, name, XCB_GET_PROPERTY_TYPE_ANY, 0, 1024);
    const auto reply = owned(xcb_get_property_reply(m_connection, cookie, nullptr));
    if (!reply || reply->format != 32) {
      return {};
    }
    const auto *const values =
        static_cast<const std::uint32_t *>(xcb_get_property_value(reply.get()));
    return {values, values + reply->value_len};
  }

  xcb_connection_t *m_connection;
  xcb_screen_t *m_screen = nullptr;
  xcb_atom_t m_protocols{};
  xcb_atom_t m_ping{};
  xcb_atom_t m_clients{};
  xcb_atom_t m_process{};
  std::uint32_t m_pings = 0;
};

// A column through the window in the middle of the screen that meets the button beside its title.
constexpr int columnHeight = 365;
constexpr int columnOffset = 70;

Display::Point columnTop(const Display &display) {
  return {display.middle().x - columnOffset, display.middle().y - columnHeight / 2};
}

// Where the column is in the button, counted from its top. The progress bar is golden, too, but not
// as high.
std::optional<int> buttonIn(const std::vector<std::uint32_t> &column) {
  constexpr std::uint32_t gold = 0xd4a340;
  constexpr int enough = 20;
  int run = 0;
  for (std::size_t index = 0; index < column.size(); ++index) {
    run = column[index] == gold ? run + 1 : 0;
    if (run == enough) {
      return static_cast<int>(index) - enough / 2;
    }
  }
  return std::nullopt;
}

void settle(Display &display, pid_t process) {
  await([&] { return display.windowOf(process) != XCB_NONE; }, "a window");
  const xcb_window_t window = display.windowOf(process);
  await(
      [&] {
        if (!childrenOf(process).empty()) {
          return false;
        }
        // With the answer, what follows on the child's end has been done.
        return display.ping(window) && childrenOf(process).empty();
      },
      "the end of the children");
}

void measureStarts(Display &display, int rounds, char **programs) {
  const Display::Point top = columnTop(display);
  const auto middlePixel = [&] { return display.column(display.middle(), 1).front(); };
  const std::uint32_t background = middlePixel();
  for (int round = 0; round < rounds; ++round) {
    for (int which = 0; which < 2; ++which) {
      std::optional<double> first;
      std::optional<double> complete;
      std::optional<double> executed;
      const auto begin = Clock::now();
      const pid_t process = start(programs[which]);
      await(
          [&] {
            if (!first && middlePixel() != background) {
              first = millisecondsSince(begin);
            }
            // Both are asked, because asking takes its time from the one who is asked.
            if (!executed && hasExecutedChild(process)) {
              executed = millisecondsSince(begin);
            }
            if (which == 0) {
              complete = executed = first;  // it has no more to show, and no child
              return first.has_value();
            }
            if (first && !complete && buttonIn(display.column(top, columnHeight))) {
              complete = millisecondsSince(begin);
            }
            return complete && executed;
          },
          "the window");
      settle(display, process);
      std::this_thread::sleep_for(300ms);  // the toolkit tidies up
      std::printf("%d %.2f %.2f %.2f %ld %ld\n", which, *first, *complete, *executed,
                  kibibytes(process, "Rss:"), kibibytes(process, "Pss:"));
      std::fflush(stdout);
      ::kill(process, SIGTERM);
      ::waitpid(process, nullptr, 0);
      await([&] { return middlePixel() == background; }, "an empty screen");
    }
  }
}

void measureClick(Display &display, pid_t process) {
  const Display::Point top = columnTop(display);
  settle(display, process);
  const std::optional<int> button = buttonIn(display.column(top, columnHeight));
  display.movePointer(button ? Display::Point{top.x, top.y + *button} : display.middle());
  std::this_thread::sleep_for(100ms);  // what the pointer's coming brings about
  const auto begin = Clock::now();
  display.click();
  await([&] { return hasExecutedChild(process); }, "a child after the click");
  std::printf("%.3f\n", millisecondsSince(begin));
}

void measureAnswers(Display &display, pid_t process) {
  await([&] { return display.windowOf(process) != XCB_NONE; }, "a window");
  const xcb_window_t window = display.windowOf(process);
  for (;;) {
    const auto begin = Clock::now();
    if (!display.ping(window)) {
      return;
    }
    std::printf("%.3f\n", millisecondsSince(begin));
    std::fflush(stdout);
    std::this_thread::sleep_for(5ms);
  }
}

}  // namespace

int main(int argc, char **argv) {
  const std::string_view command = argc > 2 ? argv[1] : "";
  const int number = argc > 2 ? std::atoi(argv[2]) : 0;
  Display display;
  if (command == "start" && argc == 5) {
    measureStarts(display, number, argv + 3);
  } else if (command == "settle") {
    settle(display, number);
  } else if (command == "click") {
    measureClick(display, number);
  } else if (command == "ping") {
    measureAnswers(display, number);
  } else {
    std::fputs("usage: see the head of bench/window_probe.cpp\n", stderr);
    return 2;
  }
}
