#include "platform/url_parser/fetch.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>
#include <string_view>

namespace {

constexpr std::size_t kLargestText = 64 * 1024;

/// Takes what has arrived; taking less than that ends the transfer.
std::size_t Append(const char* data, std::size_t, std::size_t size, void* context) noexcept {
  auto* fetched = static_cast<Fetched*>(context);
  const std::size_t taken = std::min(size, kLargestText - fetched->text.size());
  fetched->text.append(data, taken);
  fetched->cut = taken < size;
  return taken;
}

}  // namespace

std::optional<Fetched> Fetch(const std::string& address,
                             std::chrono::steady_clock::time_point deadline) {
  using std::chrono::milliseconds;
  const auto left =
      std::chrono::duration_cast<milliseconds>(deadline - std::chrono::steady_clock::now());
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> transfer(curl_easy_init(),
                                                                     &curl_easy_cleanup);
  // libcurl takes 0 for no limit at all.
  if (transfer == nullptr || left <= milliseconds::zero()) return std::nullopt;

  Fetched fetched;
  bool ready = true;
  const auto set = [&](CURLoption option, auto value) {
    ready = ready && curl_easy_setopt(transfer.get(), option, value) == CURLE_OK;
  };
  set(CURLOPT_URL, address.c_str());
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  set(CURLOPT_FOLLOWLOCATION, 1L);
  set(CURLOPT_MAXREDIRS, 3L);
  set(CURLOPT_FAILONERROR, 1L);
  set(CURLOPT_TIMEOUT_MS, static_cast<long>(left.count()));
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_PROXY, "");
  set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
  set(CURLOPT_WRITEFUNCTION, &Append);
  set(CURLOPT_WRITEDATA, static_cast<void*>(&fetched));
  if (!ready) return std::nullopt;

  if (curl_easy_perform(transfer.get()) != CURLE_OK && !fetched.cut) return std::nullopt;
  const char* last = nullptr;
  curl_easy_getinfo(transfer.get(), CURLINFO_EFFECTIVE_URL, &last);
  fetched.address = last == nullptr ? address : last;
  return fetched;
}
