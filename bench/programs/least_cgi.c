/* least_cgi DATABASE ID: the least that a HEAD of a WAV item takes: a lookup, and cat's first bytes. */
#define _GNU_SOURCE
#include <fcntl.h>
#include <spawn.h>
#include <sqlite3.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

int main(int count, char** values) {
  sqlite3* database;
  sqlite3_stmt* row;
  int ends[2];
  char head[128];
  posix_spawn_file_actions_t actions;
  char* environment[] = {NULL};
  if (count != 3 || sqlite3_open_v2(values[1], &database, SQLITE_OPEN_READONLY, NULL) != SQLITE_OK ||
      sqlite3_prepare_v2(database, "SELECT path FROM music WHERE id = ?", -1, &row, NULL) != SQLITE_OK ||
      sqlite3_bind_int(row, 1, atoi(values[2])) != SQLITE_OK || sqlite3_step(row) != SQLITE_ROW ||
      pipe2(ends, O_CLOEXEC) != 0) {
    return 1;
  }
  char* cat[] = {"/bin/cat", (char*)sqlite3_column_text(row, 0), NULL};
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  pid_t child;
  if (posix_spawn(&child, cat[0], &actions, NULL, cat, environment) != 0) return 1;
  if (read(ends[0], head, sizeof head) != sizeof head) return 1;
  puts("Content-Type: audio/wav\r\n\r");
  return 0;
}
