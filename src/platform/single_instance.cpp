#include "platform/single_instance.h"

#include <QCryptographicHash>
#include <algorithm>
#include <cerrno>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/session_bus.h"

namespace tarvex {
namespace {

constexpr std::chrono::seconds patience{1};
constexpr const char *interface = "org.freedesktop.Application";
constexpr const char *activate = "Activate";

struct Unreferencing {
  void operator()(sd_bus_message *message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, Unreferencing>;

// The keys of Activate's platform data that carry tokens.
struct {
  const char *key;
  std::string StartupTokens::*token;
} constexpr platformData[] = {
    {"desktop-startup-id", &StartupTokens::startupId},
    {"activation-token", &StartupTokens::activationToken},
};

std::string objectPath(std::string name) {
  std::replace(name.begin(), name.end(), '.', '/');
  return '/' + name;
}

int append(sd_bus_message *message, const StartupTokens &tokens) {
  int result = sd_bus_message_open_container(message, 'a', "{sv}");
  for (const auto &[key, token] : platformData) {
    if (result >= 0 && !(tokens.*token).empty()) {
      result = sd_bus_message_append(message, "{sv}", key, "s", (tokens.*token).c_str());
    }
  }
  return result < 0 ? result : sd_bus_message_close_container(message);
}

int readEntry(sd_bus_message *message, StartupTokens &tokens) {
  const char *key = nullptr;
  int result = sd_bus_message_read(message, "s", &key);
  for (const auto &[known, token] : platformData) {
    const char *text = nullptr;
    if (result >= 0 && key != nullptr && std::string_view(key) == known) {
      result = sd_bus_message_read(message, "v", "s", &text);
      tokens.*token = text != nullptr ? text : "";
      return result;
    }
  }
  return result < 0 ? result : sd_bus_message_skip(message, "v");
}

int read(sd_bus_message *message, StartupTokens &tokens) {
  int result = sd_bus_message_enter_container(message, 'a', "{sv}");
  while (result >= 0 && (result = sd_bus_message_enter_container(message, 'e', "sv")) > 0) {
    result = readEntry(message, tokens);
    result = result < 0 ? result : sd_bus_message_exit_container(message);
  }
  return result;
}

}  // namespace

std::string instanceName(const std::filesystem::path &folder) {
  std::error_code error;
  const std::filesystem::path place = std::filesystem::weakly_canonical(folder, error);
  const QByteArray bytes = QByteArray::fromStdString(error ? folder : place);
  // A digest, because bus names have a limit of 255 bytes and take few characters.
  constexpr int digits = 16;
  const QByteArray digest = QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
  return "com.tarvex.launcher.s" + digest.first(digits).toStdString();
}

SingleInstance::SingleInstance(std::string name)
    : m_name(std::move(name)),
      m_path(objectPath(m_name)),
      m_deadline(std::chrono::steady_clock::now() + patience) {
  if (!hasSessionBus()) {
    return;
  }
  const int result = connect();
  if (result < 0) {
    m_bus.reset();
  }
  if (result == -ETIMEDOUT) {
    giveUpSessionBus();
  }
}

SingleInstance::~SingleInstance() = default;

int SingleInstance::connect() {
  const auto isLate = [this] { return std::chrono::steady_clock::now() >= m_deadline; };
  sd_bus *bus = nullptr;
  int result = sd_bus_open_user(&bus);
  while (result == -EAGAIN) {  // the bus's queue of connections is full
    constexpr std::chrono::milliseconds pause{10};
    std::this_thread::sleep_for(pause);
    result = isLate() ? -ETIMEDOUT : sd_bus_open_user(&bus);
  }
  m_bus.reset(bus);
  while (result >= 0 && sd_bus_is_ready(bus) == 0) {
    result = sd_bus_process(bus, nullptr);
    if (result == 0) {  // no message has come
      result = isLate() ? -ETIMEDOUT : sd_bus_wait(bus, microsecondsLeft());
    }
  }
  if (result >= 0) {
    result = sd_bus_add_object(bus, nullptr, m_path.c_str(), onCall, this);
  }
  return result < 0 ? result : lineUp();
}

bool SingleInstance::bringOtherForward(const StartupTokens &tokens) {
  while (m_bus && !m_isFirst) {
    const int result = activateOwner(tokens);
    if (result >= 0) {
      return true;
    }
    if (result == -ETIMEDOUT) {  // the owner does not respond: take the name over
      sd_bus_request_name_async(
          m_bus.get(), nullptr, m_name.c_str(),
          SD_BUS_NAME_QUEUE | SD_BUS_NAME_ALLOW_REPLACEMENT | SD_BUS_NAME_REPLACE_EXISTING, nullptr,
          nullptr);
      break;
    }
    if (lineUp() < 0) {  // queue again, to learn whether this launcher is the owner now
      break;
    }
  }
  return false;
}

void SingleInstance::serve(std::function<bool(const StartupTokens &)> comeForward) {
  if (!m_bus) {
    return;
  }
  m_comeForward = std::move(comeForward);
  m_incoming = std::make_unique<QSocketNotifier>(sd_bus_get_fd(m_bus.get()), QSocketNotifier::Read);
  QObject::connect(m_incoming.get(), &QSocketNotifier::activated, m_incoming.get(),
                   [this] { readWhatCame(); });
  readWhatCame();  // requests that came together with earlier replies
}

void SingleInstance::stopServing() {
  if (m_incoming) {
    m_incoming->setEnabled(false);
  }
}

uint64_t SingleInstance::microsecondsLeft() const {
  const auto left = std::chrono::duration_cast<std::chrono::microseconds>(
      m_deadline - std::chrono::steady_clock::now());
  return static_cast<uint64_t>(std::max<std::chrono::microseconds::rep>(left.count(), 1));
}

int SingleInstance::lineUp() {
  // A later launcher can take over the name if this one does not respond.
  sd_bus_set_method_call_timeout(m_bus.get(), microsecondsLeft());
  const int result = sd_bus_request_name(m_bus.get(), m_name.c_str(),
                                         SD_BUS_NAME_QUEUE | SD_BUS_NAME_ALLOW_REPLACEMENT);
  // Positive: this launcher is the owner now. EALREADY: it was the owner before. 0: it is queued.
  m_isFirst = result > 0 || result == -EALREADY;
  return m_isFirst ? 0 : result;
}

int SingleInstance::activateOwner(const StartupTokens &tokens) {
  sd_bus_message *created = nullptr;
  int result = sd_bus_message_new_method_call(m_bus.get(), &created, m_name.c_str(), m_path.c_str(),
                                              interface, activate);
  const Message message(created);
  result = result < 0 ? result : append(created, tokens);
  return result < 0 ? result
                    : sd_bus_call(m_bus.get(), created, microsecondsLeft(), nullptr, nullptr);
}

void SingleInstance::readWhatCame() {
  int result = 1;
  while (result > 0 && m_incoming->isEnabled()) {
    result = sd_bus_process(m_bus.get(), nullptr);
  }
  if (result < 0) {  // the connection to the bus is lost
    stopServing();
  }
}

int SingleInstance::onCall(sd_bus_message *call, void *self, sd_bus_error * /*error*/) {
  if (sd_bus_message_is_method_call(call, interface, activate) <= 0) {
    return 0;  // sd-bus answers with an error
  }
  auto &instance = *static_cast<SingleInstance *>(self);
  StartupTokens tokens;
  const int result = read(call, tokens);
  if (result < 0) {
    return result;
  }
  if (instance.m_comeForward(tokens)) {
    return sd_bus_reply_method_return(call, nullptr);
  }
  // Goes to the end of the queue before it refuses: after a refusal, the other launcher asks the
  // next owner at once.
  sd_bus *const bus = instance.m_bus.get();
  const char *const name = instance.m_name.c_str();
  const auto ignored = [](sd_bus_message *, void *, sd_bus_error *) { return 0; };
  sd_bus_release_name_async(bus, nullptr, name, ignored, nullptr);
  sd_bus_request_name_async(bus, nullptr, name, SD_BUS_NAME_QUEUE | SD_BUS_NAME_ALLOW_REPLACEMENT,
                            ignored, nullptr);
  return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_FAILED, "The window is not shown.");
}

}  // namespace tarvex
