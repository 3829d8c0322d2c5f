// What there is to know of each command but its options.
#pragma once

#include "request.h"

#include <span>

// The daemon's 29 commands, and "raw" with code 0, which sends anything.
std::span<const Command> commands();
