#include "tools/media_index/arguments.h"

#include <getopt.h>

#include <algorithm>
#include <array>
#include <cstdio>

const char kUsage[] =
    "usage: media-index [--page DIRECTORY] FOLDER...\n"
    "       media-index [--page DIRECTORY] --forget FOLDER...\n";

const char kHelp[] =
    "Makes the media database tell what is in the folders.\n"
    "\n"
    "  --page DIRECTORY  also write library.json and music.m3u8, which list the whole\n"
    "                    database; without a FOLDER, do that alone\n"
    "  --forget          remove what is known of the folders, whether they are there or not\n"
    "  --help            print this and end\n"
    "  --version         print the version and end\n"
    "\n"
    "Exit status: 0 done; 1 failed; 2 wrong usage; 3 done, but a folder was missing, empty\n"
    "or not readable, and what is known of it stays. See media-index(8).\n";

Arguments ParseArguments(int count, char** values) {
  enum Option { kPage = 256, kForget, kHelpOption, kVersionOption };
  constexpr std::array<option, 5> kOptions = {{{"page", required_argument, nullptr, kPage},
                                               {"forget", no_argument, nullptr, kForget},
                                               {"help", no_argument, nullptr, kHelpOption},
                                               {"version", no_argument, nullptr, kVersionOption},
                                               {nullptr, 0, nullptr, 0}}};
  using Action = Arguments::Action;
  Arguments arguments;
  for (int found; (found = getopt_long(count, values, "", kOptions.data(), nullptr)) != -1;) {
    switch (found) {
      case kPage:
        arguments.page = optarg;
        break;
      case kForget:
        arguments.action = Action::kForget;
        break;
      case kHelpOption:
      case kVersionOption:
        arguments.action = found == kHelpOption ? Action::kHelp : Action::kVersion;
        return arguments;
      default:
        std::fputs(kUsage, stderr);
        arguments.action = Action::kUsageError;
        return arguments;
    }
  }
  arguments.folders.assign(values + optind, values + count);
  const bool pageAlone = arguments.action == Action::kIndex && !arguments.page.empty();
  // An empty name is a variable that was not set, not the current folder.
  const bool unnamed = std::ranges::find(arguments.folders, "") != arguments.folders.end();
  if (unnamed || (arguments.folders.empty() && !pageAlone)) {
    std::fputs(kUsage, stderr);
    arguments.action = Action::kUsageError;
  }
  return arguments;
}
