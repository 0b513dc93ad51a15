#include "tools/media_index/page.h"

#include <json/json.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "platform/sysutil/descriptor.h"
#include "tools/media_index/text.h"

namespace {

[[noreturn]] void Fail(const std::string& path) {
  throw std::runtime_error(path + ": " + std::strerror(errno));
}

bool IsMatroska(const std::string& path) {
  constexpr std::string_view kEnd = ".mkv";
  return path.size() >= kEnd.size() &&
         strcasecmp(path.c_str() + path.size() - kEnd.size(), kEnd.data()) == 0;
}

Json::Value Describe(const Library::Item& item, MediaKind kind) {
  Json::Value value(Json::objectValue);
  value["id"] = Json::Int64{item.id};
  value["title"] = ValidUtf8(item.title);
  value["artist"] = ValidUtf8(item.artist);
  value["album"] = ValidUtf8(item.album);
  value["duration"] = Json::Int64{item.duration};
  if (kind == MediaKind::kVideo) value["matroska"] = IsMatroska(item.path);
  return value;
}

std::string PlaylistEntry(const Library::Item& item) {
  const std::string artist = item.artist.empty() ? "" : OneLine(item.artist, ' ') + " - ";
  return "#EXTINF:" + std::to_string(item.duration) + "," + artist + OneLine(item.title, ' ') +
         "\ntranscoder.cgi?id=" + std::to_string(item.id) + "&format=mp3\n";
}

/// A file that is there as a whole once it is put in its place, and not at all before.
class NewFile {
 public:
  NewFile(const std::string& directory, const std::string& name)
      : target_(directory + "/" + name), path_(directory + "/." + name + ".XXXXXX") {
    file_ = Descriptor(mkostemp(path_.data(), O_CLOEXEC));
    if (file_.get() < 0) {
      path_.clear();
      Fail(target_);
    }
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile() {
    if (!path_.empty()) unlink(path_.c_str());
  }

  void Write(std::string_view text) {
    while (!text.empty()) {
      const ssize_t count = write(file_.get(), text.data(), text.size());
      if (count < 0 && errno != EINTR) Fail(target_);
      text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    if (fchmod(file_.get(), 0644) != 0 || fsync(file_.get()) != 0) Fail(target_);
  }
  void PutInPlace() {
    if (rename(path_.c_str(), target_.c_str()) != 0) Fail(target_);
    path_.clear();
  }

 private:
  const std::string target_;
  std::string path_;  ///< of the unfinished file; empty: none
  Descriptor file_;
};

/// Root acts as the owner of a folder: what the owner put there leads nowhere else.
class ActAsOwner {
 public:
  explicit ActAsOwner(const std::string& directory) {
    struct stat facts;
    if (stat(directory.c_str(), &facts) != 0) Fail(directory);
    if (geteuid() != 0 || facts.st_uid == 0) return;
    switched_ = true;
    if (setegid(facts.st_gid) != 0 || seteuid(facts.st_uid) != 0) {
      const int error = errno;
      GoBack();
      errno = error;
      Fail(directory);
    }
  }
  ActAsOwner(const ActAsOwner&) = delete;
  ActAsOwner& operator=(const ActAsOwner&) = delete;
  ~ActAsOwner() {
    if (switched_) GoBack();
  }

 private:
  static void GoBack() {
    if (seteuid(0) != 0 || setegid(0) != 0) std::abort();
  }
  bool switched_ = false;
};

}  // namespace

Page MakePage(Library& library) {
  Json::StreamWriterBuilder form;
  form["indentation"] = "";
  form["emitUTF8"] = true;
  const std::unique_ptr<Json::StreamWriter> writer(form.newStreamWriter());
  std::ostringstream json;
  Page page;
  page.m3u = "#EXTM3U\n";
  for (const MediaKind kind : {MediaKind::kMusic, MediaKind::kVideo}) {
    json << (kind == MediaKind::kMusic ? "{\"music\":[" : "],\n\"video\":[");
    const char* separator = "\n";
    library.ForEachItem(kind, [&](const Library::Item& item) {
      json << separator;
      writer->write(Describe(item, kind), &json);
      separator = ",\n";
      if (kind == MediaKind::kMusic) page.m3u += PlaylistEntry(item);
    });
  }
  json << "]}\n";
  page.json = std::move(json).str();
  return page;
}

void WritePage(const Page& page, const std::string& directory) {
  const ActAsOwner owner(directory);
  NewFile json(directory, "library.json");
  NewFile m3u(directory, "music.m3u8");
  json.Write(page.json);
  m3u.Write(page.m3u);
  json.PutInPlace();
  m3u.PutInPlace();
}
