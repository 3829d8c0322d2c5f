// What became of a request, for people and for scripts.
#pragma once

#include "request.h"

#include <optional>
#include <vector>

struct Answer {
    ExitStatus status = kSuccess;
    std::optional<int32_t> rc;   // absent when no reply came
    std::optional<bool> success; // absent when that is not known
    std::string meaning;
    std::vector<std::string> log; // the error log's records meanwhile, if they were asked for,
    std::string log_problem;      // or why they cannot be told
    std::string more;             // members of the JSON object that only one command has
};

// Reads the result code of the request that this message was.
Answer read_answer(const std::string &message, int32_t rc);

// Says it: a line such as "refused: interface name is too long (11)", on standard error if it is no success; or one JSON
// object. Returns the exit status, which is a failure when it could not be written.
ExitStatus tell(const Request &request, const Answer &answer);

// Says why a request was not sent, and where the help is; of a batch also as an object, so that each line has one.
ExitStatus tell_usage(const Request &request, const std::string &why);
