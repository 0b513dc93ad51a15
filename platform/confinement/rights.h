#pragma once

#include <sys/types.h>

#include <string>

// Rights that a process gives up for good before it parses foreign bytes. After `LeaveRoot` and
// `LimitRoot` no program that it executes can gain any (no_new_privs), and it leaves no core file
// and writes no file (setrlimit(2)). See capabilities(7), credentials(7).

/// Leaves root: the process becomes the system user "Lumetra" (else "nobody") with all its ids and
/// without groups. When it has an `input` that this user may not read, it keeps CAP_DAC_READ_SEARCH
/// across execve(2), and no other capability: media belong to anybody. A process that is not root
/// keeps its ids.
///
/// Returns false, with an error in the log, when it is root still; the process must then end. What
/// else the system withholds is logged in one line, and the process goes on without.
bool LeaveRoot(const std::string& input);

/// Stays root, now with all its ids, but of root's capabilities keeps at most the one to read any
/// file. A process that is not root keeps its ids. Returns false when others are left.
bool LimitRoot();

/// Leaves root for the user with the id `user`, with all ids and that user's groups, to write files
/// of that user: of root's capabilities it keeps at most the one to read any file, and no program
/// that it executes can gain any. `user` is not 0. A process that is not root stays as it is.
///
/// Returns false, with an error in the log, when it may be root still in some way; the process must
/// then end.
bool LeaveRootFor(uid_t user);
