#include "platform/url_parser/playlist.h"

#include <gtest/gtest.h>

#include <chrono>

#include "platform/url_parser/address.h"

namespace {

using namespace std::string_literals;

constexpr char kBase[] = "http://h/dir/list?x=1";

std::string First(std::string_view text, std::string_view name, bool cut = false) {
  return FirstAddress(PlaylistEntries(text, name, cut), kBase, true);
}

std::string Repeat(std::string_view text, int count) {
  std::string all;
  while (count-- > 0) all += text;
  return all;
}

TEST(Playlist, FirstAddress) {
  const std::string pls = "http://h/a.pls", m3u = "http://h/a.M3U?b.pls", asx = "http://h/a.asx",
                    xspf = "http://h/a.xspf";
  const struct {
    std::string text, name, expected;
  } cases[] = {
      {"[playlist]\nFile2=http://b/\nFile1=http://a/\nTitle1=x\n", pls, "http://a/"},
      {"\xef\xbb\xbf\r\n[PlayList]\r\rFILE10=http://c/\rfile9 = http://b/ \r", pls, "http://b/"},
      {"[playlist]\nFile1=/srv/a b.mp3\nFile2=file:///a\nFile3=http://a/", pls, "http://a/"},
      {"[playlist]\nFile1=http://a/\nFile1=http://b/", pls, "http://a/"},
      {"[playlist]\nFile=http://a/\nFile-1=http://b/\nFile99999999999=http://c/\nFile", pls, ""},
      {"File1=http://a/\n[other]\nFile1=http://b/\n", pls, ""},
      {"; by hand\n[playlist]\nFile1=http://a/\n[x]\nFile0=http://b/", pls, "http://a/"},
      {"[playlist]\nFile1=http://a/", m3u, "http://a/"},
      {"#EXTM3U\n#EXTINF:-1,http://t/\nhttp://a/?b=c&d#e\n", pls, "http://a/?b=c&d#e"},
      {"\xef\xbb\xbf#EXTM3U\r\n\r\n  http://a/ \t\r\n", m3u, "http://a/"},
      {"# c\rC:\\a.mp3\rhttp://a/\x01\rHTTPS://a/", m3u, "HTTPS://a/"},
      {"lavfi:x\nconcat:a|b\n//o/a b\nrtsp://a/", m3u, "rtsp://a/"},
      {"next.mp3", m3u, "http://h/dir/next.mp3"},
      {"../../up?q", m3u, "http://h/up?q"},
      {"/root", m3u, "http://h/root"},
      {"//o:8/p", m3u, "http://o:8/p"},
      {"\xff\xfeh\0t\0t\0p\0"s, m3u, ""},
      {"http://a/\n\0"s, m3u, ""},
      {"http://" + std::string(4089, 'a') + "\nhttp://b/", m3u, "http://b/"},
      {"http://" + std::string(4088, 'a'), m3u, "http://" + std::string(4088, 'a')},
      {"<ASX Version=\"3\"><title>x</Title><Entry><REF HREF = 'mms://a/?b&c=&amp;'/></ENTRY></asx>",
       asx, "mms://a/?b&c=&"},
      {"<?xml version='1.0'?><!-- <asx> --><asx><ref href='http://no/'/><entry><ref/>"
       "<ref href='a.mp3'/></entry>",
       pls, "http://h/dir/a.mp3"},
      {"<asx><entryref href=\"http://a/b.asx\"/><entry><ref href='http://c/'/></entry></asx>", asx,
       "http://a/b.asx"},
      {"<asx><entry><ref href='http://a/'/><entry><ref href='http://b", asx, "http://a/"},
      {"<playlist xmlns=\"http://xspf.org/ns/0/\"><trackList><track><location>\n"
       "file:///a</location><location><![CDATA[http://a/?b&c]]></location></track></trackList>",
       xspf, "http://a/?b&c"},
      {"<!DOCTYPE p [<!ENTITY a 'http://a/'>]><playlist><track><location>&a;</location></track>"
       "</playlist>",
       xspf, "http://h/dir/&a;"},
      {"<html><track><location>http://a/</location></track></html>", xspf, ""},
      {"", m3u, ""},
      {"\xef\xbb\xbf", asx, ""},
  };
  for (const auto& each : cases) EXPECT_EQ(First(each.text, each.name), each.expected) << each.text;
}

TEST(Playlist, CutText) {
  EXPECT_EQ(First("#EXTM3U\nhttp://a/b", "", true), "");
  EXPECT_EQ(First("<asx><entry><ref href='http://a/'/><ref href='http://b", "", true), "http://a/");
  EXPECT_EQ(First("<playlist><track><location>http://a/b", "", true), "");
}

TEST(Playlist, NestedIsPassedOver) {
  EXPECT_EQ(FirstAddress({"a.pls", "http://b/B.XSPF?c", "http://d/"}, kBase, false), "http://d/");
  EXPECT_EQ(FirstAddress({"a.mp3", "http://d/"}, "not a base", true), "http://d/");
}

TEST(Playlist, LiveStreaming) {
  EXPECT_TRUE(IsLiveStreamingPlaylist("\xef\xbb\xbf#EXTM3U\r\n#EXT-X-VERSION:3\r\n"));
  EXPECT_FALSE(IsLiveStreamingPlaylist("#EXTM3U\n#EXTINF:-1,#EXT-X-\nhttp://a/#EXT-X-\n"));
  EXPECT_FALSE(IsLiveStreamingPlaylist("#EXT-X-VERSION:3\n"));
}

/// As large as a fetched text gets, and as hard to take apart: in time, and without a crash.
TEST(Playlist, LargeTexts) {
  const auto start = std::chrono::steady_clock::now();
  std::string files = "[playlist]\n";
  for (int i = 10000; i > 0; --i) files += "File" + std::to_string(i) + "=a b" + "\n";
  EXPECT_EQ(First(files + "File10001=http://a/", ""), "http://a/");
  EXPECT_EQ(First(Repeat("%\n", 32000) + "http://a/", ""), "http://a/");
  EXPECT_EQ(First(Repeat("<asx>", 13000) + "<entry><ref href='http://a/'/>", ""), "http://a/");
  EXPECT_EQ(First("<asx" + Repeat(" a=''", 13000) + "><entryref " + Repeat("b='' ", 9000), ""), "");
  EXPECT_EQ(First("<!DOCTYPE a [" + Repeat("<![", 20000), ""), "");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST(Address, Playlist) {
  for (const char* yes : {"http://h/.m3u/a.m3u", "HTTPS://u:p@h:1/a.PLS?b", "http://h/a.aSx#b",
                          "http://h/a/.xspf.xspf"}) {
    EXPECT_TRUE(IsPlaylistAddress(yes)) << yes;
  }
  for (const char* no :
       {"http://h.pls", "http://h?/a.pls", "http://h/a.m3u8", "rtsp://h/a.pls", "http://h/a.pls/",
        "/a.pls", "file:///a.pls", "", "http:", "http://h/apls"}) {
    EXPECT_FALSE(IsPlaylistAddress(no)) << no;
  }
}

TEST(Address, Network) {
  EXPECT_TRUE(IsNetworkAddress("MMS://a/\xc3\xa4|{}"));
  for (const char* no : {"/etc/passwd", "file:///a", "http:/a", "http://a b", "http://a\n",
                         "http://a\x7f", "http://a\\b", ""}) {
    EXPECT_FALSE(IsNetworkAddress(no)) << no;
  }
}

}  // namespace
