#include "tavrin/service/ServiceNotifier.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>

#include "tavrin/common/Messages.h"

namespace tavrin {

namespace {

/// Several times in the period, so that one that comes late does no harm.
constexpr int kTellsPerPeriod = 4;
/// What is longer is told more often than needed; what is shorter cannot be met.
constexpr std::chrono::microseconds kLongestPeriod = std::chrono::hours(1);
constexpr std::chrono::microseconds kLeastPeriod = std::chrono::milliseconds(10);

std::string_view variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

/// 0 where the variable is no number.
long long numberIn(const char* name) {
  const std::string_view text = variable(name);
  long long number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? number : 0;
}

/// A connected socket, or -1. A name that begins with '@' is one without a file.
int connectedTo(std::string_view name) {
  sockaddr_un address{};
  if (name.size() >= sizeof address.sun_path || (name[0] != '/' && name[0] != '@')) return -1;
  address.sun_family = AF_UNIX;
  name.copy(address.sun_path, name.size());
  if (name[0] == '@') address.sun_path[0] = '\0';
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
  const int file = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (file >= 0 && connect(file, reinterpret_cast<const sockaddr*>(&address), size) != 0) {
    close(file);
    return -1;
  }
  return file;
}

}  // namespace

ServiceNotifier::ServiceNotifier() {
  const std::string_view name = variable("NOTIFY_SOCKET");
  if (name.empty()) return;
  socket_ = connectedTo(name);
  if (socket_ < 0) warn("the service manager's socket cannot be reached: " + std::string(name));
  const long long process = numberIn("WATCHDOG_PID");
  if (process != 0 && process != getpid()) return;
  const std::chrono::microseconds period(numberIn("WATCHDOG_USEC"));
  if (period.count() > 0) watchdog_ = std::clamp(period, kLeastPeriod, kLongestPeriod);
}

ServiceNotifier::~ServiceNotifier() {
  if (socket_ >= 0) close(socket_);
}

void ServiceNotifier::send(const std::string& lines) const {
  if (socket_ < 0) return;
  ::send(socket_, lines.data(), lines.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

void ServiceNotifier::reloading() const {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const long long microseconds = now.tv_sec * 1'000'000LL + now.tv_nsec / 1000;
  send("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(microseconds));
}

void ServiceNotifier::status(const std::string& text) {
  if (text == status_) return;
  status_ = text;
  send("STATUS=" + text);
}

void ServiceNotifier::alive(Clock::time_point now) {
  if (watchdog_.count() <= 0 || now < nextAlive_) return;
  nextAlive_ = now + watchdog_ / kTellsPerPeriod;
  send("WATCHDOG=1");
}

}  // namespace tavrin
