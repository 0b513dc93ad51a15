#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

/// The answer of `work`, which runs in a process of its own (fork(2)), so that nothing it loads,
/// changes or suffers reaches this one. The process has no descriptors but /dev/null, its answer's
/// pipe and standard error, and has ended soon after `limit` in any case.
///
/// Returns nothing when there is no whole answer after `limit`, `work` threw, or its answer is
/// longer than 64 KiB. No process is left then or otherwise. Not for a program with threads.
std::optional<std::string> AnswerOf(const std::function<std::string()>& work,
                                    std::chrono::milliseconds limit);
