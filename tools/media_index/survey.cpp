#include "tools/media_index/survey.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "tools/media_index/interrupt.h"

namespace {

namespace fs = std::filesystem;
using Known = std::map<std::string, Library::State>;

std::string Inside(const std::string& folder) { return folder == "/" ? folder : folder + "/"; }

/// Calls `visit` for every known path below `folder`.
template <typename Visitor>
void ForEachBelow(const std::string& folder, const Known& known, const Visitor& visit) {
  const std::string inside = Inside(folder);
  for (auto row = known.lower_bound(inside); row != known.end() && row->first.starts_with(inside);
       ++row) {
    visit(*row);
  }
}

/// The folder is missing, is none, or has no entry. One that cannot be read is not absent.
bool IsAbsent(const std::string& folder) {
  std::error_code error;
  const fs::directory_iterator entry(folder, error);
  if (!error) return entry == fs::directory_iterator();
  return error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory ||
         error == std::errc::too_many_symbolic_link_levels;
}

class Surveyor {
 public:
  Surveyor(const Known& known, Progress& progress) : known_(known), progress_(progress) {}

  Survey Look(const std::vector<std::string>& folders);

 private:
  void Find(const FoundFile& file);
  void KeepBelow(const std::string& path);
  void KeepAbsent(const std::vector<std::string>& disks, const std::vector<std::string>& folders);

  const Known& known_;
  Progress& progress_;
  Survey survey_;
  std::set<std::string> seen_;  ///< of all paths, what is there
  std::set<std::string> kept_;  ///< of the known ones, what stays without being seen
};

Survey Surveyor::Look(const std::vector<std::string>& folders) {
  std::vector<std::string> disks(folders);
  for (const std::string& folder : folders) {
    ForEachBelow(folder, known_, [&](const auto& row) {
      if (row.second.size == kMountPoint) disks.push_back(row.first);
    });
  }
  // Both before and after, for disks come and go.
  KeepAbsent(disks, folders);
  for (const std::string& folder : folders) {
    WalkFolder(folder, {.found = [this](const FoundFile& file) { Find(file); },
                        .mounted =
                            [this](const std::string& path) {
                              if (!seen_.insert(path).second || known_.contains(path)) return;
                              survey_.mounts.push_back(path);
                            },
                        .unreadable =
                            [this](const std::string& path, const std::string& reason) {
                              progress_.Warn(path, reason + "; what is known of it stays");
                              survey_.complete = false;
                              KeepBelow(path);
                            },
                        .refused =
                            [this](const std::string& link) {
                              progress_.Warn(link,
                                             "a link, but not by root or the library's owner; "
                                             "left out");
                            }});
  }
  KeepAbsent(disks, folders);
  for (const std::string& folder : folders) {
    for (const std::string& path : KnownBelow(folder, known_)) {
      if (!seen_.contains(path) && !kept_.contains(path)) survey_.gone.insert(path);
    }
  }
  return std::move(survey_);
}

void Surveyor::Find(const FoundFile& file) {
  if (Interrupted() != 0) throw Interruption();
  if (!seen_.insert(file.path).second) return;
  progress_.Found(++survey_.files);
  const auto row = known_.find(file.path);
  if (row == known_.end() || row->second.modified != file.modified ||
      row->second.size != file.size) {
    survey_.changed.push_back(file);
  } else {
    ++(row->second.item ? survey_.unchanged : survey_.passedOver);
  }
}

void Surveyor::KeepBelow(const std::string& path) {
  kept_.insert(path);
  ForEachBelow(path, known_, [this](const auto& row) { kept_.insert(row.first); });
}

void Surveyor::KeepAbsent(const std::vector<std::string>& disks,
                          const std::vector<std::string>& folders) {
  for (const std::string& disk : disks) {
    if (kept_.contains(disk) || !IsAbsent(disk)) continue;
    bool items = false;
    ForEachBelow(disk, known_, [&](const auto& row) { items = items || row.second.item; });
    KeepBelow(disk);
    std::error_code error;
    const bool empty = fs::is_directory(disk, error);
    if (!items && (empty || std::ranges::find(folders, disk) == folders.end())) continue;
    survey_.complete = false;
    progress_.Warn(disk, std::string(empty ? "an empty folder" : "no such folder") +
                             " (a disk that is away?); what is known of it stays");
  }
}

}  // namespace

Survey SurveyFolders(const std::vector<std::string>& folders, const Known& known,
                     Progress& progress) {
  return Surveyor(known, progress).Look(folders);
}

std::set<std::string> KnownBelow(const std::string& path, const Known& known) {
  std::set<std::string> below;
  if (known.contains(path)) below.insert(path);
  ForEachBelow(path, known, [&](const auto& row) { below.insert(row.first); });
  return below;
}
