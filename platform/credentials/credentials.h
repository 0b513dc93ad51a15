#pragma once

/// Makes the process act as the system user `name` (getpwnam(3)): effective user and group ids and
/// supplementary groups (initgroups(3), as /etc/group has them). Real and saved ids stay, so that
/// "root" leads back as long as the saved user id is 0; it also restores the supplementary groups
/// held before. `reset` is always 1. Returns 0; -1 when the user is unknown or a switch fails, with
/// nothing changed.
int ResetCredentialsByName(const char* name, int reset);
