/*
 * libq7net: requests to q7net-shellexec, from C and C++ programs. q7net(3) tells more and has an example.
 *
 * One call sends a request and waits for its reply, for as long as the caller likes:
 *
 *     struct q7net *client;
 *     struct RequestFrame request = {.header = {.cmd = RD_CMD_LINK, .tag = 7},
 *                                    .link = {.state = RD_LINK_UP, .ifname = "eth1"}};
 *     struct ReplyFrame reply;
 *     char text[Q7NET_TEXT_SIZE];
 *
 *     if (q7net_open(&client, NULL) == Q7NET_OK) {
 *         if (q7net_request(client, &request, sizeof request, &reply, 5000) != Q7NET_OK)
 *             puts(q7net_problem(client));
 *         else if (q7net_explain(&request, sizeof request, reply.rc, text, sizeof text) != Q7NET_SUCCESS)
 *             puts(text);
 *         q7net_close(client);
 *     }
 *
 * A client is used by one thread at a time; several are independent of each other. The library keeps nothing outside of
 * them and touches no signal. A child process that was forked may go on with its parent's client: its requests take a
 * connection of their own, and a request of the parent's is under way in the parent alone.
 */
#ifndef Q7NET_CLIENT_H
#define Q7NET_CLIENT_H

#include <q7net/protocol.h>

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default) /* whoever includes this, and the library itself, hides the rest */

/* How a call ended. Of those before Q7NET_TIME_OVER the daemon saw no request; after these three, what was sent may have
 * been carried out, or will be. */
enum q7net_result {
    Q7NET_OK = 0,
    Q7NET_PENDING = 1,       /* no reply yet */
    Q7NET_NO_DAEMON = 2,     /* no socket, or nobody listens there, or takes connections */
    Q7NET_NO_PERMISSION = 3, /* for the socket */
    Q7NET_BAD_MESSAGE = 4,   /* shorter than its header, longer than RD_MAX_MESSAGE, or none was sent */
    Q7NET_NO_RESOURCE = 5,   /* memory, descriptors; errno says which */
    Q7NET_TIME_OVER = 6,     /* the daemon took the request and did not answer in time */
    Q7NET_LOST = 7,          /* the daemon took the request, and ended before it answered */
    Q7NET_BAD_REPLY = 8      /* what came is no reply to this request */
};

struct q7net;

/* Makes a client of the daemon's socket, by default (NULL) RD_SOCKET_PATH. Looks for no daemon yet.
 * Returns Q7NET_OK, or Q7NET_NO_RESOURCE, with ENAMETOOLONG or ENOENT for a path that no socket can have. */
int q7net_open(struct q7net **client, const char *path);

/* Gives up a request that is under way, and releases the client. NULL is allowed. */
void q7net_close(struct q7net *client);

/* Sends a request, size bytes from its header on, and waits for the reply, for limit milliseconds; less than 0: for ever.
 * A daemon that is not there, or refuses the connection, or permission, is tried again until then. Nothing is ever sent
 * twice. */
int q7net_request(struct q7net *client, const void *message, size_t size, struct ReplyFrame *reply, int limit);

/* The same for programs with an event loop. q7net_send begins a request, and gives up one that was under way; it never
 * waits. Then call q7net_receive, and again whenever the descriptor is readable, until it returns something else than
 * Q7NET_PENDING. The descriptor is the same for the client's whole life; who watches it between requests too calls
 * q7net_receive then as well, which takes notice of a daemon that ends, and returns Q7NET_BAD_MESSAGE. */
int q7net_send(struct q7net *client, const void *message, size_t size);
int q7net_receive(struct q7net *client, struct ReplyFrame *reply);
int q7net_fd(const struct q7net *client);

/* Ends the request that is under way when the caller has no more time. Returns Q7NET_TIME_OVER; or, when it had not been
 * sent, Q7NET_NO_DAEMON; or, when none was under way, Q7NET_BAD_MESSAGE. */
int q7net_give_up(struct q7net *client);

/* What a result means; and how the client's last call that failed did, with the socket's path, until its next call. */
const char *q7net_strerror(int result);
const char *q7net_problem(const struct q7net *client);

/* What a reply's result code says of its request. */
enum q7net_verdict {
    Q7NET_SUCCESS = 0,    /* it was done */
    Q7NET_UNPROVEN = 1,   /* the daemon has taken its steps; only its error log tells how they ended */
    Q7NET_REFUSED = 2,    /* nothing was done */
    Q7NET_FAILED = 3,     /* something was tried and failed, in the daemon or the kernel */
    Q7NET_WAIT_STATUS = 4 /* a tool ended so: not with exit status 0 */
};

/* Tells which, and writes a text of at most text_size - 1 characters: "ip ended with exit status 1". message is the
 * request, of which the meaning depends. */
#define Q7NET_TEXT_SIZE 160
int q7net_explain(const void *message, size_t size, int32_t rc, char *text, size_t text_size);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
