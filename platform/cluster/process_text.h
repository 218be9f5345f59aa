// How a process names itself in the cluster.
#pragma once

#include <cstdint>
#include <string>

namespace ncc::etcd {

// A number in 16 hexadecimal digits, the seconds since 1970 from when on it does what it does, and
// what this process is and where, each behind a blank.
std::string ProcessText(std::uint64_t mark, std::int64_t since);

// The number; 0 of what is no such text.
std::uint64_t MarkOf(const std::string& text);
// "process 4711 (nccadm apply city.yaml) on alpha, since 2026-03-01 14:02:11".
std::string DescribeProcess(const std::string& text);

}  // namespace ncc::etcd
