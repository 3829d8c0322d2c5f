// The client's connection: one ZeroMQ socket, whose monitor tells when it is connected and when no more. Each request is
// handed to a connection that has been made, and no socket connects a second time, so that nothing is sent twice.

#include <q7net/client.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <zmq.h>

enum State { kIdle, kConnecting, kSent };

struct q7net {
    char path[sizeof(sockaddr_un::sun_path)];
    char problem[256];
    int events;    // an epoll descriptor that is readable when one of the sockets may be
    pid_t process; // whose sockets these are
    void *context;
    void *socket;
    void *monitor;
    unsigned connections; // so far: the last one's monitor may still be closing, with its name
    State state;
    RequestHeader header; // of the request under way
    zmq_msg_t message;    // while connecting
};

[[gnu::format(printf, 3, 4)]] static int fail(q7net *client, int result, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    vsnprintf(client->problem, sizeof client->problem, format, args);
    va_end(args);
    return result;
}

// A signal ends ZeroMQ's calls, also those that do not wait.
template <typename Call>
static int repeat(Call call)
{
    int result = -1;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

static bool watch(q7net *client, int change, void *socket)
{
    int fd = -1;
    size_t size = sizeof fd;
    epoll_event event{.events = EPOLLIN, .data = {}};
    return zmq_getsockopt(socket, ZMQ_FD, &fd, &size) == 0 && epoll_ctl(client->events, change, fd, &event) == 0;
}

static void forget_request(q7net *client)
{
    if (client->state == kConnecting) {
        zmq_msg_close(&client->message);
    }
    client->state = kIdle;
}

static void disconnect(q7net *client)
{
    forget_request(client);
    if (client->socket != nullptr) {
        // ZeroMQ's thread would wait for ever to tell a monitor that has been closed of how this connection ends.
        zmq_socket_monitor(client->socket, nullptr, 0);
    }
    for (void **socket : {&client->socket, &client->monitor}) {
        if (*socket != nullptr) {
            watch(client, EPOLL_CTL_DEL, *socket); // a forked child may hold its descriptor open
            zmq_close(*socket);
            *socket = nullptr;
        }
    }
}

// ZeroMQ's threads are not in a forked child, and what waits for them would wait for ever: its sockets are left alone, and
// the descriptor, which stays, gets an epoll instance of the child's own.
static bool own(q7net *client)
{
    if (client->process == getpid()) {
        return true;
    }
    const int events = epoll_create1(EPOLL_CLOEXEC);
    if (events < 0 || dup3(events, client->events, O_CLOEXEC) < 0) {
        return false;
    }
    close(events);
    forget_request(client);
    client->context = client->socket = client->monitor = nullptr;
    client->process = getpid();
    return true;
}

// ZeroMQ would wait for a daemon that is not there, and for permission. Connects as it does, to learn why it cannot;
// the daemon takes no notice of a connection that says nothing.
static int probe(q7net *client)
{
    const char *path = client->path;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path, sizeof address.sun_path);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        return fail(client, Q7NET_NO_RESOURCE, "cannot connect to %s: %m", path);
    }
    const int error = connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 ? 0 : errno;
    close(fd);
    struct stat file;
    if (error == ECONNREFUSED && stat(path, &file) == 0 && !S_ISSOCK(file.st_mode)) {
        return fail(client, Q7NET_NO_DAEMON, "%s is no socket", path);
    }
    switch (error) {
    case 0: return Q7NET_OK;
    case ENOENT: return fail(client, Q7NET_NO_DAEMON, "no socket %s: the daemon has not been started", path);
    case ECONNREFUSED: return fail(client, Q7NET_NO_DAEMON, "nobody listens on %s: the daemon has ended", path);
    case EACCES:
        return fail(client, Q7NET_NO_PERMISSION,
                    "no permission for %s: only root and members of the group q7net have it", path);
    case EAGAIN:
        return fail(client, Q7NET_NO_DAEMON, "the daemon takes no connections on %s: it has been stopped", path);
    default: errno = error; return fail(client, Q7NET_NO_DAEMON, "cannot connect to %s: %m", path);
    }
}

// ZeroMQ ends the process when there are no descriptors for its two threads.
static bool has_room(const q7net *client)
{
    int room[6]; // two a thread, and some for who opens others meanwhile
    size_t count = 0;
    while (count < std::size(room) && (room[count] = fcntl(client->events, F_DUPFD_CLOEXEC, 0)) >= 0) {
        count++;
    }
    const bool enough = count == std::size(room);
    while (count > 0) {
        close(room[--count]);
    }
    return enough;
}

