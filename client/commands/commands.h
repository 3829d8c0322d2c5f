#pragma once

#include "request.h"

namespace CLI
{
class App;
}

// Adds the subcommands. Parsing a command line fills the request, which must live as long as the parser.
void add_commands(CLI::App &app, Request &request);
