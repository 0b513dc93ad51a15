#pragma once

#include "platform/confinement/sandbox.h"

/// The part of `ConfineTo` that Landlock does. False when the kernel does not.
bool ConfineFiles(const Needs& needs);
