// Stands at the path of every tool in the private controller. It notes how it was called and ends as it was told.
//
//   /rig/calls    gets the words of each call, one call a line; " (loud)" behind them unless both standard output and
//                 standard error can be written to and are /dev/null
//   /rig/state    gets what the last call inherited
//   /rig/answers  lines "STATUS DELAY_MS WORDS": the first whose WORDS begin the call decides the exit status (or the
//                 signal -STATUS) and how long the tool runs; without one it ends at once with 0
// While /rig/in-order exists, each call is noted in the platform log too, where it stands among the messages.
// Statically linked, so that it needs no library in the controller's root.

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace fs = std::filesystem;

static void append(const char *path, const std::string &text)
{
    const int fd = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0 || write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        _exit(99);
    }
    close(fd);
}

static std::string target_of(const fs::path &link)
{
    std::error_code closed;
    return fs::read_symlink(link, closed);
}

static bool is_quiet(int fd)
{
    return target_of("/proc/self/fd/" + std::to_string(fd)) == "/dev/null" && write(fd, "x", 1) == 1;
}

// The environment, working directory and umask, standard input, descriptors above 2, and the blocked and ignored signals.
static std::string inherited()
{
    std::string state = "cwd=" + fs::current_path().string() + " env=";
    for (char **variable = environ; *variable != nullptr; variable++) {
        state += *variable + std::string(",");
    }
    state += " stdin=" + target_of("/proc/self/fd/0") + " others=";
    for (const auto &entry : fs::directory_iterator("/proc/self/fd")) {
        const std::string target = target_of(entry.path());
        if (std::stoi(entry.path().filename()) > 2 && !target.ends_with("/fd")) { // the folder itself
            state += target + ",";
        }
    }
    std::ifstream status("/proc/self/status");
    for (std::string name, value; status >> name && std::getline(status >> std::ws, value);) {
        if (name == "Umask:" || name == "SigBlk:" || name == "SigIgn:") {
            state += " " + name + value;
        }
    }
    return state + "\n";
}

int main(int argc, char *argv[])
{
    std::string words;
    for (int i = 0; i < argc; i++) {
        const bool plain = argv[i][0] != '\0' && strchr(argv[i], ' ') == nullptr;
        words += (i > 0 ? " " : "") + (plain ? std::string(argv[i]) : "'" + std::string(argv[i]) + "'");
    }
    unlink("/rig/state");
    append("/rig/state", inherited());
    const std::string call = words + (is_quiet(STDOUT_FILENO) && is_quiet(STDERR_FILENO) ? "" : " (loud)");
    append("/rig/calls", call + "\n");
    if (access("/rig/in-order", F_OK) == 0) {
        const sockaddr_un log{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
        const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sendto(fd, call.data(), call.size(), 0, reinterpret_cast<const sockaddr *>(&log), sizeof log);
    }

    std::ifstream answers("/rig/answers");
    int status = 0;
    int delay_ms = 0;
    for (std::string prefix; answers >> status >> delay_ms && std::getline(answers >> std::ws, prefix);) {
        if (words.starts_with(prefix)) {
            usleep(static_cast<useconds_t>(delay_ms) * 1000);
            if (status < 0) {
                kill(getpid(), -status);
            }
            return status;
        }
    }
    return 0;
}
