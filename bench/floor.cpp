// floor SOCKET: the least that a server of the same kind has to do, to measure beside the daemon. Command 7 runs "ip link
// set dev IFNAME up" in a forked child and logs that; any other command does nothing. Like the daemon it writes three
// records a request to syslog, for command 7 one more, which the error log gets too.

#include <q7net/protocol.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include <czmq.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

static int set_link_up(const char *ifname)
{
    const pid_t child = fork();
    if (child == 0) {
        const int devnull = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(devnull, STDOUT_FILENO);
        dup2(devnull, STDERR_FILENO);
        execl("/sbin/ip", "/sbin/ip", "link", "set", "dev", ifname, "up", nullptr);
        _exit(EXIT_FAILURE);
    }
    int status = 0;
    waitpid(child, &status, 0);
    syslog(LOG_NOTICE, "%s():%d - set %s up rc=%d", __func__, __LINE__, ifname, status);
    FILE *log = fopen("/run/floor-errors", "ae");
    if (log != nullptr) {
        char stamp[32];
        const time_t now = time(nullptr);
        tm local{};
        tzset();
        localtime_r(&now, &local);
        strftime(stamp, sizeof stamp, "%d-%b %T", &local);
        fprintf(log, "[%s] %s():%d - set %s up rc=%d\n", stamp, __func__, __LINE__, ifname, status);
        fclose(log);
    }
    return status;
}

int main(int /*argc*/, char *argv[])
{
    openlog("floor", 0, LOG_DAEMON);
    zsys_handler_set(nullptr);
    zsock_t *socket = zsock_new_rep((std::string("@ipc://") + argv[1]).c_str());
    for (;;) {
        syslog(LOG_INFO, "%s():%d - waiting for msg", __func__, __LINE__);
        zframe_t *frame = zframe_recv(socket);
        RequestFrame request{};
        memcpy(&request, zframe_data(frame), zframe_size(frame));
        zframe_destroy(&frame);
        syslog(LOG_INFO, "%s():%d - received a msg. cmd:%u/%u", __func__, __LINE__, request.header.tag,
               request.header.cmd);
        ReplyFrame reply{};
        reply.cmd = request.header.cmd;
        reply.tag = request.header.tag;
        reply.rc = request.header.cmd == RD_CMD_LINK ? set_link_up(request.link.ifname) : 0;
        syslog(LOG_INFO, "%s():%d - responding to cmd:%u/%u with rc=%d", __func__, __LINE__, reply.tag, reply.cmd,
               reply.rc);
        frame = zframe_new(&reply, sizeof reply);
        zframe_send(&frame, socket, 0);
    }
}
