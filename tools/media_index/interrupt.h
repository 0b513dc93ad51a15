#pragma once

/// Somebody wants the program to end.
struct Interruption {};

/// From now on SIGINT, SIGTERM and SIGHUP are noted; a second one ends the process at once.
void NoteInterrupts();

/// The signal that came; 0: none.
int Interrupted();

/// Ends the process by the signal that came, so that its parent knows. Does nothing when none did.
void EndByInterrupt();
