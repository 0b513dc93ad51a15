#include "tools/media_index/index.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>
#include <span>

#include "tools/media_index/interrupt.h"
#include "tools/media_index/reader.h"
#include "tools/media_index/survey.h"

namespace {

using Known = std::map<std::string, Library::State>;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kFilesOfBatch = 500;
constexpr std::chrono::seconds kTimeOfBatch{10};

/// What has been read and is not stored yet.
class Batch {
 public:
  Batch(Library& library, const std::function<void()>& stored)
      : library_(library), stored_(stored) {}

  void Add(const FoundFile& file, const MediaFacts& facts) { changes_.push_back({file, facts}); }
  void StoreWhenDue() {
    if (changes_.size() >= kFilesOfBatch || Clock::now() - last_ >= kTimeOfBatch) Store({});
  }
  void Store(const std::set<std::string>& gone) {
    if (!changes_.empty() || !gone.empty()) {
      library_.Apply(changes_, gone);
      stored_();
    }
    changes_.clear();
    last_ = Clock::now();
  }

 private:
  Library& library_;
  const std::function<void()>& stored_;
  std::vector<Library::Change> changes_;
  Clock::time_point last_ = Clock::now();
};

/// Counts what reading a file told, and warns of what should be known. True: it is to be stored.
bool Judge(const FoundFile& file, const std::optional<MediaFacts>& facts, const Known& known,
           Totals& totals, Progress& progress) {
  const auto row = known.find(file.path);
  const bool wasItem = row != known.end() && row->second.item;
  if (facts && facts->error == 0 && facts->kind >= MediaKind::kMusic) {
    ++(wasItem ? totals.changed : totals.added);
    return true;
  }
  ++totals.skipped;
  if (!facts || facts->error != 0) {
    // What is gone since it was found is no trouble; the next run takes notice.
    if (facts && facts->error == ENOENT) return false;
    const std::string reason =
        facts ? std::strerror(facts->error) : "reading it crashed or took too long";
    progress.Warn(file.path, reason + (wasItem ? "; what is known of it stays" : "; left out"));
    return false;
  }
  if (wasItem) ++totals.removed;
  if (facts->kind == MediaKind::kUnreadable) {
    progress.Warn(file.path, "not a media file that can be read; left out");
  }
  return true;
}

void ReadAll(std::span<const FoundFile> files, const Known& known, Batch& batch, Totals& totals,
             Progress& progress) {
  if (files.empty()) return;
  Reader reader;
  const std::size_t total = files.size();
  progress.Read(0, total);
  while (!files.empty() && Interrupted() == 0) {
    const auto read = reader.Read(files);
    for (std::size_t i = 0; i < read.size(); ++i) {
      if (Judge(files[i], read[i], known, totals, progress)) batch.Add(files[i], *read[i]);
    }
    files = files.subspan(read.size());
    progress.Read(total - files.size(), total);
    batch.StoreWhenDue();
  }
}

std::size_t CountItems(const std::set<std::string>& paths, const Known& known) {
  std::size_t items = 0;
  for (const std::string& path : paths) items += known.at(path).item ? 1 : 0;
  return items;
}

}  // namespace

Totals Index(Library& library, const std::vector<std::string>& folders, Progress& progress,
             const std::function<void()>& stored) {
  const Known known = library.Files();
  const Survey survey = SurveyFolders(folders, known, progress);
  Totals totals{.files = survey.files,
                .unchanged = survey.unchanged,
                .skipped = survey.passedOver,
                .complete = survey.complete};
  Batch batch(library, stored);
  MediaFacts noItem;
  noItem.kind = MediaKind::kNone;
  for (const std::string& mount : survey.mounts) batch.Add({mount, 0, kMountPoint}, noItem);
  ReadAll(survey.changed, known, batch, totals, progress);
  totals.interrupted = Interrupted() != 0;
  if (totals.interrupted) {
    batch.Store({});
  } else {
    totals.removed += CountItems(survey.gone, known);
    batch.Store(survey.gone);
  }
  return totals;
}

Totals Forget(Library& library, const std::vector<std::string>& folders) {
  const Known known = library.Files();
  std::set<std::string> gone;
  for (const std::string& folder : folders) gone.merge(KnownBelow(folder, known));
  library.Apply({}, gone);
  return {.removed = CountItems(gone, known)};
}
