// The command socket. To its clients it is a ZeroMQ REP socket (RFC 28): it answers what REQ sockets send, with or without
// REQ_CORRELATE and REQ_RELAXED, and DEALER sockets that put an empty part before the request, also through brokers.
//
// It is a ROUTER socket that does itself what a REP socket would do, for libzmq's has a fault (4.3.4, unchanged in 4.3.5):
// a message without the empty part, from a peer that has gone meanwhile, makes it drop the next reply to somebody else
// (rep_t::xrecv leaves router_t in the middle of a message).
#pragma once

#include <q7net/protocol.h>

#include <cstddef>

#include <czmq.h>

// A part of a message.
struct Part {
    Part() { zmq_msg_init(&message); }
    ~Part() { zmq_msg_close(&message); }
    Part(const Part &) = delete;
    Part &operator=(const Part &) = delete;

    zmq_msg_t message;
};

// What stands before a request in its message, and goes before its reply: the peer's name, up to eight labels of brokers on
// the way and of the client itself, and the empty part.
struct Envelope {
    Part parts[10];
    size_t count = 0;
};

// Binds the socket, unless a server is there that answers on it, which is logged. Returns null when it cannot be had.
zsock_t *rd_open_endpoint();

// Gives the socket to the group q7net. What fails is logged.
void rd_set_socket_perms();

// Waits for a message and takes it whole. One without the empty part is dropped without an answer, as a REP socket does.
//   request  zeros where the message was shorter; what is longer is cut, and the last byte is always NUL
//   refusal  0, or the code that refuses a message which is no request
// Returns whether there was a message: not when a signal interrupted the wait.
bool rd_receive(zsock_t *zsock, Envelope *envelope, RequestFrame *request, int32_t *refusal);

// Answers the request that came in this envelope. A reply to who has gone, or takes none, is lost.
void rd_send_reply(zsock_t *zsock, Envelope *envelope, const RequestHeader &request, int32_t rc);
