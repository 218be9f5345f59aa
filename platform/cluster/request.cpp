#include "platform/cluster/request.h"

#include "platform/cluster/base64.h"

namespace ncc::etcd {
namespace {

void AppendBytes(std::string& json, const char* name, std::string_view bytes) {
  json.append("\"").append(name).append("\":\"");
  AppendBase64(json, bytes);
  json += '"';
}

void AppendNumber(std::string& json, const char* name, std::int64_t number) {
  json.append("\"").append(name).append("\":\"").append(std::to_string(number)).append("\"");
}

std::string& NextOf(std::string& list) {
  if (!list.empty()) list += ',';
  return list;
}

}  // namespace

std::string RangeBody(const KeyRange& range) {
  std::string json = "{";
  AppendBytes(json, "key", range.from);
  if (!range.to.empty()) AppendBytes(json += ',', "range_end", range.to);
  if (range.limit != 0) AppendNumber(json += ',', "limit", range.limit);
  if (range.revision != 0) AppendNumber(json += ',', "revision", range.revision);
  if (range.keys_only) json += ",\"keys_only\":true";
  return json += '}';
}

void Transaction::Compare(const char* target, const char* field, std::string_view key,
                          std::int64_t revision) {
  NextOf(compare_).append(R"({"result":"EQUAL","target":")").append(target).append("\",");
  AppendBytes(compare_, "key", key);
  AppendNumber(compare_ += ',', field, revision);
  compare_ += '}';
}

Transaction& Transaction::WhenCreated(std::string_view key, std::int64_t revision) {
  Compare("CREATE", "create_revision", key, revision);
  return *this;
}

Transaction& Transaction::WhenModified(std::string_view key, std::int64_t revision) {
  Compare("MOD", "mod_revision", key, revision);
  return *this;
}

Transaction& Transaction::Put(std::string_view key, std::string_view value, std::int64_t lease) {
  NextOf(success_) += R"({"request_put":{)";
  AppendBytes(success_, "key", key);
  AppendBytes(success_ += ',', "value", value);
  if (lease != 0) AppendNumber(success_ += ',', "lease", lease);
  success_ += "}}";
  size_ += key.size() + value.size();
  ++operations_;
  return *this;
}

Transaction& Transaction::Delete(std::string_view from, std::string_view to) {
  NextOf(success_) += R"({"request_delete_range":{)";
  AppendBytes(success_, "key", from);
  AppendBytes(success_ += ',', "range_end", to);
  success_ += "}}";
  ++operations_;
  return *this;
}

Transaction& Transaction::Get(const KeyRange& range) {
  NextOf(success_).append(R"({"request_range":)").append(RangeBody(range)).append("}");
  return *this;
}

Transaction& Transaction::ElseGet(const KeyRange& range) {
  NextOf(failure_).append(R"({"request_range":)").append(RangeBody(range)).append("}");
  return *this;
}

std::string Transaction::Body() const {
  std::string json = R"({"compare":[)";
  json.reserve(compare_.size() + success_.size() + failure_.size() + 64);
  json.append(compare_).append(R"(],"success":[)").append(success_);
  return json.append(R"(],"failure":[)").append(failure_).append("]}");
}

std::string EndOf(std::string prefix) {
  ++prefix.back();
  return prefix;
}

}  // namespace ncc::etcd
