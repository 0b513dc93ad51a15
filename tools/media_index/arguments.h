#pragma once

#include <string>
#include <vector>

/// What the command line asks for.
struct Arguments {
  enum class Action { kIndex, kForget, kHelp, kVersion, kUsageError };

  Action action = Action::kIndex;
  std::vector<std::string> folders;  ///< as they were given
  std::string page;                  ///< the folder for the page's files; empty: none
};

/// Reads the command line as getopt_long(3) does: options may stand anywhere, "--" ends them. What
/// is wrong with it has been told on standard error when the action is `kUsageError`.
Arguments ParseArguments(int count, char** values);

extern const char kUsage[];
extern const char kHelp[];
