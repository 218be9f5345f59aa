#include "platform/cluster/http.h"

#include <algorithm>
#include <mutex>
#include <new>

namespace ncc::etcd {
namespace {

constexpr std::chrono::milliseconds kConnect(1000);

extern "C" std::size_t NccTakeBody(char* bytes, std::size_t size, std::size_t count, void* body) {
  try {
    static_cast<std::string*>(body)->append(bytes, size * count);
    return size * count;
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

// `told` is what the library says beyond the code. Who is refused by the other side, after its own
// part of the greeting has gone well, learns of it when it reads.
std::string Describe(CURLcode code, const char* told) {
  std::string text = *told != '\0' ? told : curl_easy_strerror(code);
  if (text.find(" alert ") == std::string::npos) return text;
  return "it does not accept this certificate: " + text;
}

template <class Value>
void Set(CURL* handle, CURLoption option, Value value) {
  if (curl_easy_setopt(handle, option, value) == CURLE_OUT_OF_MEMORY) throw std::bad_alloc();
}

}  // namespace

CurlHandle MakeCurlHandle(const EtcdSettings& settings) {
  static std::once_flag begun;
  std::call_once(begun, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
  CurlHandle handle(curl_easy_init(), &curl_easy_cleanup);
  if (!handle) throw std::bad_alloc();
  CURL* const curl = handle.get();
  Set(curl, CURLOPT_NOSIGNAL, 1L);
  Set(curl, CURLOPT_PROXY, "");  // whatever the environment says
  Set(curl, CURLOPT_PROTOCOLS_STR, "http,https");
  Set(curl, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  Set(curl, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(kConnect.count()));
  Set(curl, CURLOPT_TCP_KEEPALIVE, 1L);
  if (!settings.certificate.empty()) {
    Set(curl, CURLOPT_SSLCERT, settings.certificate.c_str());
    Set(curl, CURLOPT_SSLKEY, settings.key.c_str());
    Set(curl, CURLOPT_CAINFO, settings.authority.c_str());
    Set(curl, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  }
  return handle;
}

Http::Http(const EtcdSettings& settings)
    : handle_(MakeCurlHandle(settings)), headers_(curl_slist_append(nullptr, "Expect:")) {
  if (headers_ == nullptr) throw std::bad_alloc();
  Set(handle_.get(), CURLOPT_HTTPHEADER, headers_);
  Set(handle_.get(), CURLOPT_WRITEFUNCTION, &NccTakeBody);
  Set(handle_.get(), CURLOPT_ERRORBUFFER, told_.data());
}

Http::~Http() { curl_slist_free_all(headers_); }

HttpAnswer Http::Post(const std::string& url, const std::string& body,
                      std::chrono::milliseconds timeout) {
  HttpAnswer answer;
  CURL* const curl = handle_.get();
  Set(curl, CURLOPT_URL, url.c_str());
  Set(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  Set(curl, CURLOPT_POSTFIELDS, body.c_str());
  Set(curl, CURLOPT_WRITEDATA, &answer.body);
  Set(curl, CURLOPT_TIMEOUT_MS, std::max<long>(1, static_cast<long>(timeout.count())));
  told_.front() = '\0';
  const CURLcode code = curl_easy_perform(curl);
  long sent = 0;
  curl_easy_getinfo(curl, CURLINFO_REQUEST_SIZE, &sent);
  answer.was_sent = sent != 0;
  if (code == CURLE_OK) {
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &answer.status);
  } else {
    answer.error = Describe(code, told_.data());
  }
  return answer;
}

}  // namespace ncc::etcd
