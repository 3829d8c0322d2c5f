// What an answer of the daemon means, for people and for scripts.
#pragma once

#include "request.h"

#include <optional>

struct Answer {
    std::optional<int32_t> rc; // absent when no reply came
    bool success;
    std::string meaning;
};

// Reads the result code of a request: one of its codes, the number of bytes sent, or the wait status of its tool.
Answer read_answer(const Request &request, int32_t rc);

// One line: "refused: interface name is too long (11)".
std::string to_text(const Answer &answer);

// One JSON object: command, cmd, tag, rc (null without a reply), success, meaning.
std::string to_json(const Request &request, const Answer &answer);