static bool open_sockets(q7net *client)
{
    if (client->context == nullptr && !has_room(client)) {
        errno = EMFILE;
        return false;
    }
    if (client->context == nullptr && (client->context = zmq_ctx_new()) == nullptr) {
        return false;
    }
    char name[32]; // of the monitor, in this context
    snprintf(name, sizeof name, "inproc://monitor-%u", client->connections++);
    char endpoint[sizeof client->path + sizeof "ipc://"];
    snprintf(endpoint, sizeof endpoint, "ipc://%s", client->path);
    const int none = 0;
    // Long after such a socket is closed. None at all (-1) would lose a reply that has come but has not been read.
    const int never = 24 * 60 * 60 * 1000; // ms
    const int events = ZMQ_EVENT_HANDSHAKE_SUCCEEDED | ZMQ_EVENT_DISCONNECTED | ZMQ_EVENT_CLOSED |
                       ZMQ_EVENT_CONNECT_RETRIED | ZMQ_EVENT_HANDSHAKE_FAILED_NO_DETAIL |
                       ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL | ZMQ_EVENT_HANDSHAKE_FAILED_AUTH;
    client->socket = zmq_socket(client->context, ZMQ_REQ);
    client->monitor = client->socket == nullptr ? nullptr : zmq_socket(client->context, ZMQ_PAIR);
    if (client->monitor == nullptr || repeat([&] { return zmq_socket_monitor(client->socket, name, events); }) != 0 ||
        repeat([&] { return zmq_connect(client->monitor, name); }) != 0) {
        return false;
    }
    for (void *socket : {client->socket, client->monitor}) {
        zmq_setsockopt(socket, ZMQ_LINGER, &none, sizeof none);
        if (!watch(client, EPOLL_CTL_ADD, socket)) {
            return false;
        }
    }
    zmq_setsockopt(client->socket, ZMQ_RECONNECT_IVL, &never, sizeof never);
    return repeat([&] { return zmq_connect(client->socket, endpoint); }) == 0;
}

// What the monitor has told since the last time.
struct Events {
    bool connected;
    bool ended;
};

static Events take_events(q7net *client)
{
    int ready = 0;
    size_t length = sizeof ready;
    // Takes what the library tells itself: only then does its descriptor tell of what comes next.
    repeat([&] { return zmq_getsockopt(client->socket, ZMQ_EVENTS, &ready, &length); });
    Events events{};
    struct [[gnu::packed]] {
        uint16_t event;
        uint32_t value;
    } first;
    char address[1];
    while (repeat([&] { return zmq_recv(client->monitor, &first, sizeof first, ZMQ_DONTWAIT); }) == sizeof first) {
        repeat([&] { return zmq_recv(client->monitor, address, sizeof address, 0); });
        (first.event == ZMQ_EVENT_HANDSHAKE_SUCCEEDED ? events.connected : events.ended) = true;
    }
    return events;
}

int q7net_open(q7net **client, const char *path)
{
    *client = nullptr;
    const char *const chosen = path != nullptr ? path : RD_SOCKET_PATH;
    if (*chosen == '\0' || strlen(chosen) >= sizeof(*client)->path) {
        errno = *chosen == '\0' ? ENOENT : ENAMETOOLONG;
        return Q7NET_NO_RESOURCE;
    }
    auto *made = static_cast<q7net *>(calloc(1, sizeof(q7net)));
    if (made == nullptr) {
        return Q7NET_NO_RESOURCE;
    }
    strcpy(made->path, chosen);
    made->process = getpid();
    made->events = epoll_create1(EPOLL_CLOEXEC);
    if (made->events < 0) {
        free(made);
        return Q7NET_NO_RESOURCE;
    }
    *client = made;
    return Q7NET_OK;
}

void q7net_close(q7net *client)
{
    if (client == nullptr) {
        return;
    }
    if (own(client)) {
        disconnect(client);
        if (client->context != nullptr) {
            repeat([client] { return zmq_ctx_term(client->context); });
        }
    }
    close(client->events);
    free(client);
}

int q7net_fd(const q7net *client)
{
    return client->events;
}

// Hands the request over to the connection, and from here on it may be carried out.
static void hand_over(q7net *client)
{
    // It finds room: it is the only one.
    repeat([client] { return zmq_msg_send(&client->message, client->socket, ZMQ_DONTWAIT); });
    client->state = kSent;
}

