// The one call that waits, made of those that do not.

#include <q7net/client.h>

#include <algorithm>
#include <cstdint>
#include <ctime>

#include <poll.h>

static int64_t now() // ms
{
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
}

// What is left until then, as poll(2) takes it: less than 0 is for ever.
static int time_left(int64_t end, int limit)
{
    return limit < 0 ? -1 : static_cast<int>(std::max<int64_t>(end - now(), 0));
}

// Waits for the reply to what was begun.
static int wait_for_reply(q7net *client, ReplyFrame *reply, int64_t end, int limit)
{
    int result = Q7NET_PENDING;
    while ((result = q7net_receive(client, reply)) == Q7NET_PENDING) {
        const int left = time_left(end, limit);
        if (left == 0) {
            return q7net_give_up(client);
        }
        pollfd ready{q7net_fd(client), POLLIN, 0};
        poll(&ready, 1, left); // a signal may end it, but not the time
    }
    return result;
}

int q7net_request(q7net *client, const void *message, size_t size, ReplyFrame *reply, int limit)
{
    constexpr int kRetry = 20; // ms
    const int64_t end = now() + limit;
    for (;;) {
        int result = q7net_send(client, message, size);
        if (result == Q7NET_OK) {
            result = wait_for_reply(client, reply, end, limit);
        }
        const bool not_there = result == Q7NET_NO_DAEMON || result == Q7NET_NO_PERMISSION;
        const int left = time_left(end, limit);
        if (!not_there || left == 0) {
            return result;
        }
        poll(nullptr, 0, limit < 0 ? kRetry : std::min(kRetry, left));
    }
}
