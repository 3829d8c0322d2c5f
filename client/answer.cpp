#include "answer.h"

#include <algorithm>
#include <cstring>

#include <sys/wait.h>

// For "raw", which can be refused for more reasons than the commands of this client.
static const Meaning kMeanings[] = {
    {RD_RC_FAILED, "the daemon could not do it; its error log says why"},
    {RD_RC_NO_NAME, "a required name is missing"},
    {RD_RC_TOO_LONG, "a text is longer than allowed"},
    {RD_RC_INVALID, "a text holds a character that is not allowed, or a selector is invalid"},
    {RD_RC_ABSENT, "a required argument is absent"},
    {RD_RC_OUT_OF_RANGE, "a number is out of its range, or there is no such command"},
    {RD_RC_BAD_ACTION, "no such action of the firewall script"},
    {RD_RC_NO_RESOURCE, "memory, a file or a socket could not be had"},
    {RD_RC_TOO_SHORT, "an IPv4 address is shorter than 7 characters"},
};

template <typename Meanings>
static const char *find_meaning(const Meanings &meanings, int32_t rc)
{
    const auto found =
        std::find_if(std::begin(meanings), std::end(meanings), [rc](const Meaning &each) { return each.rc == rc; });
    return found == std::end(meanings) ? nullptr : found->text;
}

// A wait status, as waitpid(2) stores it.
static std::string read_wait_status(const std::string &tool, int32_t status)
{
    constexpr int kNotExecuted = 255;
    if (WIFSIGNALED(status)) {
        return tool + " was killed by signal " + std::to_string(WTERMSIG(status)) + ", " + strsignal(WTERMSIG(status));
    }
    if (!WIFEXITED(status)) {
        return "no result code that is known here";
    }
    return tool + (WEXITSTATUS(status) == kNotExecuted ? " could not be executed, or" : "") +
           " ended with exit status " + std::to_string(WEXITSTATUS(status));
}

Answer read_answer(const Request &request, int32_t rc)
{
    const bool raw = request.command.code == 0;
    const char *meaning = find_meaning(request.command.meanings, rc);
    if (rc == RD_RC_OK) {
        return {rc, true, meaning != nullptr ? std::string("done: ") + meaning : "done"};
    }
    constexpr int32_t kShortestFrame = 64;
    if (request.frame.header.cmd == RD_CMD_SEND_PACKET && rc >= kShortestFrame) {
        return {rc, true, "done: sent " + std::to_string(rc) + " bytes"};
    }
    if (meaning == nullptr && raw) {
        meaning = find_meaning(kMeanings, rc);
    }
    if (meaning == nullptr && rc == RD_RC_NO_CHILD) {
        meaning = "a child process or a system call failed";
    }
    if (meaning != nullptr) {
        const bool tried = rc == RD_RC_FAILED || rc == RD_RC_NO_RESOURCE || rc == RD_RC_NO_CHILD;
        return {rc, false, std::string(tried ? "failed: " : "refused: ") + meaning};
    }
    return {rc, false, read_wait_status(request.command.tool, rc)};
}

std::string to_text(const Answer &answer)
{
    return answer.rc ? answer.meaning + " (" + std::to_string(*answer.rc) + ")" : answer.meaning;
}

static std::string quoted(const std::string &text)
{
    std::string result = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < ' ' || byte > '~') { // bytes that may be no UTF-8 would make it no JSON
            char escape[8];
            snprintf(escape, sizeof escape, "\\u%04x", unsigned{byte});
            result += escape;
        } else {
            result += c == '"' || c == '\\' ? "\\" : "";
            result += c;
        }
    }
    return result + "\"";
}

std::string to_json(const Request &request, const Answer &answer)
{
    return "{\"command\":" + quoted(request.command.name) + ",\"cmd\":" + std::to_string(request.frame.header.cmd) +
           ",\"tag\":" + std::to_string(request.frame.header.tag) +
           ",\"rc\":" + (answer.rc ? std::to_string(*answer.rc) : "null") +
           ",\"success\":" + (answer.success ? "true" : "false") + ",\"meaning\":" + quoted(answer.meaning) + "}";
}
