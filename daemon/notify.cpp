#include "notify.h"

#include "base/file.h"

#include <cstddef>
#include <cstdlib>

#include <sys/socket.h>
#include <sys/un.h>

static sockaddr_un manager; // of family 0 when nobody asked

void rd_take_notify_socket()
{
    const char *const path = getenv("NOTIFY_SOCKET");
    if (path != nullptr && strlen(path) < sizeof manager.sun_path) {
        manager.sun_family = AF_UNIX;
        memcpy(manager.sun_path, path, strlen(path));
        manager.sun_path[0] = path[0] == '@' ? '\0' : path[0]; // an abstract name (unix(7))
    }
    unsetenv("NOTIFY_SOCKET");
}

void rd_notify_manager(const char *state)
{
    if (manager.sun_family == AF_UNIX) {
        const size_t length = offsetof(sockaddr_un, sun_path) + 1 + strlen(manager.sun_path + 1);
        const Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        sendto(socket.get(), state, strlen(state), MSG_NOSIGNAL, reinterpret_cast<const sockaddr *>(&manager),
               static_cast<socklen_t>(length));
    }
}
