// bench [LINK-REQUESTS [IDLE-REQUESTS]]: what the daemon costs beside the floor, a minimal server that does the same work,
// in one run with rounds in turn; then what a long run of the daemon alone does to it. Prints tables in Markdown. Runs in a
// private controller; times are of this machine and say nothing but in their ratios.

#include "rig/rig.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

constexpr int kRounds = 20;

// Reads what is sent to /dev/log and forgets it, as a log daemon would take it.
void drain_log()
{
    sockaddr_un address{AF_UNIX, "/dev/log"};
    const int log = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (bind(log, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        perror("bench: /dev/log");
        exit(1);
    }
    std::thread([log] {
        char record[8192];
        while (recv(log, record, sizeof record, 0) >= 0) {
        }
    }).detach();
}

double seconds_now()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

double quantile(std::vector<double> values, double q)
{
    std::sort(values.begin(), values.end());
    return values[static_cast<size_t>(q * static_cast<double>(values.size() - 1))];
}

class Server
{
  public:
    Server(const char *program, const char *argument, const char *path) : path_(path)
    {
        fs::remove(path);
        const double start = seconds_now();
        pid_ = fork();
        if (pid_ == 0) {
            execl(program, program, argument, nullptr);
            _exit(127);
        }
        socket_ = zsock_new(ZMQ_REQ);
        zsock_set_reconnect_ivl(socket_, 1); // ms
        zsock_set_rcvtimeo(socket_, 30'000);
        zsock_attach(socket_, (">ipc://" + path_).c_str(), false);
        request(RD_CMD_SIDEBAND);
        first_reply = seconds_now() - start;
    }
    ~Server()
    {
        zsock_destroy(&socket_);
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    // Returns the seconds until the reply. Command 7 sets lo up; command 18 has no flag set.
    double request(uint32_t cmd)
    {
        RequestFrame request{};
        request.header.cmd = cmd;
        if (cmd == RD_CMD_LINK) {
            request.link = {1, "lo"};
        }
        const double start = seconds_now();
        zframe_t *frame = zframe_new(&request, sizeof request);
        zframe_send(&frame, socket_, 0);
        frame = zframe_recv(socket_);
        const double end = seconds_now();
        ReplyFrame reply{};
        if (frame == nullptr || zframe_size(frame) != sizeof reply) {
            fprintf(stderr, "bench: no reply from %s\n", path_.c_str());
            exit(1);
        }
        memcpy(&reply, zframe_data(frame), sizeof reply);
        zframe_destroy(&frame);
        if (reply.rc != 0) {
            fprintf(stderr, "bench: %s answers %d\n", path_.c_str(), reply.rc);
            exit(1);
        }
        return end - start;
    }

    // Of all its threads, without its children.
    double cpu_seconds() const
    {
        double nanoseconds = 0;
        for (const auto &task : fs::directory_iterator(proc("task"))) {
            double ran = 0;
            std::ifstream(task.path() / "schedstat") >> ran;
            nanoseconds += ran;
        }
        return nanoseconds / 1e9;
    }
    long kib(const std::string &file, const std::string &key) const
    {
        std::ifstream lines(proc(file));
        for (std::string line; std::getline(lines, line);) {
            if (line.starts_with(key + ":")) {
                return std::stol(line.substr(key.size() + 1));
            }
        }
        return -1;
    }
    size_t descriptors() const { return rig::open_descriptors(pid_); }

    double first_reply;

  private:
    std::string proc(const std::string &file) const { return "/proc/" + std::to_string(pid_) + "/" + file; }
    std::string path_;
    pid_t pid_;
    zsock_t *socket_;
};

Server daemon_server()
{
    return {"/rig/q7net-shellexec", "zmqs", RD_SOCKET_PATH};
}

Server floor_server()
{
    return {"/rig/floor", "/run/floor.socket", "/run/floor.socket"};
}

void row(const char *what, double value, double limit, const char *unit = "")
{
    printf("| %s | %.2f%s | %.2f%s | %s |\n", what, value, unit, limit, unit, value <= limit ? "yes" : "**no**");
}

void compare(uint32_t cmd, int requests, double limit, double p99_limit, double cpu_limit)
{
    Server daemon = daemon_server();
    Server floor = floor_server();
    std::vector<double> times[2];
    for (int i = 0; i < 100; i++) { // warm
        daemon.request(cmd);
        floor.request(cmd);
    }
    const double cpu[2] = {daemon.cpu_seconds(), floor.cpu_seconds()};
    for (int round = 0; round < kRounds; round++) {
        for (int i = 0; i < requests / kRounds; i++) {
            times[0].push_back(daemon.request(cmd));
        }
        for (int i = 0; i < requests / kRounds; i++) {
            times[1].push_back(floor.request(cmd));
        }
    }
    const std::string name = "command " + std::to_string(cmd) + ", ";
    row((name + "median / floor").c_str(), quantile(times[0], 0.5) / quantile(times[1], 0.5), limit);
    if (p99_limit > 0) {
        row((name + "99th percentile / floor").c_str(), quantile(times[0], 0.99) / quantile(times[1], 0.99), p99_limit);
        row((name + "CPU time of the server itself / floor").c_str(),
            (daemon.cpu_seconds() - cpu[0]) / (floor.cpu_seconds() - cpu[1]), cpu_limit);
    }
    fprintf(stderr, "command %u: median %.0f us, floor %.0f us, %zu requests each\n", cmd,
            quantile(times[0], 0.5) * 1e6, quantile(times[1], 0.5) * 1e6, times[0].size());
}

void start_and_rest()
{
    std::vector<double> first[2];
    for (int i = 0; i < kRounds; i++) {
        first[0].push_back(daemon_server().first_reply);
        first[1].push_back(floor_server().first_reply);
    }
    row("start to first reply, median / floor", quantile(first[0], 0.5) / quantile(first[1], 0.5), 1.3);

    const Server daemon = daemon_server();
    const Server floor = floor_server();
    const double cpu = daemon.cpu_seconds();
    sleep(5);
    row("CPU time at rest, ms in 5 s", (daemon.cpu_seconds() - cpu) * 1e3, 0);
    row("threads at rest", static_cast<double>(daemon.kib("status", "Threads")), 3);
    row("resident memory above the floor",
        static_cast<double>(daemon.kib("status", "VmRSS") - floor.kib("status", "VmRSS")) / 1024, 2, " MiB");
    row("private dirty memory", static_cast<double>(daemon.kib("smaps_rollup", "Private_Dirty")) / 1024, 1.2, " MiB");
}

void soak(uint32_t cmd, int requests)
{
    Server daemon = daemon_server();
    for (int i = 0; i < 1000; i++) { // allocators and caches settle
        daemon.request(cmd);
    }
    const size_t descriptors = daemon.descriptors();
    const long resident = daemon.kib("status", "VmRSS");
    std::vector<double> first;
    std::vector<double> last;
    for (int i = 0; i < requests; i++) {
        const double time = daemon.request(cmd);
        if (i < requests / 10) {
            first.push_back(time);
        } else if (i >= requests - requests / 10) {
            last.push_back(time);
        }
    }
    const std::string name = std::to_string(requests) + " of command " + std::to_string(cmd) + ": ";
    row((name + "descriptors more").c_str(),
        static_cast<double>(daemon.descriptors()) - static_cast<double>(descriptors), 0);
    row((name + "resident memory more").c_str(), static_cast<double>(daemon.kib("status", "VmRSS") - resident), 64,
        " KiB");
    row((name + "median of the last tenth / first tenth").c_str(), quantile(last, 0.5) / quantile(first, 0.5), 1.1);
}

} // namespace

int main(int argc, char *argv[])
{
    const int link_requests = argc > 1 ? static_cast<int>(strtol(argv[1], nullptr, 10)) : 20'000;
    const int idle_requests = argc > 2 ? static_cast<int>(strtol(argv[2], nullptr, 10)) : 1'000'000;
    if (std::min(link_requests, idle_requests) < kRounds) {
        fprintf(stderr, "usage: bench [LINK-REQUESTS [IDLE-REQUESTS]], each %d or more\n", kRounds);
        return 2;
    }
    rig::enter(rig::Tools::kReal);
    setvbuf(stdout, nullptr, _IOLBF, 0);
    zsys_handler_set(nullptr);
    drain_log();
    printf("| measured | value | at most | reached |\n|---|---|---|---|\n");
    compare(RD_CMD_LINK, std::min(link_requests, 4000), 0.80, 1.0, 0.55);
    compare(RD_CMD_SIDEBAND, std::min(idle_requests, 40'000), 1.10, 0, 0);
    start_and_rest();
    soak(RD_CMD_LINK, link_requests);
    soak(RD_CMD_SIDEBAND, idle_requests);
    return 0;
}
