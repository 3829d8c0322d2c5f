// Messages as they are sent, and records of logs.
#pragma once

#include "request.h"

// Shows bytes on standard error.
void show_bytes(const char *title, const std::string &bytes);

// Shows one record of a log, at once. Returns whether it could be written, and says so if not.
bool show_record(const Options &options, const std::string &record);

// Shows a request that is not sent: in words, or as JSON with its bytes.
ExitStatus show_request(const Request &request, const std::string &message);
