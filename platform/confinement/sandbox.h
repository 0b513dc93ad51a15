#pragma once

#include <string>
#include <vector>

/// What a process that parses foreign bytes needs besides processor and memory.
struct Needs {
  std::string program;             ///< what it will execute, by absolute path; empty: nothing
  std::vector<std::string> files;  ///< what it reads; a link stands for what it leads to
  bool network = false;            ///< connections to stations, with name resolution and TLS
};

/// Confines the process and what it executes, for good, to its needs.
///
/// The file system (Landlock, landlock(7)): the program (of a script, the interpreter and
/// /usr/bin/ffmpeg too) and the dynamic loader may be executed, the files and the libraries read;
/// nothing else, and nothing written. System calls (seccomp(2)): none that opens files by handle or
/// for writing, changes the file system, starts or reaches other processes or goes around these
/// rules; sockets only for the network, and only those of the internet.
///
/// The caller has set no_new_privs (prctl(2)) and opened the log (LOG_NDELAY in openlog(3)): what
/// the kernel lacks is logged in one line and left out.
void ConfineTo(const Needs& needs);
