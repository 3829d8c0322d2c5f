#include "invoke.h"

#include "answer.h"
#include "catalogue.h"
#include "help.h"
#include "words.h"

static ExitStatus run_parsed(Session &session, Request &request, const Texts &words)
{
    uint32_t version = 0;
    uint32_t help_all = 0;
    CommandLine line;
    add_options(line, request.options);
    line.flag("--version", version, "show the version");
    line.flag("--help-all", help_all, "show the help of all commands");
    const bool parsed = line.parse(words, [&](const std::string &word) {
        // The records share their bytes: defaults are set when it is clear which is meant.
        request.command = &find_command(word);
        request.frame.header.cmd = request.command->code;
        request.command->set_defaults(request.frame);
        request.command->add_options(line, request);
    });
    if (!parsed) {
        request.command != nullptr ? show_help(*request.command) : show_help();
    } else if (version != 0) {
        puts("q7rdctl " Q7NET_VERSION);
    } else if (help_all != 0) {
        show_all_help();
    } else {
        require(request.command != nullptr, "a command");
        request.frame.header.tag = request.options.tag;
        return request.command->run(session, request);
    }
    return kSuccess;
}

ExitStatus run_words(Session &session, const Options &options, const Texts &words)
{
    Request request;
    request.options = options;
    try {
        return run_parsed(session, request, words);
    } catch (const UsageError &error) {
        return tell_usage(request, error.text);
    }
}

ExitStatus run_line(Session &session, const Options &options, const std::string &line)
{
    try {
        const Texts words = words_of_line(line);
        return words.empty() ? kSuccess : run_words(session, options, words);
    } catch (const UsageError &error) {
        Request request;
        request.options = options;
        return tell_usage(request, error.text);
    }
}
