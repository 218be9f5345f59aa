// Requests to one endpoint after another over connections that are kept.
#pragma once

#include "platform/cluster/etcd_settings.h"

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <memory>
#include <string>

namespace ncc::etcd {

using CurlHandle = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

// A new handle with the certificates and all that its requests have in common. Throws
// std::bad_alloc.
CurlHandle MakeCurlHandle(const EtcdSettings& settings);

struct HttpAnswer {
  long status = 0;  // 0: there is no answer
  std::string body;
  std::string error;
  bool was_sent = false;  // some of the request at least
};

class Http {
 public:
  explicit Http(const EtcdSettings& settings);
  ~Http();
  Http(const Http&) = delete;
  Http& operator=(const Http&) = delete;

  HttpAnswer Post(const std::string& url, const std::string& body,
                  std::chrono::milliseconds timeout);

 private:
  CurlHandle handle_;
  curl_slist* headers_;
  std::array<char, CURL_ERROR_SIZE> told_{};  // of the last failure
};

}  // namespace ncc::etcd
