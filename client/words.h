// Words as people type them.
#pragma once

#include <string>
#include <vector>

// ", did you mean 'link'?" when one of these comes near, else nothing.
std::string did_you_mean(const std::string &word, const std::vector<std::string> &known);

// The words of a line, as a shell takes them: blanks part them but in quotes and behind a backslash, # begins a remark.
// Throws an error of usage for a quote without its end.
std::vector<std::string> words_of_line(const std::string &line);

// A text broken into lines of at most 100 characters, at blanks and in lists of choices; each but the first begins with
// so many blanks. The first has begun with as many characters.
std::string wrapped(const std::string &text, size_t indent);

// As JSON.
std::string quoted(const std::string &text);
