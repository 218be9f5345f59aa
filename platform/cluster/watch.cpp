#include "platform/cluster/watch.h"

#include "platform/cluster/base64.h"

#include <algorithm>
#include <new>

namespace ncc::etcd {
namespace {

using Clock = std::chrono::steady_clock;

extern "C" std::size_t NccTakeStream(char* bytes, std::size_t size, std::size_t count,
                                     void* stream) {
  try {
    static_cast<std::string*>(stream)->append(bytes, size * count);
    return size * count;
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

std::string BodyOf(const std::string& key, std::int64_t revision) {
  std::string body = R"({"create_request":{"key":")";
  AppendBase64(body, key);
  return body.append(R"(","start_revision":")").append(std::to_string(revision)).append("\"}}");
}

}  // namespace

Watch::Watch(const EtcdSettings& settings, const std::string& endpoint, const std::string& key,
             std::int64_t revision)
    : url_(endpoint + "/v3/watch"),
      body_(BodyOf(key, revision)),
      handle_(MakeCurlHandle(settings)),
      multi_(curl_multi_init(), &curl_multi_cleanup) {
  if (!multi_) throw std::bad_alloc();
  CURL* const curl = handle_.get();
  curl_easy_setopt(curl, CURLOPT_URL, url_.c_str());
  curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body_.size()));
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body_.c_str());
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &NccTakeStream);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &stream_);
  curl_multi_add_handle(multi_.get(), curl);
}

Watch::~Watch() { curl_multi_remove_handle(multi_.get(), handle_.get()); }

// The stream is a line of JSON for each message. One that was not read to its end counts: what is
// missing of it changes nothing.
Watch::News Watch::Wait(std::chrono::milliseconds wait) {
  const Clock::time_point end = Clock::now() + wait;
  for (;;) {
    int running = 0;
    if (curl_multi_perform(multi_.get(), &running) != CURLM_OK || running == 0) return News::kEnded;
    const bool is_written = stream_.find("\"events\"") != std::string::npos;
    const bool is_over = stream_.find("\"canceled\"") != std::string::npos ||
                         stream_.find("\"error\"") != std::string::npos;
    stream_.erase(0, stream_.rfind('\n') + 1);
    if (is_over) return News::kEnded;
    if (is_written) return News::kWritten;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    if (left.count() <= 0) return News::kNone;
    curl_multi_poll(multi_.get(), nullptr, 0, static_cast<int>(left.count()), nullptr);
  }
}

}  // namespace ncc::etcd
