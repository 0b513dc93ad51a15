#pragma once

#include <string>

/// Makes the process act for the owner of `directory`, the folder of an embedded database, for
/// good.
///
/// Files of the database that are not there yet are made: each for the group that reads it (mode
/// 0640, "Lumetra" and "Vistrel") where there is such a group and the process may give files to it,
/// else for everybody (0644). Then a process that is root leaves root for the user that owns
/// `directory`, but for the right to read any file, as the media may belong to anybody; where that
/// user is root, it stays. Throws `std::runtime_error` when it cannot.
void ActForOwner(const std::string& directory);
