#include "tools/media_index/reader.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <stdexcept>
#include <string_view>

#include "platform/confinement/rights.h"
#include "platform/confinement/sandbox.h"
#include "platform/sysutil/answer.h"
#include "tools/media_index/interrupt.h"

namespace {

using Clock = std::chrono::steady_clock;

// A process costs some milliseconds, more than most files. One that may read few files at a time
// can tell lies of few.
constexpr std::size_t kFilesOfProcess = 16;
constexpr std::chrono::seconds kShortWhile{2};
constexpr std::chrono::seconds kFileLimit{10};
constexpr std::size_t kLongestText = 1000;  // bytes; an answer has to stay below 64 KiB
constexpr std::size_t kFields = 8;          // of a file's facts, each ended by a NUL
constexpr rlim_t kMemory = rlim_t{2} << 30;

std::string Cut(std::string text) {
  if (text.size() <= kLongestText) return text;
  std::size_t size = kLongestText;
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  text.resize(size);
  return text;
}

std::string Encode(const MediaFacts& facts) {
  std::string text;
  for (const std::string& field :
       {std::to_string(facts.error), std::to_string(static_cast<int>(facts.kind)),
        std::to_string(facts.channels), std::to_string(facts.frequency),
        std::to_string(facts.duration), Cut(facts.title), Cut(facts.artist), Cut(facts.album)}) {
    text.append(field).push_back('\0');
  }
  return text;
}

/// A number from 0 to `last`.
std::optional<std::int64_t> Number(std::string_view text, std::int64_t last) {
  std::int64_t number = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (number < 0 || number > last) return std::nullopt;
  return number;
}

std::optional<MediaFacts> Decode(std::span<const std::string_view> fields) {
  constexpr std::int64_t kMost = 1'000'000'000'000;  // of channels, a rate, seconds
  const auto error = Number(fields[0], 4095);
  const auto kind = Number(fields[1], static_cast<int>(MediaKind::kVideo));
  const auto channels = Number(fields[2], kMost);
  const auto frequency = Number(fields[3], kMost);
  const auto duration = Number(fields[4], kMost);
  if (!error || !kind || !channels || !frequency || !duration) return std::nullopt;
  return MediaFacts{.error = static_cast<int>(*error),
                    .kind = static_cast<MediaKind>(*kind),
                    .channels = *channels,
                    .frequency = *frequency,
                    .duration = *duration,
                    .title = std::string(fields[5]),
                    .artist = std::string(fields[6]),
                    .album = std::string(fields[7])};
}

/// The facts in an answer about at most `files` files; nothing when it is not of that form.
std::optional<std::vector<MediaFacts>> DecodeAll(std::string_view answer, std::size_t files) {
  std::vector<std::string_view> fields;
  while (!answer.empty()) {
    const std::size_t end = answer.find('\0');
    if (end == answer.npos) return std::nullopt;
    fields.push_back(answer.substr(0, end));
    answer.remove_prefix(end + 1);
  }
  if (fields.empty() || fields.size() % kFields != 0 || fields.size() / kFields > files) {
    return std::nullopt;
  }
  std::vector<MediaFacts> all;
  for (std::size_t first = 0; first < fields.size(); first += kFields) {
    auto facts = Decode(std::span(fields).subspan(first, kFields));
    if (!facts) return std::nullopt;
    all.push_back(*std::move(facts));
  }
  return all;
}

/// Gives up what the process does not need to read `files`. Throws when it is root still.
void Confine(std::span<const FoundFile> files, const std::string& unreadable) {
  // A terminal obeys whoever has it open.
  setsid();
  dup2(STDIN_FILENO, STDERR_FILENO);
#ifndef __SANITIZE_ADDRESS__
  const rlimit memory{kMemory, kMemory};
  setrlimit(RLIMIT_AS, &memory);
#endif
  if (!LeaveRoot(unreadable)) throw std::runtime_error("root");
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // now that no id changes any more, which would take it away
  Needs needs;
  for (const FoundFile& file : files) needs.files.push_back(file.path);
  ConfineTo(needs);
}

}  // namespace

Reader::Reader() {
  const auto answer = AnswerOf(
      [] {
        openlog("media-index", LOG_NDELAY, LOG_USER);  // for once confined there is no socket
        Confine({}, {});
        return std::string("ready");
      },
      kFileLimit);
  if (answer != "ready") {
    throw std::runtime_error("cannot start a confined process to read files; see the system's log");
  }
}

std::optional<std::vector<MediaFacts>> Reader::ReadApart(std::span<const FoundFile> files) {
  const auto work = [&] {
    setlogmask(LOG_MASK(LOG_EMERG));  // the first process has told
    Confine(files, unreadable_);
    std::string answer;
    const auto end = Clock::now() + kShortWhile;
    for (const FoundFile& file : files) {
      answer += Encode(ReadFacts(file.path));
      if (Clock::now() > end) break;
    }
    return answer;
  };
  const auto answer = AnswerOf(work, files.size() == 1 ? kFileLimit : kShortWhile + kFileLimit);
  return answer ? DecodeAll(*answer, files.size()) : std::nullopt;
}

std::vector<std::optional<MediaFacts>> Reader::Read(std::span<const FoundFile> files) {
  files = files.first(std::min(files.size(), kFilesOfProcess));
  auto read = ReadApart(files);
  // Root may read any file. Its process leaves root, and keeps that right where one file needs it.
  for (std::size_t i = 0; geteuid() == 0 && read && i < read->size(); ++i) {
    if ((*read)[i].error != EACCES || unreadable_ == files[i].path) continue;
    unreadable_ = files[i].path;
    read = ReadApart(files);
    break;
  }
  if (read) return {read->begin(), read->end()};
  // One of them spoils it: which?
  std::vector<std::optional<MediaFacts>> found;
  for (std::size_t i = 0; i < files.size() && Interrupted() == 0; ++i) {
    const auto single = ReadApart(files.subspan(i, 1));
    found.push_back(single ? std::optional(single->front()) : std::nullopt);
  }
  return found;
}
