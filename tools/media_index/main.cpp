// media-index: makes the media database tell what is in the folders, and the page with it.
//
// The database is the one that the key "mediadb" of the system configuration names, for the
// streaming program too. Of an embedded database (sqlite:DIRECTORY) it acts for the owner of
// DIRECTORY. In a PostgreSQL server (postgresql:CONNINFO) it is the database user that CONNINFO
// names, else the one with the name of the system user, so it stays who it is;
// packaging/postgresql.sql tells who may write.

extern "C" {
#include <libavutil/log.h>
}

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string_view>

#include "platform/sysutil/sysutil.h"
#include "tools/media_index/arguments.h"
#include "tools/media_index/index.h"
#include "tools/media_index/interrupt.h"
#include "tools/media_index/owner.h"
#include "tools/media_index/page.h"
#include "tools/media_index/text.h"

namespace {

namespace fs = std::filesystem;
using Action = Arguments::Action;

enum Status { kDone, kFailed, kWrongUsage, kIncomplete };

constexpr char kConfiguration[] = "/etc/orvainfo.conf";
constexpr std::string_view kSqlite = "sqlite:";
constexpr std::string_view kPostgresql = "postgresql:";
constexpr std::chrono::minutes kPageInterval{1};

std::unique_ptr<Library> OpenEmbedded(const std::string& directory) {
  ActForOwner(directory);
  return OpenSqliteLibrary(directory);
}

std::unique_ptr<Library> OpenConfiguredLibrary() {
  std::array<char, 1024> value{};
  errno = 0;
  const int found = OLIBCFileGetKeyValue(kConfiguration, "mediadb", value.data(), value.size(), 0);
  if (found == 0 || (found < 0 && errno == ENOENT)) return OpenEmbedded(PACKAGE_DIR "/var");
  if (found < 0)
    throw std::runtime_error(std::string(kConfiguration) + ": " + std::strerror(errno));
  const std::string configured = value.data();
  if (configured.starts_with(kSqlite)) return OpenEmbedded(configured.substr(kSqlite.size()));
  if (configured.starts_with(kPostgresql)) {
    return OpenPostgresqlLibrary(configured.substr(kPostgresql.size()));
  }
  throw std::runtime_error(std::string(kConfiguration) + ": unknown mediadb [" + configured + "]");
}

/// The absolute path of a folder of the command line without links, as far as it is there.
std::string Resolve(const std::string& folder) {
  std::error_code error;
  const fs::path given = fs::absolute(folder);
  fs::path path = fs::weakly_canonical(given, error);
  if (error) path = given.lexically_normal();
  if (!path.has_filename() && path.has_relative_path()) path = path.parent_path();
  return path.string();
}

void PrintTotals(const Totals& totals, const Progress& progress) {
  std::printf(
      "%zu files in %s: %zu added, %zu changed, %zu removed, %zu skipped, %zu unchanged%s\n",
      totals.files, TimeText(progress.elapsed()).c_str(), totals.added, totals.changed,
      totals.removed, totals.skipped, totals.unchanged, totals.interrupted ? "; interrupted" : "");
}

Status Run(const Arguments& arguments) {
  // Better now than after hours.
  const std::string& page = arguments.page;
  if (!page.empty() && !fs::is_directory(page)) throw std::runtime_error(page + ": not a folder");
  std::vector<std::string> folders;
  for (const std::string& folder : arguments.folders) folders.push_back(Resolve(folder));
  const std::unique_ptr<Library> library = OpenConfiguredLibrary();
  Totals totals;
  Progress progress;
  if (arguments.action == Action::kForget) {
    totals = Forget(*library, folders);
  } else {
    auto written = std::chrono::steady_clock::now();
    totals = Index(*library, folders, progress, [&] {
      const auto now = std::chrono::steady_clock::now();
      if (page.empty() || now - written < kPageInterval) return;
      written = now;
      try {
        WritePage(MakePage(*library), page);
      } catch (const std::runtime_error&) {
        // The last one tells; until then the database gains what is read.
      }
    });
  }
  if (!page.empty()) WritePage(MakePage(*library), page);
  progress.Clear();
  PrintTotals(totals, progress);
  return totals.complete ? kDone : kIncomplete;
}

}  // namespace

int main(int count, char** values) {
  const Arguments arguments = ParseArguments(count, values);
  if (arguments.action == Action::kUsageError) return kWrongUsage;
  if (arguments.action == Action::kHelp) std::printf("%s\n%s", kUsage, kHelp);
  if (arguments.action == Action::kVersion) std::puts("media-index " VERSION);
  if (arguments.action != Action::kIndex && arguments.action != Action::kForget) return kDone;
  av_log_set_level(AV_LOG_QUIET);
  umask(022);
  NoteInterrupts();
  Status status = kFailed;
  try {
    status = Run(arguments);
  } catch (const Interruption&) {
    std::fputs("media-index: interrupted; nothing was changed\n", stderr);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "media-index: %s\n", OneLine(failure.what(), ' ').c_str());
  }
  std::fflush(stdout);
  EndByInterrupt();
  return status;
}
