#pragma once

#include <string>

// Rights that a process gives up for good before it parses foreign bytes. Both operations set
// no_new_privs, and no core file is left and no file written (setrlimit(2)). See capabilities(7),
// credentials(7).

/// Leaves root: the process becomes the system user "Lumetra" (else "nobody") with all its ids and
/// without groups, leaves no core file and writes no file (setrlimit(2)). When it has an `input`
/// that this user may not read, it keeps CAP_DAC_READ_SEARCH across execve(2), and no other
/// capability: media belong to anybody. A process that is not root keeps its ids.
///
/// Returns false, with an error in the log, when it is root still; the process must then end. What
/// else the system withholds is logged in one line, and the process goes on without.
bool LeaveRoot(const std::string& input);

/// Stays root, with all its ids, but of root's capabilities keeps only the one to read any file.
/// Does nothing in a process that is not root, and else what it can.
/// Returns false when it has other capabilities still.
bool LimitRoot();
