// A network between a client and a node that does what it is told to.
#pragma once

#include "tests/support/network_fault.h"

#include <chrono>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

// Passes on what comes to a port of its own to another port, of this machine if not told otherwise.
class Proxy {
 public:
  explicit Proxy(int target, std::string host = "127.0.0.1");
  ~Proxy();
  Proxy(const Proxy&) = delete;
  Proxy& operator=(const Proxy&) = delete;

  int Port() const { return port_; }
  void Set(ncc::Network network);
  // What comes from clients is kept, and passed on by Release, even if they are gone by then.
  void Hold();
  // The same of the next request alone that has this text.
  void HoldNext(std::string text);
  bool HasHeld();
  void Release();
  // Everything takes so long each way. For good, and before there are connections.
  void Delay(std::chrono::microseconds each_way) { delay_ = each_way; }

 private:
  struct Connection;

  void Listen();
  void Run();
  void Accept();
  void Pass(Connection& connection, bool from_client);
  // Passes on what has been delayed for long enough; how long the next of it has to wait.
  std::optional<std::chrono::nanoseconds> PassDelayed();

  const int target_;
  const std::string host_;
  std::chrono::microseconds delay_{0};
  int port_ = 0;
  int listener_ = -1;
  int wake_[2];
  std::mutex mutex_;
  ncc::Network network_ = ncc::Network::kWorks;
  bool holds_ = false;
  std::string awaited_;  // of what is held next; empty: nothing
  bool ends_ = false;
  int generation_ = 0;  // of the connections
  std::list<Connection> connections_;
  std::thread thread_;
};
