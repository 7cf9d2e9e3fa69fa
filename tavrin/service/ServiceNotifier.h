#pragma once

#include <chrono>
#include <string>

namespace tavrin {

/// Tells a service manager how the service is, in the protocol of sd_notify(3): datagrams of lines
/// to the socket that $NOTIFY_SOCKET names. Without that variable nothing is sent. A manager that
/// does not listen delays nothing.
class ServiceNotifier {
 public:
  using Clock = std::chrono::steady_clock;

  /// Reads the environment.
  ServiceNotifier();
  ~ServiceNotifier();
  ServiceNotifier(const ServiceNotifier&) = delete;
  ServiceNotifier& operator=(const ServiceNotifier&) = delete;

  bool isHeard() const { return socket_ >= 0; }
  void ready() const { send("READY=1"); }
  void reloading() const;
  void stopping() const { send("STOPPING=1"); }
  /// Tells the text, unless it is that of the last time.
  void status(const std::string& text);

  /// Within this time the manager wants to hear that the service is alive; 0 for never.
  std::chrono::microseconds watchdogPeriod() const { return watchdog_; }
  /// Tells that it is, if it is time to.
  void alive(Clock::time_point now);

 private:
  void send(const std::string& lines) const;

  int socket_ = -1;
  std::chrono::microseconds watchdog_{0};
  Clock::time_point nextAlive_{};
  std::string status_;
};

}  // namespace tavrin
