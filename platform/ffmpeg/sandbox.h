#pragma once

#include <string>

/// Confines the process and what it executes, for good, to what one conversion needs.
///
/// The file system (Landlock, landlock(7)): `program` and the libraries may be read and executed,
/// and `input`, a local file, read; nothing else, and nothing written. An empty `input` means one
/// on the network: then no media file, but what name resolution and TLS need.
///
/// System calls (seccomp(2)): none that opens files by handle, changes the file system, traces or
/// signals others or goes around these rules; with a local input no sockets.
///
/// `program` is an ELF executable. What the kernel lacks is logged in one line and left out.
void ConfineTo(const std::string& program, const std::string& input);