int q7net_send(q7net *client, const void *message, size_t size)
{
    if (!own(client)) {
        return fail(client, Q7NET_NO_RESOURCE, "no descriptor: %m");
    }
    if (client->state != kIdle || (client->socket != nullptr && take_events(client).ended)) {
        disconnect(client);
    }
    if (size < sizeof client->header || size > RD_MAX_MESSAGE) {
        return fail(client, Q7NET_BAD_MESSAGE, "a message of %zu bytes, which is no request", size);
    }
    const bool connected = client->socket != nullptr;
    if (!connected) {
        const int result = probe(client);
        if (result != Q7NET_OK) {
            return result;
        }
    }
    if ((!connected && !open_sockets(client)) || zmq_msg_init_size(&client->message, size) != 0) {
        const int error = errno;
        fail(client, Q7NET_NO_RESOURCE, "no socket: %s", zmq_strerror(error));
        disconnect(client);
        errno = error;
        return Q7NET_NO_RESOURCE;
    }
    memcpy(zmq_msg_data(&client->message), message, size);
    memcpy(&client->header, message, sizeof client->header);
    client->state = kConnecting;
    if (connected) {
        hand_over(client);
    }
    return Q7NET_OK;
}

// Takes a reply if there is one. Whatever else comes ends the connection, whose next reply might be another's.
static int take_reply(q7net *client, ReplyFrame *reply)
{
    const int size = repeat([&] { return zmq_recv(client->socket, reply, sizeof *reply, ZMQ_DONTWAIT); });
    if (size < 0) {
        return Q7NET_PENDING;
    }
    int more = 0;
    size_t length = sizeof more;
    zmq_getsockopt(client->socket, ZMQ_RCVMORE, &more, &length);
    client->state = kIdle;
    if (size != sizeof *reply || more != 0) {
        disconnect(client);
        return fail(client, Q7NET_BAD_REPLY, "an answer of %d bytes, which is no reply", size);
    }
    if (reply->cmd != client->header.cmd || reply->tag != client->header.tag) {
        disconnect(client);
        return fail(client, Q7NET_BAD_REPLY, "a reply to another request, command %u with tag %u", reply->cmd,
                    reply->tag);
    }
    return Q7NET_OK;
}

int q7net_receive(q7net *client, ReplyFrame *reply)
{
    if (client->process != getpid() || client->socket == nullptr) {
        return fail(client, Q7NET_BAD_MESSAGE, "no request is under way");
    }
    const Events events = take_events(client);
    if (client->state == kConnecting && events.connected && !events.ended) {
        hand_over(client);
    }
    const bool idle = client->state == kIdle;
    const bool sent = client->state == kSent;
    const int result = sent ? take_reply(client, reply) : Q7NET_PENDING;
    if (events.ended) { // perhaps behind the reply
        disconnect(client);
    }
    if (idle) {
        return fail(client, Q7NET_BAD_MESSAGE, "no request is under way");
    }
    if (result != Q7NET_PENDING || !events.ended) {
        return result;
    }
    return sent ? fail(client, Q7NET_LOST,
                       "no answer: the daemon has ended meanwhile; whether it carried this out is not known")
                : fail(client, Q7NET_NO_DAEMON, "no connection on %s: the daemon has ended, or has too many",
                       client->path);
}

int q7net_give_up(q7net *client)
{
    if (client->process != getpid() || client->state == kIdle) {
        return fail(client, Q7NET_BAD_MESSAGE, "no request is under way");
    }
    const bool sent = client->state == kSent;
    disconnect(client);
    return sent ? fail(client, Q7NET_TIME_OVER, "%s", q7net_strerror(Q7NET_TIME_OVER))
                : fail(client, Q7NET_NO_DAEMON, "the daemon does not answer on %s: it has been stopped", client->path);
}

const char *q7net_strerror(int result)
{
    switch (static_cast<q7net_result>(result)) {
    case Q7NET_OK: return "a reply has come";
    case Q7NET_PENDING: return "no reply has come yet";
    case Q7NET_NO_DAEMON: return "the daemon has not been started, has ended or has been stopped";
    case Q7NET_NO_PERMISSION: return "only root and members of the group q7net have permission";
    case Q7NET_BAD_MESSAGE: return "this is no request";
    case Q7NET_NO_RESOURCE: return "memory, a descriptor or a socket could not be had";
    case Q7NET_TIME_OVER: return "no answer in time: the daemon is busy, and may carry this out later";
    case Q7NET_LOST: return "the daemon has ended meanwhile; whether it carried this out is not known";
    case Q7NET_BAD_REPLY: return "what came is no reply to this request";
    }
    return "no result of this library";
}

const char *q7net_problem(const q7net *client)
{
    return client->problem;
}
