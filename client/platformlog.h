#pragma once

#include "request.h"

// Shows what the platform log has of requests with the tag of this one, by journalctl(1): the error log names no tags.
// Goes on with what comes, if it is followed.
ExitStatus show_platform_log(const Request &request);
