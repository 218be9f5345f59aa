// Being told of each write of a key as soon as it happens.
#pragma once

#include "platform/cluster/etcd_settings.h"
#include "platform/cluster/http.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace ncc::etcd {

// One stream that stays open. It tells that something was written and not what: who waits reads
// that, and so notices also what the stream has missed.
class Watch {
 public:
  // Of writes from that revision of the store on.
  Watch(const EtcdSettings& settings, const std::string& endpoint, const std::string& key,
        std::int64_t revision);
  ~Watch();
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  enum class News { kNone, kWritten, kEnded };
  // Waits for news. After kEnded this object is good for nothing but its destruction.
  News Wait(std::chrono::milliseconds wait);

 private:
  std::string url_;
  std::string body_;
  std::string stream_;
  CurlHandle handle_;
  std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> multi_;
};

}  // namespace ncc::etcd
