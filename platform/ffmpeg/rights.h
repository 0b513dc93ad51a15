#pragma once

/// Leaves root before a foreign byte is parsed: the process becomes the system user "Lumetra" (else
/// "nobody") with all its ids and groups, can gain nothing by executing a program (no_new_privs),
/// leaves no core file and writes no file (setrlimit(2)). Of the capabilities it keeps, across
/// execve(2), CAP_DAC_READ_SEARCH alone, and that only when `readsAnyFile`: the media belong to
/// anybody. A process that is not root keeps its ids. See capabilities(7), credentials(7).
///
/// Returns false, with an error in the log, when it is root still; the process must then end. What
/// else the system withholds is logged in one line, and the process goes on without.
bool LeaveRoot(bool readsAnyFile);
