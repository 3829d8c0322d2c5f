// Messages as they are sent, for people.
#pragma once

#include "request.h"

// Shows bytes on standard error.
void show_bytes(const char *title, const std::string &bytes);

// Shows a request that is not sent: in words, or as JSON with its bytes.
ExitStatus show_request(const Request &request, const std::string &message);
