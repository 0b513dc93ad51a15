#include "platform/url_parser/playlist.h"

#include <gtest/gtest.h>

using namespace std::string_literals;

TEST(Playlist, FirstAddress) {
  const std::string pls = "http://h/a.pls", m3u = "http://h/a.M3U?b.pls";
  const std::string longest = "http://" + std::string(4088, 'a'), bom = "\xef\xbb\xbf";
  const struct {
    std::string text, name, expected;
    bool cut = false, nested = false;
  } cases[] = {
      {bom + "\r\n[PlayList]\r\rFILE10=http://c/\rfile9 = http://b/ \r", m3u, "http://b/"},
      {"; by hand\nFile1=http://0/\n[x]\nFile1=http://1/\n[playlist]\nFile=http://2/\nFile\n"
       "File-1=http://3/\nFile99999999999=http://4/\nFile3=http://a/\nFile3=http://5/\n"
       "File2=/srv/a b.mp3\nFile1=file:///a\n[x]\nFile0=http://6/",
       pls, "http://a/"},
      {"#EXTM3U\n#EXTINF:-1,http://t/\nhttp://a/?b=c&d#e\n", pls, "http://a/?b=c&d#e"},
      {bom + "# c\rC:\\a\rhttp://a\x7f\rhttp://a\\b\rlavfi:x\rconcat:a|b\r//a b\r  RTSP://a/ \t",
       m3u, "RTSP://a/"},
      {"../../up?q", m3u, "http://h/up?q"},
      {"//o:8/p", m3u, "http://o:8/p"},
      {"\xff\xfeh\0t\0t\0p\0"s, m3u, ""},
      {"http://a/\n\0"s, m3u, ""},
      {longest + "a\n" + longest, m3u, longest},
      {"a.pls\nhttps://u:p@b:1/B.XSPF?c\nhttp://c/.m3u/.aSx#d\nhttp://d.pls", m3u, "http://d.pls",
       false, true},
      {"#EXTM3U\nhttp://a/b", m3u, "", true},
      {"<?xml version='1.0'?><!-- <asx> --><asx><ref href='http://0/'/><Entry><ref/>\n"
       "<REF HREF = 'mms://a/?b&c=&amp;'/></ENTRY>",
       pls, "mms://a/?b&c=&"},
      {"<ASX><entryref href=\"b.asx\"/><entry><ref href='http://c", m3u, "http://h/b.asx", true},
      {"<playlist xmlns=\"http://xspf.org/ns/0/\"><trackList><track><location>\nfile:///a"
       "</location><location><![CDATA[http://a/?b&c]]></location></track></trackList>",
       m3u, "http://a/?b&c"},
      {"<!DOCTYPE p [<!ENTITY a 'mms://a'>]><playlist><track><location>&a;</", m3u, "http://h/&a;"},
      {"<html><track><location>http://a/</location></track></html>", m3u, ""},
  };
  for (const auto& each : cases) {
    const auto entries = PlaylistEntries(each.text, each.name, each.cut);
    EXPECT_EQ(FirstAddress(entries, each.name, !each.nested), each.expected) << each.text;
  }
}

TEST(Playlist, LiveStreaming) {
  EXPECT_TRUE(IsLiveStreamingPlaylist("\xef\xbb\xbf#EXTM3U\r\n#EXT-X-VERSION:3\r\n"));
  EXPECT_FALSE(IsLiveStreamingPlaylist("#EXTM3U\n#EXTINF:-1,#EXT-X-\nhttp://a/#EXT-X-\n"));
}
