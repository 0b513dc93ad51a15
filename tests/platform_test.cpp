// The platform's pure functions, by table.

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <memory>

#include "platform/ffmpeg/formats.h"
#include "platform/ffmpeg/options.h"
#include "platform/http_range/http_range.h"

namespace {

// The range that applies, as "start-end"; "none" or "refused".
std::string Range(const char* header, long total) {
  setenv("HTTP_RANGE", header, 1);
  _tag_HTTP_RANGE_SEGMENT* segments = nullptr;
  const int result = HTTPFileOutputer().SeekHttpRange(&segments, total);
  const std::unique_ptr<void, decltype(&std::free)> owner(segments, &std::free);
  if (result <= 0) return segments != nullptr ? "leak" : result == 0 ? "none" : "refused";
  return std::to_string(segments->start) + "-" + std::to_string(segments->end);
}

TEST(HttpRange, Table) {
  const std::map<std::string, std::vector<const char*>> cases = {
      {"0-0", {"bytes=0-0"}},
      {"2-9", {"BYTES=2-", "bytes=2-100"}},
      {"0-9", {"bytes=-30", "bytes=-99999999999999999999"}},
      {"7-9", {"bytes=-3", "bytes=20-30, -3"}},
      {"1-2", {"bytes= ,\t1-2 , 3-4"}},
      {"refused", {"bytes=10-", "bytes=-0", "bytes=9223372036854775808-"}},
      {"none",
       {"bytes=3-2", "bytes=1-2,5-4", "bytes=1-2,x", "bytes=", "bytes=-", "bytes=--1", "bytes=+1-2",
        "bytes=1 -2", "bytes=1-2x", "bytes=0x1-2", "bytes 1-2", "items=1-2", ""}}};
  for (const auto& [expected, headers] : cases) {
    for (const char* header : headers) EXPECT_EQ(Range(header, 10), expected) << header;
  }
  EXPECT_EQ(Range("bytes=0-9223372036854775808", LONG_MAX), "0-9223372036854775806");
  EXPECT_EQ(Range("bytes=-1", 0), "refused");
  EXPECT_EQ(Range("bytes=0-", -1), "none");
  setenv("HTTP_IF_RANGE", "\"tag\"", 1);
  EXPECT_EQ(Range("bytes=0-0", 10), "none");
}

TEST(FfmpegOptions, BecomeThoseOfAStockFfmpeg) {
  using Options = std::vector<std::string>;
  const Options wav = TranslateOptions({"-v", "0", "-i", "/-i:\n", "-f", "wav", "-acodec",
                                        "pcm_s16le", "-write_info_tag", "0", "-"});
  EXPECT_EQ(wav, Options({"-nostdin", "-v", "0", "-protocol_whitelist", "file", "-format_whitelist",
                          kSelfContainedFormats, "-i", "file:/-i:\n", "-vn", "-f", "wav", "-acodec",
                          "pcm_s16le", "-map_metadata", "-1", "-fflags", "+bitexact", "-"}));
  EXPECT_EQ(TranslateOptions({"-vbsf", "x", "-map", "0:v", "-map", "0:1", "-"}),
            Options({"-nostdin", "-bsf:v", "x", "-map", "0:V", "-map", "0:1", "-"}));
  const std::vector<Options> addresses = {{"HTTPS://X/", "http,https,tls,tcp", "https://X/"},
                                          {"rtsp://x/", "rtsp,rtp,udp,tcp", "rtsp://x/"},
                                          {"RTMP://x/", "rtmp,tcp", "rtmp://x/"},
                                          {"mms://x/", "mmsh,http,tcp", "mmsh://x/"},
                                          {"concat:/X", "http,https,tls,tcp", "concat:/X"}};
  for (const Options& each : addresses) {
    const Options network = TranslateOptions({"-i", each[0], "-"});
    EXPECT_EQ(network.at(2), each[1]);
    EXPECT_EQ(network.at(network.size() - 2), each[2]);
  }
}

}  // namespace
