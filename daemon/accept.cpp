// Linked into the daemon's program, whose accept4 libzmq then uses in place of the C library's. Its ipc listener ends the
// process when there is no descriptor or no memory for a connection (errno_assert in ipc_listener_t::accept), in the middle
// of whatever is being carried out. A client that leaks connections must not bring that about: too many are turned away, and
// to the listener that looks as if they had gone by themselves.

#include <cerrno>

#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

// Descriptors are numbered from the lowest free one on, so that one above this means that as many are open. Far below the
// usual limit of 1024, for the files, sockets and threads of the commands, and for what a connection may hold of memory.
static constexpr int kMostDescriptors = 256;
static constexpr int kPauseMs = 10;

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's are reserved names
extern "C" int accept4(int listener, sockaddr *address, socklen_t *length, int flags)
{
    const auto connection = static_cast<int>(syscall(SYS_accept4, listener, address, length, flags));
    if (connection >= kMostDescriptors) {
        close(connection);
        errno = ECONNABORTED;
        return -1;
    }
    if (connection < 0 && (errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS)) {
        poll(nullptr, 0, kPauseMs); // it waits on the listener, which is asked again at once
        errno = ECONNABORTED;
    }
    return connection;
}
