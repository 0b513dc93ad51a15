#pragma once

#include <linux/filter.h>

#include <cstdint>
#include <span>

// Filters of system calls (seccomp(2), SECCOMP_SET_MODE_FILTER), which the build makes. See
// list_calls.cpp for what they refuse.

extern const std::span<const sock_filter> kLocalCalls;    ///< without network
extern const std::span<const sock_filter> kNetworkCalls;  ///< with it

/// Stands in the filters for the id of the process; no process has this one.
inline constexpr std::uint32_t kOwnProcess = 0x7fffffff;
