#pragma once

/// The part of `ConfineTo` that seccomp does. False when a rule cannot be had.
bool ConfineCalls(bool network);
