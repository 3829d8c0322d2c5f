#pragma once

#include "request.h"

void show_help(); // the options that every command takes, and the commands
void show_help(const Command &command);
void show_all_help();
