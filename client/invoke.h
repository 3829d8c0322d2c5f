// From words to what is done.
#pragma once

#include "commands/group.h"

// All commands as they stand in the help.
std::span<const Group> groups();

// Throws an error of usage that names what comes near.
const Command &find_command(const std::string &name);

// Adds the options that every command takes.
void add_options(CommandLine &line, Options &options);

// Parses the words and does what they say. Tells of errors of usage, with a hint where the help is.
ExitStatus run_words(Session &session, const Options &options, const Texts &words);

// The same of a line of a batch, which may be empty or a remark.
ExitStatus run_line(Session &session, const Options &options, const std::string &line);
