#pragma once

#include <chrono>
#include <optional>
#include <string>

/// What a server answered.
struct Fetched {
  std::string address;  ///< where it came from in the end, after redirects
  std::string text;
  bool cut = false;  ///< there would have been more
};

/// Fetches a small text over http or https, redirects (3 at most) included. Of a longer one the
/// first 64 KiB are the answer. Nothing when the server cannot be reached, answers with an error or
/// has not sent everything before `deadline`; only a slow name lookup may last longer than that.
/// Neither proxies nor passwords come from the environment, but what libcurl and the TLS library
/// read there else is for the caller to remove. See libcurl-easy(3).
std::optional<Fetched> Fetch(const std::string& address,
                             std::chrono::steady_clock::time_point deadline);
