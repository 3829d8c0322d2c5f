// From words to what is done.
#pragma once

#include "options.h"
#include "request.h"

// Parses the words and does what they say. Tells of errors of usage, with a hint where the help is.
ExitStatus run_words(Session &session, const Options &options, const Texts &words);

// The same of a line of a batch, which may be empty or a remark.
ExitStatus run_line(Session &session, const Options &options, const std::string &line);
