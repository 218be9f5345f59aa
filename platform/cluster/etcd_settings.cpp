#include "platform/cluster/etcd_settings.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace ncc::etcd {
namespace {

constexpr std::string_view kSecure = "https://";
constexpr std::string_view kPlain = "http://";

void ReadEndpoints(EtcdSettings& settings, const SettingsFile& file, const Setting& line) {
  constexpr std::string_view kBetween = ", \t";
  std::string_view rest = line.value;
  while (!rest.empty()) {
    const std::size_t begin = std::min(rest.find_first_not_of(kBetween), rest.size());
    rest.remove_prefix(begin);
    const std::size_t end = std::min(rest.find_first_of(kBetween), rest.size());
    std::string endpoint(rest.substr(0, end));
    rest.remove_prefix(end);
    if (endpoint.empty()) continue;
    if (endpoint.back() == '/') endpoint.pop_back();
    const bool has_scheme = endpoint.starts_with(kSecure) || endpoint.starts_with(kPlain);
    const std::size_t host = endpoint.find("://") + 3;
    if (!has_scheme || endpoint.find('/', host) != std::string::npos ||
        endpoint.find(':', host) == std::string::npos) {
      file.Refuse(line, "\"" + endpoint + "\" is no address such as https://alpha:2379");
    }
    settings.endpoints.push_back(std::move(endpoint));
  }
}

std::chrono::seconds ReadSeconds(const SettingsFile& file, const Setting& line) {
  int seconds = 0;
  const char* const end = line.value.data() + line.value.size();
  const auto result = std::from_chars(line.value.data(), end, seconds);
  if (result.ec != std::errc() || result.ptr != end || seconds < 1 || seconds > 600)
    file.Refuse(line, "\"" + line.value + "\" is no number of seconds from 1 to 600");
  return std::chrono::seconds(seconds);
}

std::string ReadPrefix(const SettingsFile& file, const Setting& line) {
  std::string prefix = line.value;
  if (prefix.size() < 2 || prefix.front() != '/')
    file.Refuse(line, "a prefix begins with a slash and has more behind it, such as /nccnet/city");
  if (prefix.back() != '/') prefix += '/';
  return prefix;
}

void CheckTogether(const EtcdSettings& settings, const SettingsFile& file) {
  if (settings.endpoints.empty()) {
    file.RefuseAll("it names no endpoints; add: endpoints = https://HOST:2379, ...");
  }
  const auto is_secure = [](const std::string& endpoint) { return endpoint.starts_with(kSecure); };
  const auto secure =
      std::count_if(settings.endpoints.begin(), settings.endpoints.end(), is_secure);
  if (secure != 0 && secure != static_cast<std::ptrdiff_t>(settings.endpoints.size())) {
    file.RefuseAll("some endpoints are https and some are not");
  }
  const std::array files = {&settings.certificate, &settings.key, &settings.authority};
  const auto given =
      std::count_if(files.begin(), files.end(), [](const auto* name) { return !name->empty(); });
  if (given != 0 && given != 3) {
    file.RefuseAll("certificate, key and ca belong together: give all three or none");
  }
  if (given != 0 && secure == 0) {
    file.RefuseAll("there is a certificate, and the endpoints are http: make them https");
  }
}

}  // namespace

EtcdSettings ReadEtcdSettings(const SettingsFile& file, const std::string& name) {
  EtcdSettings settings;
  settings.file = file.Name();
  settings.prefix = "/nccnet/" + name + "/";
  for (const Setting& line : file.Lines()) {
    if (line.name == "engine") continue;
    if (line.name == "endpoints") {
      ReadEndpoints(settings, file, line);
    } else if (line.name == "certificate") {
      settings.certificate = file.PathOf(line);
    } else if (line.name == "key") {
      settings.key = file.PathOf(line);
    } else if (line.name == "ca") {
      settings.authority = file.PathOf(line);
    } else if (line.name == "prefix") {
      settings.prefix = ReadPrefix(file, line);
    } else if (line.name == "lease") {
      settings.lease = ReadSeconds(file, line);
    } else if (line.name == "timeout") {
      settings.timeout = ReadSeconds(file, line);
    } else {
      file.Refuse(line, "\"" + line.name +
                            "\" is none of engine, endpoints, certificate, key, ca, prefix, "
                            "lease, timeout");
    }
  }
  CheckTogether(settings, file);
  return settings;
}

}  // namespace ncc::etcd
