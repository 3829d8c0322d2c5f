#include "answer.h"
#include "commands/group.h"
#include "errorlog.h"
#include "show.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>

#include <poll.h>
#include <unistd.h>

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

q7net *Session::client(const std::string &socket)
{
    if (client_ == nullptr || socket != socket_) {
        q7net_close(client_);
        socket_ = socket;
        q7net_open(&client_, socket.c_str());
    }
    return client_;
}

// The bytes of a request's own frame, or those of "raw" behind the same header.
static std::string message_of(const Request &request)
{
    const char *const frame = reinterpret_cast<const char *>(&request.frame);
    const bool raw = request.command->code == 0 && request.command->run == send_request;
    return raw ? std::string(frame, sizeof request.frame.header) + request.bytes
               : std::string(frame, sizeof request.frame);
}

// On a terminal, a line that tells how long it has waited; where there are no control sequences, once.
class Waiting
{
  public:
    explicit Waiting(bool quiet) : shows_(!quiet && isatty(STDERR_FILENO) != 0)
    {
        const char *const term = getenv("TERM");
        dumb_ = term == nullptr || strcmp(term, "dumb") == 0;
    }
    ~Waiting()
    {
        if (seconds_ > 0 && !dumb_) {
            fputs("\r\033[K", stderr);
        }
    }
    Waiting(const Waiting &) = delete;
    Waiting &operator=(const Waiting &) = delete;

    void show(int64_t seconds)
    {
        if (!shows_ || seconds <= seconds_) {
            return;
        }
        if (!dumb_) {
            fprintf(stderr, "\rwaiting for the answer, %d s ", static_cast<int>(seconds));
        } else if (seconds_ == 0) {
            fputs("waiting for the answer\n", stderr);
        }
        seconds_ = seconds;
    }

  private:
    bool shows_;
    bool dumb_;
    int64_t seconds_ = 0;
};

// Returns a result of the library.
static int exchange(q7net *client, const Options &options, const std::string &message, ReplyFrame *reply)
{
    constexpr int64_t kSecond = 1000; // ms
    const Clock::time_point start = Clock::now();
    Waiting waiting(options.quiet != 0);
    int result = q7net_send(client, message.data(), message.size());
    while ((result == Q7NET_OK || result == Q7NET_PENDING) &&
           (result = q7net_receive(client, reply)) == Q7NET_PENDING) {
        const int64_t waited = std::chrono::duration_cast<milliseconds>(Clock::now() - start).count();
        if (waited >= options.timeout * kSecond) {
            return q7net_give_up(client);
        }
        waiting.show(waited / kSecond);
        pollfd ready{q7net_fd(client), POLLIN, 0};
        poll(&ready, 1, static_cast<int>(kSecond - waited % kSecond));
    }
    return result;
}

// Sends a message and reads its answer, or why there is none.
static Answer ask(Session &session, const Request &request, const std::string &message)
{
    Answer answer;
    answer.status = kNoReply;
    q7net *const client = session.client(request.options.socket);
    if (client == nullptr) {
        answer.success = false;
        answer.meaning = errno == ENAMETOOLONG ? "the path of the socket is too long" : strerror(errno);
        return answer;
    }
    if (request.options.verbose != 0) {
        show_bytes("request", message);
    }
    ReplyFrame reply{};
    const int result = exchange(client, request.options, message, &reply);
    if (result != Q7NET_OK) {
        if (result < Q7NET_TIME_OVER) { // else it may have been carried out
            answer.success = false;
        }
        answer.meaning = q7net_problem(client);
        return answer;
    }
    if (request.options.verbose != 0) {
        show_bytes("reply", std::string(reinterpret_cast<const char *>(&reply), sizeof reply));
    }
    return read_answer(message, reply.rc);
}

ExitStatus send_request(Session &session, Request &request)
{
    const std::string message = message_of(request);
    if (request.options.dry_run != 0) {
        return show_request(request, message);
    }
    std::unique_ptr<ErrorLog> log;
    if (request.options.log != 0) {
        log = std::make_unique<ErrorLog>(ErrorLog::From::kEnd);
    }
    Answer answer = ask(session, request, message);
    if (log != nullptr) {
        answer.log = log->take();
        answer.log_problem = log->problem();
        if (answer.status == kSuccess && std::any_of(answer.log.begin(), answer.log.end(), tells_of_failure)) {
            answer.status = kFailure;
            answer.success = false;
            answer.meaning = "failed: the error log tells of it";
        }
    }
    return tell(request, answer);
}

ExitStatus ping(Session &session, Request &request)
{
    const std::string message = message_of(request);
    if (request.options.dry_run != 0) {
        return show_request(request, message);
    }
    const Clock::time_point start = Clock::now();
    Answer answer = ask(session, request, message);
    const std::chrono::duration<double, std::milli> taken = Clock::now() - start;
    if (answer.status != kNoReply) {
        char text[64];
        snprintf(text, sizeof text, ",\"ms\":%.2f,\"protocol\":%d", taken.count(), RD_PROTOCOL_VERSION);
        answer.more = text;
        snprintf(text, sizeof text, "answered after %.2f ms; protocol version %d", taken.count(), RD_PROTOCOL_VERSION);
        answer.meaning = text;
        answer.status = kSuccess;
        answer.success = true;
    }
    return tell(request, answer);
}
