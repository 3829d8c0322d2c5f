#pragma once

#include <cstdio>
#include <string>

// Runs a command of the test's own; returns all it printed.
inline std::string shell(const std::string &command)
{
    FILE *pipe = popen(("{ " + command + "; } 2>&1").c_str(), "re"); // NOLINT(cert-env33-c)
    std::string output;
    char line[512];
    while (fgets(line, sizeof line, pipe) != nullptr) {
        output += line;
    }
    pclose(pipe);
    return output;
}

inline bool has(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}
