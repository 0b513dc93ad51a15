// media-index DIRECTORY…: makes the media database tell what is in the folders.
//
// The database is the one that the key "mediadb" of the system configuration names, for the
// streaming program too. Of an embedded database (sqlite:DIRECTORY) it needs the right to write the
// files. In a PostgreSQL server (postgresql:CONNINFO) it is the database user that CONNINFO names,
// else the one with the name of the system user; packaging/postgresql.sql tells who may write.

extern "C" {
#include <libavutil/log.h>
}

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string_view>

#include "platform/sysutil/sysutil.h"
#include "tools/media_index/library.h"

namespace {

constexpr char kConfiguration[] = "/etc/orvainfo.conf";
constexpr std::string_view kSqlite = "sqlite:";
constexpr std::string_view kPostgresql = "postgresql:";

std::unique_ptr<Library> OpenConfiguredLibrary() {
  std::array<char, 1024> value{};
  errno = 0;
  const int found = OLIBCFileGetKeyValue(kConfiguration, "mediadb", value.data(), value.size(), 0);
  if (found == 0 || (found < 0 && errno == ENOENT)) return OpenSqliteLibrary(PACKAGE_DIR "/var");
  if (found < 0)
    throw std::runtime_error(std::string(kConfiguration) + ": " + std::strerror(errno));
  const std::string configured = value.data();
  if (configured.starts_with(kSqlite)) return OpenSqliteLibrary(configured.substr(kSqlite.size()));
  if (configured.starts_with(kPostgresql)) {
    return OpenPostgresqlLibrary(configured.substr(kPostgresql.size()));
  }
  throw std::runtime_error(std::string(kConfiguration) + ": unknown mediadb [" + configured + "]");
}

/// The line that tells a person at a terminal how far it is.
class Progress {
 public:
  void Count() {
    ++files_;
    if (terminal_) std::fprintf(stderr, "\r%zu files", files_);
  }
  void Warn(std::string path, const std::string& reason) {
    Clear();
    // A name may hold what a terminal would obey.
    std::ranges::replace_if(
        path, [](unsigned char c) { return c < ' ' || c == 0x7f; }, '?');
    std::fprintf(stderr, "media-index: warning: %s: %s\n", path.c_str(), reason.c_str());
  }
  void Clear() {
    if (terminal_) std::fputs("\r\033[K", stderr);
  }
  std::size_t files() const { return files_; }

 private:
  const bool terminal_ = isatty(STDERR_FILENO) == 1;
  std::size_t files_ = 0;
};

bool IsBelow(const std::string& path, const std::string& folder) {
  return folder == "/" || path.starts_with(folder + "/");
}

/// Brings the rows of the files in `folders` up to date. Rows of other files stay.
void Index(Library& library, const std::vector<std::string>& folders) {
  Progress progress;
  std::map<std::string, Library::State> known = library.Files();
  std::set<std::string> gone;
  for (const auto& [path, state] : known) {
    for (const std::string& folder : folders) {
      if (IsBelow(path, folder)) gone.insert(path);
    }
  }
  std::vector<Library::Change> changes;
  for (const std::string& folder : folders) {
    WalkFolder(
        folder,
        [&](const FoundFile& file) {
          progress.Count();
          gone.erase(file.path);
          const auto [row, isNew] = known.insert({file.path, {file.modified, file.size}});
          if (!isNew && row->second.modified == file.modified && row->second.size == file.size) {
            return;
          }
          row->second = {file.modified, file.size};
          changes.push_back({file, ReadFacts(file.path)});
          if (changes.back().facts.kind == MediaKind::kUnreadable) {
            progress.Warn(file.path, "not a media file that can be read; left out");
          }
        },
        [&](const std::string& unread, const std::string& reason) {
          progress.Warn(unread, reason + "; what is known of it stays");
          std::erase_if(gone, [&](const std::string& path) {
            return path == unread || IsBelow(path, unread);
          });
        });
  }
  library.Apply(changes, gone);
  progress.Clear();
  std::printf("%zu files: %zu new or changed, %zu gone\n", progress.files(), changes.size(),
              gone.size());
}

}  // namespace

int main(int count, char** values) {
  if (count < 2 || values[1][0] == '-') {
    std::fputs("usage: media-index DIRECTORY...\n", stderr);
    return 2;
  }
  av_log_set_level(AV_LOG_QUIET);
  umask(022);  // the database is for the package's user to read
  try {
    std::vector<std::string> folders;
    for (int i = 1; i < count; ++i) {
      folders.push_back(std::filesystem::canonical(values[i]).string());
      if (!std::filesystem::is_directory(folders.back())) {
        throw std::runtime_error(folders.back() + ": not a folder");
      }
    }
    Index(*OpenConfiguredLibrary(), folders);
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "media-index: %s\n", failure.what());
    return 1;
  }
}
