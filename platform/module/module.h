#pragma once

/// Loads the module `name` (a file name) from the installed module folder into the process, for
/// good, and returns the address of its function `symbol`; null, with an error in the log, when
/// there is no such module or function. See dlopen(3).
///
/// The effective ids are the real ones while the module's libraries start: some drop root for good
/// when they find themselves in a set-user-ID process with effective user 0. Afterwards the former
/// effective ids are back, whichever they were, as long as the saved user id is 0.
void* LoadModuleFunction(const char* name, const char* symbol);
