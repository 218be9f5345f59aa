#include "cluster/proxy.h"

#include <algorithm>
#include <array>
#include <deque>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

using ncc::Network;

struct Proxy::Connection {
  int client = -1;
  int node = -1;
  bool is_over = false;
  std::string held;
  struct Delayed {
    std::chrono::steady_clock::time_point due;
    bool from_client;
    std::string bytes;
  };
  std::deque<Delayed> delayed;

  ~Connection() {
    for (const int end : {client, node}) {
      if (end >= 0) ::close(end);
    }
  }
};

namespace {

sockaddr_in AddressOf(const std::string& host, int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = ::inet_addr(host.c_str());
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return address;
}

bool SendAll(int to, const char* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t sent = ::send(to, bytes, size, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

}  // namespace

Proxy::Proxy(int target, std::string host) : target_(target), host_(std::move(host)) {
  if (::pipe(wake_) != 0) throw std::runtime_error("no pipe");
  Listen();
  thread_ = std::thread([this] { Run(); });
}

Proxy::~Proxy() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  static_cast<void>(!::write(wake_[1], "x", 1));
  thread_.join();
  connections_.clear();
  if (listener_ >= 0) ::close(listener_);
  for (const int end : wake_) ::close(end);
}

void Proxy::Listen() {
  listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int yes = 1;
  ::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  sockaddr_in address = AddressOf("127.0.0.1", port_);
  socklen_t size = sizeof address;
  if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      ::listen(listener_, 64) != 0 ||
      ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0)
    throw std::runtime_error("cannot listen");
  port_ = ntohs(address.sin_port);
}

void Proxy::Set(Network network) {
  {
    const std::lock_guard lock(mutex_);
    const bool was_down = network_ == Network::kIsDown;
    network_ = network;
    if (network == Network::kIsDown && !was_down) {
      ::close(listener_);
      listener_ = -1;
    }
    if (network != Network::kIsDown && was_down) Listen();
    // What was lost on a connection does not come later.
    connections_.clear();
    ++generation_;
  }
  static_cast<void>(!::write(wake_[1], "x", 1));
}

void Proxy::Hold() {
  const std::lock_guard lock(mutex_);
  holds_ = true;
}

void Proxy::HoldNext(std::string text) {
  const std::lock_guard lock(mutex_);
  awaited_ = std::move(text);
}

bool Proxy::HasHeld() {
  const std::lock_guard lock(mutex_);
  return std::any_of(connections_.begin(), connections_.end(),
                     [](const Connection& connection) { return !connection.held.empty(); });
}

void Proxy::Release() {
  const std::lock_guard lock(mutex_);
  holds_ = false;
  for (Connection& connection : connections_) {
    SendAll(connection.node, connection.held.data(), connection.held.size());
    connection.held.clear();
  }
}

void Proxy::Accept() {
  const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
  if (client < 0) return;
  Connection& connection = connections_.emplace_back();
  connection.client = client;
  connection.node = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = AddressOf(host_, target_);
  const int yes = 1;
  for (const int end : {connection.client, connection.node})
    ::setsockopt(end, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  if (::connect(connection.node, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    connections_.pop_back();
}

void Proxy::Pass(Connection& connection, bool from_client) {
  std::array<char, 1 << 16> buffer;
  const int from = from_client ? connection.client : connection.node;
  const ssize_t got = ::recv(from, buffer.data(), buffer.size(), 0);
  const bool keeps = holds_ || !connection.held.empty();
  if (got <= 0) {
    // Its client may have given up on what is held.
    if (from_client && keeps) {
      ::close(connection.client);
      connection.client = -1;
      return;
    }
    connection.is_over = true;
    return;
  }
  const auto size = static_cast<std::size_t>(got);
  if (network_ == (from_client ? Network::kLosesRequests : Network::kLosesAnswers)) return;
  const bool is_awaited = from_client && !awaited_.empty() &&
                          std::string_view(buffer.data(), size).find(awaited_) != std::string::npos;
  if (is_awaited) awaited_.clear();
  if (from_client && (keeps || is_awaited)) {
    connection.held.append(buffer.data(), size);
    return;
  }
  if (delay_.count() != 0) {
    connection.delayed.push_back(
        {std::chrono::steady_clock::now() + delay_, from_client, {buffer.data(), size}});
    return;
  }
  const int to = from_client ? connection.node : connection.client;
  if (to >= 0 && !SendAll(to, buffer.data(), size)) connection.is_over = true;
}

std::optional<std::chrono::nanoseconds> Proxy::PassDelayed() {
  const auto now = std::chrono::steady_clock::now();
  std::optional<std::chrono::nanoseconds> wait;
  for (Connection& connection : connections_) {
    std::deque<Connection::Delayed>& delayed = connection.delayed;
    while (!delayed.empty() && delayed.front().due <= now) {
      const std::string& bytes = delayed.front().bytes;
      const int to = delayed.front().from_client ? connection.node : connection.client;
      if (!SendAll(to, bytes.data(), bytes.size())) connection.is_over = true;
      delayed.pop_front();
    }
    if (delayed.empty()) continue;
    const std::chrono::nanoseconds next = delayed.front().due - now;
    wait = wait ? std::min(*wait, next) : next;
  }
  return wait;
}

void Proxy::Run() {
  for (;;) {
    std::vector<pollfd> polled;
    std::vector<std::pair<Connection*, bool>> ends;
    int generation = 0;
    std::optional<std::chrono::nanoseconds> wait;
    {
      const std::lock_guard lock(mutex_);
      if (ends_) return;
      generation = generation_;
      wait = PassDelayed();
      polled = {{wake_[0], POLLIN, 0}, {listener_, POLLIN, 0}};
      for (Connection& connection : connections_) {
        for (const bool from_client : {true, false}) {
          polled.push_back({from_client ? connection.client : connection.node, POLLIN, 0});
          ends.emplace_back(&connection, from_client);
        }
      }
    }
    const timespec time{wait ? wait->count() / 1'000'000'000 : 0,
                        wait ? wait->count() % 1'000'000'000 : 0};
    ::ppoll(polled.data(), polled.size(), wait ? &time : nullptr, nullptr);
    const std::lock_guard lock(mutex_);
    char byte = 0;
    if (polled[0].revents != 0) static_cast<void>(!::read(wake_[0], &byte, 1));
    if (generation != generation_) continue;
    for (std::size_t i = 0; i < ends.size(); ++i) {
      Connection& connection = *ends[i].first;
      if (polled[i + 2].revents != 0 && !connection.is_over) Pass(connection, ends[i].second);
    }
    if (polled[1].revents != 0 && listener_ >= 0) Accept();
    connections_.remove_if([](const Connection& connection) { return connection.is_over; });
  }
}
