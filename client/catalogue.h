#pragma once

#include "commands/group.h"

// All commands as they stand in the help.
std::span<const Group> groups();

// Throws an error of usage that names what comes near.
const Command &find_command(const std::string &name);

// Adds the options that every command takes.
void add_options(CommandLine &line, Options &options);
