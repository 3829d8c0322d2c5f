#include "answer.h"

#include "commands/group.h"
#include "words.h"

#include <cerrno>

Answer read_answer(const std::string &message, int32_t rc)
{
    char text[Q7NET_TEXT_SIZE];
    const int verdict = q7net_explain(message.data(), message.size(), rc, text, sizeof text);
    Answer answer;
    answer.rc = rc;
    answer.meaning = text;
    if (verdict != Q7NET_UNPROVEN) {
        answer.success = verdict == Q7NET_SUCCESS;
    }
    answer.status = answer.success.value_or(true) ? kSuccess : kFailure;
    return answer;
}

// What stands before all that is said of a batch's line: "3: ".
static std::string place_of(const Options &options)
{
    return options.line == 0 ? "" : std::to_string(options.line) + ": ";
}

// How a JSON object begins: in a batch with the line.
static std::string json_start(const Options &options)
{
    return options.line == 0 ? "{" : "{\"line\":" + std::to_string(options.line) + ",";
}

static std::string to_json(const Request &request, const Answer &answer)
{
    const RequestHeader &header = request.frame.header;
    std::string text = json_start(request.options) + "\"command\":" + quoted(request.command->name) +
                       ",\"cmd\":" + std::to_string(header.cmd) + ",\"tag\":" + std::to_string(header.tag) +
                       ",\"rc\":" + (answer.rc ? std::to_string(*answer.rc) : "null") + ",\"success\":" +
                       (!answer.success   ? "null"
                        : *answer.success ? "true"
                                          : "false") +
                       ",\"meaning\":" + quoted(answer.meaning) + answer.more;
    if (request.options.log != 0 && !answer.log_problem.empty()) {
        text += ",\"log\":null,\"log_problem\":" + quoted(answer.log_problem);
    } else if (request.options.log != 0) {
        std::string list;
        for (const std::string &record : answer.log) {
            list += (list.empty() ? "" : ",") + quoted(record);
        }
        text += ",\"log\":[" + list + "]";
    }
    return text + "}";
}

static std::string to_text(const Request &request, const Answer &answer)
{
    std::string text = (answer.status == kNoReply ? "q7rdctl: " : "") + place_of(request.options) + answer.meaning;
    if (answer.rc) {
        text += " (" + std::to_string(*answer.rc) + ")";
    }
    for (const std::string &record : answer.log) {
        text += "\n    " + record;
    }
    return text;
}

ExitStatus tell(const Request &request, const Answer &answer)
{
    const bool json = request.options.json != 0;
    const std::string text = json ? to_json(request, answer) : to_text(request, answer);
    if (!json && !answer.log_problem.empty()) { // however quiet: the success is not what was asked for
        fprintf(stderr, "q7rdctl: %s%s\n", place_of(request.options).c_str(), answer.log_problem.c_str());
    }
    if (answer.status != kSuccess && !json) {
        fprintf(stderr, "%s\n", text.c_str());
        return answer.status;
    }
    if (request.options.quiet == 0 || json) {
        puts(text.c_str());
    }
    if (fflush(stdout) != 0 || ferror(stdout) != 0) {
        fprintf(stderr, "q7rdctl: %s, but that could not be written: %s\n", text.c_str(), strerror(errno));
        return answer.status == kSuccess ? kFailure : answer.status;
    }
    return answer.status;
}

ExitStatus tell_usage(const Request &request, const std::string &why)
{
    const std::string command = request.command != nullptr ? std::string(" ") + request.command->name : "";
    fprintf(stderr, "q7rdctl: %s%s (q7rdctl%s --help tells more)\n", place_of(request.options).c_str(), why.c_str(),
            command.c_str());
    if (request.options.line != 0 && request.options.json != 0) {
        printf("%s\"success\":false,\"meaning\":%s}\n", json_start(request.options).c_str(), quoted(why).c_str());
    }
    return kUsage;
}
