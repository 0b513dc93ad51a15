// The platform's pure functions, by table.

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/codec_id.h>
}

#include <climits>
#include <cstdlib>
#include <fstream>
#include <memory>

#include "media/codec_names.h"
#include "media/utils.h"
#include "platform/ffmpeg/formats.h"
#include "platform/ffmpeg/options.h"
#include "platform/http_range/http_range.h"
#include "platform/sysutil/sysutil.h"

namespace {

/// The range that applies, as "start-end"; "none" or "refused".
std::string Range(const char* header, long total) {
  setenv("HTTP_RANGE", header, 1);
  _tag_HTTP_RANGE_SEGMENT* segments = nullptr;
  const int result = HTTPFileOutputer().SeekHttpRange(&segments, total);
  const std::unique_ptr<void, decltype(&std::free)> owner(segments, &std::free);
  if (result <= 0) return segments != nullptr ? "leak" : result == 0 ? "none" : "refused";
  return std::to_string(segments->start) + "-" + std::to_string(segments->end);
}

TEST(HttpRange, Table) {
  const struct {
    const char* header;
    long total;
    const char* expected;
  } cases[] = {
      {"bytes=0-0", 10, "0-0"},
      {"BYTES=2-", 10, "2-9"},
      {"bytes=5-100", 10, "5-9"},
      {"bytes=-3", 10, "7-9"},
      {"bytes=-30", 10, "0-9"},
      {"bytes= ,\t1-2 , 3-4", 10, "1-2"},
      {"bytes=20-30, -1", 10, "9-9"},
      {"bytes=9223372036854775808-", 10, "refused"},
      {"bytes=0-9223372036854775808", LONG_MAX, "0-9223372036854775806"},
      {"bytes=-99999999999999999999", 10, "0-9"},
      {"bytes=10-", 10, "refused"},
      {"bytes=-0", 10, "refused"},
      {"bytes=0-", 0, "refused"},
      {"bytes=-1", 0, "refused"},
      {"bytes=0-", -1, "none"},
      {"bytes=3-2", 10, "none"},
      {"bytes=1-2,5-4", 10, "none"},
      {"bytes=1-2,x", 10, "none"},
      {"bytes=", 10, "none"},
      {"bytes=-", 10, "none"},
      {"bytes=--1", 10, "none"},
      {"bytes=+1-2", 10, "none"},
      {"bytes=1 -2", 10, "none"},
      {"bytes=1-2x", 10, "none"},
      {"bytes=0x1-2", 10, "none"},
      {"bytes 1-2", 10, "none"},
      {"items=1-2", 10, "none"},
      {"", 10, "none"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(Range(test.header, test.total), test.expected) << test.header << " of " << test.total;
  }
  setenv("HTTP_IF_RANGE", "\"tag\"", 1);
  EXPECT_EQ(Range("bytes=0-0", 10), "none");
  unsetenv("HTTP_IF_RANGE");
  unsetenv("HTTP_RANGE");
  _tag_HTTP_RANGE_SEGMENT* segments = nullptr;
  EXPECT_EQ(HTTPFileOutputer().SeekHttpRange(&segments, 10), 0);
}

TEST(KeyValue, Table) {
  const std::string file = testing::TempDir() + "key_value_test.conf";
  std::ofstream(file, std::ios::binary)
      << "#codepage=no\n\n=empty\nno equals sign\n codepage\t= \"enu\" \r\nlong=0123456789\n"
      << "empty=\ncodepage=second\nquote=\"\nbinary=\xff\x01" << std::string("\0z", 2)
      << "\nlast=end";
  const struct {
    const char* key;
    int size;
    int result;
    const char* value;
  } cases[] = {
      {"codepage", 32, 1, "enu"}, {"long", 4, 1, "012"},   {"long", 1, 1, ""},
      {"empty", 32, 1, ""},       {"quote", 32, 1, "\""},  {"binary", 32, 1, "\xff\x01"},
      {"last", 32, 1, "end"},     {"page", 32, 0, "old"},  {"CODEPAGE", 32, 0, "old"},
      {"long", 0, -1, "old"},     {"long", -1, -1, "old"},
  };
  for (const auto& test : cases) {
    char value[32] = "old";
    EXPECT_EQ(OLIBCFileGetKeyValue(file.c_str(), test.key, value, test.size, 0), test.result);
    EXPECT_STREQ(value, test.value) << test.key;
  }
  char value[32] = "old";
  EXPECT_EQ(OLIBCFileGetKeyValue("/nowhere/x", "codepage", value, 32, 0), -1);
  EXPECT_EQ(OLIBCFileGetKeyValue("/", "codepage", value, 32, 0), 0);
  EXPECT_STREQ(value, "old");
}

TEST(CodecName, Table) {
  const struct {
    int id;
    const char* name;
  } cases[] = {
      {AV_CODEC_ID_NONE, ""},
      {-1, ""},
      {INT_MIN, ""},
      {AV_CODEC_ID_DTS, "dts"},
      {AV_CODEC_ID_MPEG2VIDEO, "mpeg2"},
      {AV_CODEC_ID_MPEG1VIDEO, ""},
      {AV_CODEC_ID_EAC3, "eac3"},
      {AV_CODEC_ID_AAC_LATM, "aac_latm"},
      {AV_CODEC_ID_HEVC, ""},
      {AV_CODEC_ID_OPUS, ""},
      {AV_CODEC_ID_PCM_S16LE_PLANAR, "pcm_s16le_planar"},
      {AV_CODEC_ID_ADPCM_IMA_ISS, "adpcm_ima_iss"},
  };
  for (const auto& test : cases) EXPECT_EQ(GetCodecName(test.id), test.name) << test.id;
}

TEST(AudioMapArgs, LongSelectorIsCut) {
  std::vector<std::string> arguments{"before"};
  AppendAudioMapArgs("AC3", std::string(200, '7'), {"ac3"}, arguments);
  ASSERT_EQ(arguments.size(), 13U);
  EXPECT_EQ(arguments[2], "mp2");
  EXPECT_EQ(arguments.back(), "0:" + std::string(125, '7'));
}

TEST(FfmpegOptions, BecomeThoseOfAStockFfmpeg) {
  using Options = std::vector<std::string>;
  const Options wav = TranslateOptions({"-v", "0", "-i", "/-i:\n", "-f", "wav", "-acodec",
                                        "pcm_s16le", "-write_info_tag", "0", "-"});
  EXPECT_EQ(wav, Options({"-nostdin", "-v", "0", "-protocol_whitelist", "file", "-format_whitelist",
                          kSelfContainedFormats, "-i", "file:/-i:\n", "-vn", "-f", "wav", "-acodec",
                          "pcm_s16le", "-map_metadata", "-1", "-fflags", "+bitexact", "-"}));
  const Options remux =
      TranslateOptions({"-vbsf", "x", "-map", "0:v", "-map", "0:1", "-f", "mpegts", "-"});
  EXPECT_EQ(remux, Options({"-nostdin", "-bsf:v", "x", "-map", "0:V", "-map", "0:1", "-f", "mpegts",
                            "-"}));
  const struct {
    const char* input;
    const char* protocols;
    const char* opened;
  } inputs[] = {
      {"HTTPS://x/", "http,https,tls,tcp", "https://x/"},
      {"rtsp://x/", "rtsp,rtp,udp,tcp", "rtsp://x/"},
      {"RTMP://x/", "rtmp,tcp", "rtmp://x/"},
      {"mms://x/", "mmsh,http,tcp", "mmsh://x/"},
      {"", "http,https,tls,tcp", ""},
      {"-f", "http,https,tls,tcp", "-f"},
      {"concat:/etc/passwd", "http,https,tls,tcp", "concat:/etc/passwd"},
  };
  for (const auto& [input, protocols, opened] : inputs) {
    const Options network = TranslateOptions({"-i", input, "-"});
    ASSERT_EQ(network.size(), 10U);
    EXPECT_EQ(network[2], protocols);
    EXPECT_EQ(network[8], opened);
  }
  EXPECT_EQ(TranslateOptions({}), Options({"-nostdin"}));
  EXPECT_EQ(TranslateOptions({"-i"}), Options({"-nostdin", "-i"}));
}

}  // namespace
