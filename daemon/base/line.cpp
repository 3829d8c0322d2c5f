#include "base/line.h"

#include "base/child.h"

Argv::Argv(std::span<const char *const> line, const char *const values[])
{
    size_t count = 0;
    for (const char *word : line) {
        words[count++] = word != nullptr ? word : *values++;
    }
    words[count] = nullptr;
}

int rd_run_words(std::span<const char *const> words, const char *const values[], int wait, int quiet)
{
    const Argv argv(words, values);
    return rd_exec_cmd(argv.words, wait, quiet);
}
