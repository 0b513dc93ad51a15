#include "platform/url_parser/playlist_xml.h"

#include <strings.h>

#include <pugixml.hpp>
#include <string_view>

namespace {

constexpr std::string_view kNameEnd = " \t\r\n/>!";

/// ASX is written by hand: a tag and its end need not agree in case.
void LowerTagNames(std::string& text) {
  for (auto at = text.find('<'); at != std::string::npos; at = text.find('<', at)) {
    for (at += text.compare(at, 2, "</") == 0 ? 2 : 1;
         at < text.size() && kNameEnd.find(text[at]) == std::string_view::npos; ++at) {
      if (text[at] >= 'A' && text[at] <= 'Z') text[at] = static_cast<char>(text[at] - 'A' + 'a');
    }
  }
}

const char* Reference(const pugi::xml_node& node) {
  for (const pugi::xml_attribute& attribute : node.attributes()) {
    if (strcasecmp(attribute.name(), "href") == 0) return attribute.value();
  }
  return "";
}

}  // namespace

std::vector<std::string> XmlPlaylistEntries(std::string text) {
  LowerTagNames(text);
  pugi::xml_document document;
  // The result does not count: what comes before an error is in the document.
  static_cast<void>(document.load_buffer_inplace(text.data(), text.size(), pugi::parse_default,
                                                 pugi::encoding_utf8));
  const std::string_view root = document.document_element().name();
  std::vector<std::string> entries;
  // A search that finds nothing visits every node, in the order of the text.
  document.find_node([&](const pugi::xml_node& node) {
    const std::string_view name = node.name();
    const std::string_view parent = node.parent().name();
    if (root == "asx" && (name == "entryref" || (name == "ref" && parent == "entry"))) {
      entries.emplace_back(Reference(node));
    } else if (root == "playlist" && name == "location" && parent == "track") {
      entries.emplace_back(node.child_value());
    }
    return false;
  });
  return entries;
}
