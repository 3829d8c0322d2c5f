#include "rig/rig.h"

#include "rig/tools.h"

#include <algorithm>
#include <fstream>
#include <regex>
#include <sstream>

#include <fcntl.h>
#include <fnmatch.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace rig
{

static void must(bool good, const std::string &what)
{
    if (!good) {
        fprintf(stderr, "rig: %s: %s\n", what.c_str(), strerror(errno));
        _exit(98);
    }
}

// What the machine has at a path is there in the new root, too.
static void bind(const fs::path &source, const fs::path &root)
{
    const fs::path target = root / source.relative_path();
    if (fs::exists(source)) {
        fs::is_directory(source) ? void(fs::create_directories(target)) : void(std::ofstream(target));
        must(mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0, "bind " + target.string());
    }
}

static void mount_new(const char *type, const fs::path &target)
{
    fs::create_directories(target);
    must(mount(type, target.c_str(), type, 0, nullptr) == 0, "mount " + target.string());
}

static void build_root(Tools tools, bool real_root, const fs::path &root, const fs::path &programs, const char *kept)
{
    mount_new("tmpfs", root);
    for (const char *folder : {"rig", "tmp", "run/q7net/dhcp", "etc", "var/lib", "dev", "usr/lib", "usr/sbin"}) {
        fs::create_directories(root / folder);
    }
    fs::create_symlink("/run", root / "var/run");
    for (const char *program : {"standin", "q7avahi", "floor", "../q7net-shellexec", "../q7rdctl"}) {
        if (fs::exists(programs / program)) {
            fs::copy(programs / program, root / "rig");
        }
    }
    for (const char *library : {"lib", "lib64", "lib32"}) {
        fs::create_symlink(fs::path("usr") / library, root / library);
    }
    std::ofstream(root / "etc/group") << "root:x:0:\navahi:x:101:\nq7net:x:" << (real_root ? 500 : 0) << ":\n";
    std::ofstream(root / "etc/passwd") << "root:x:0:0:root:/:/bin/sh\navahi:x:101:101::/:/bin/false\n";
    if (tools == Tools::kReal) {
        for (const char *folder : {"/usr", "/etc/alternatives", "/etc/iproute2"}) {
            bind(folder, root);
        }
        fs::create_symlink("usr/bin", root / "bin");
        fs::create_symlink("usr/sbin", root / "sbin");
        mount_new("sysfs", root / "sys");
    } else {
        bind("/usr/lib", root);
        bind("/usr/lib64", root);
        for (const fs::path tool : kTools) {
            fs::create_directories(root / tool.parent_path().relative_path());
            fs::create_symlink("/rig/standin", root / tool.relative_path());
        }
    }
    for (const char *device : {"/dev/null", "/dev/full", "/dev/urandom"}) {
        bind(device, root);
    }
    if (kept != nullptr) {
        bind(kept, root);
    }
    mount_new("devpts", root / "dev/pts");
    fs::create_symlink("pts/ptmx", root / "dev/ptmx");
    mount_new("proc", root / "proc");
    if (tools == Tools::kRecording) {
        mount_new("tmpfs", root / "proc/sys/net");
    }
    must(chroot(root.c_str()) == 0 && chdir("/") == 0, "chroot");
}

static int status_of(pid_t child)
{
    int status = 0;
    for (pid_t ended = 0; ended != child;) {
        ended = wait(&status);
        must(ended > 0, "wait");
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

static Tools entered;

void enter(Tools tools, const char *kept)
{
    entered = tools;
    const fs::path programs = fs::read_symlink("/proc/self/exe").parent_path();
    const uid_t uid = geteuid();
    const gid_t gid = getegid();
    const int user = uid == 0 ? 0 : CLONE_NEWUSER;
    must(unshare(user | CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWUTS | CLONE_NEWIPC | CLONE_NEWPID) == 0, "unshare");
    if (user != 0) {
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << "0 " << uid << " 1";
        std::ofstream("/proc/self/gid_map") << "0 " << gid << " 1";
    }
    must(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
    // The first child is the new namespace's init, deaf to signals it has no handler for: it only reaps, and
    // the tests run in its child. Each dies with its parent, so that a timeout leaves nothing behind.
    for (int depth = 0; depth < 2; depth++) {
        fflush(nullptr);
        const pid_t child = fork();
        must(child >= 0, "fork");
        if (child != 0) {
            _exit(status_of(child));
        }
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (depth == 0) {
            build_root(tools, user == 0, "/mnt", programs, kept);
        }
    }
}

void write_file(const std::string &path, const std::string &text)
{
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path) << text;
}

std::string read_file(const std::string &path)
{
    std::ifstream file(path);
    return file ? std::string(std::istreambuf_iterator(file), {}) : "(none)";
}

std::string in_one_line(const std::string &text)
{
    return std::regex_replace(text, std::regex("\n"), "\\n");
}

bool wait_until(const std::function<bool()> &condition, int timeout_ms)
{
    const int64_t end = zclock_mono() + timeout_ms;
    while (!condition()) {
        if (zclock_mono() > end) {
            return false;
        }
        zclock_sleep(2);
    }
    return true;
}

size_t open_descriptors(pid_t pid)
{
    const fs::directory_iterator descriptors("/proc/" + std::to_string(pid) + "/fd");
    return static_cast<size_t>(std::distance(begin(descriptors), end(descriptors)));
}

// "function():LINE - text\n" as "function text": lines of source move.
static std::string without_line_number(const std::string &message)
{
    const size_t place = message.find("():");
    const size_t text = message.find(" - ");
    const bool good = place < text && text != std::string::npos && message.ends_with('\n') &&
                      message.find_first_not_of("0123456789", place + 3) == text;
    EXPECT_TRUE(good) << "not a message: " << message;
    return good ? message.substr(0, place) + " " + message.substr(text + 3, message.size() - text - 4) : message;
}

static Lines split(const std::string &text)
{
    std::istringstream stream(text);
    Lines lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

PlatformLog::PlatformLog() : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
{
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
    unlink(address.sun_path);
    must(::bind(socket_, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0, "/dev/log");
    chmod(address.sun_path, 0666);
    reader_ = std::jthread([this](const std::stop_token &stop) {
        while (!stop.stop_requested()) { // or the queue would fill and the daemon wait
            pollfd ready{socket_, POLLIN, 0};
            if (poll(&ready, 1, 20) == 1) {
                read();
            }
        }
    });
}

PlatformLog::~PlatformLog()
{
    reader_.request_stop();
    reader_.join();
    close(socket_);
    unlink("/dev/log");
}

void PlatformLog::read()
{
    const std::lock_guard lock(mutex_);
    char bytes[8192];
    for (ssize_t size = 0; (size = recv(socket_, bytes, sizeof bytes, MSG_DONTWAIT)) > 0;) {
        // "<PRIORITY>Nov 22 21:33:30 q7net-shellexec: text"
        const std::string record(bytes, static_cast<size_t>(size) - (bytes[size - 1] == '\0' ? 1 : 0));
        if (record[0] == '/') { // a tool's
            records_ += record + "\n";
            continue;
        }
        const std::string ident = " q7net-shellexec: ";
        const size_t header = record.find('>') + 1 + strlen("Nov 22 21:33:30");
        EXPECT_EQ(record.find(ident), header) << "not a syslog record of ours: " << record;
        const unsigned long priority = strtoul(record.c_str() + 1, nullptr, 10);
        EXPECT_EQ(priority & ~7UL, 3UL << 3) << "facility daemon";
        const std::string message = without_line_number(record.substr(header + ident.size()));
        records_ += std::to_string((priority & 7) - 1) + " " + in_one_line(message) + "\n";
    }
}

std::string PlatformLog::all()
{
    read();
    const std::lock_guard lock(mutex_);
    return records_;
}

Lines PlatformLog::take()
{
    read();
    const std::lock_guard lock(mutex_);
    return split(std::exchange(records_, ""));
}

Controller::Controller()
{
    const auto empty = [](const char *folder) {
        for (const auto &entry : fs::directory_iterator(folder)) {
            fs::remove_all(entry.path());
        }
    };
    if (entered == Tools::kRecording) { // plain files, not the kernel's
        fs::create_directories("/sys");
        empty("/sys");
        empty("/proc/sys/net");
    }
    umount2("/run/netns", MNT_DETACH); // made by ip netns
    empty("/run");
    fs::create_directories("/run/q7net/dhcp");
    for (const char *note : {"/rig/calls", "/rig/state", "/rig/answers", "/rig/in-order"}) {
        fs::remove(note);
    }
}

// Where the daemon may make or change files.
static const char *const kItsFiles[] = {
    "/run/q7net/q7neterrs",
    "/run/q7net/dhcp/@(ipv4_dad_conflict|vsizt)",
    "/etc/hosts",
    "/proc/sys/net/ipv4/conf/all/@(arp_ignore|forwarding)",
    "/proc/sys/net/ipv6/conf/*/@(accept_*|addr_gen_mode|disable_ipv6|hop_limit|stable_secret)",
    "/sys/class/net/*/bonding/*",
    "/sys/kernel/config/usb_gadget/usbpt/UDC",
};

bool is_its_file(const std::string &path)
{
    return std::any_of(std::begin(kItsFiles), std::end(kItsFiles), [&path](const char *pattern) {
        return fnmatch(pattern, path.c_str(), FNM_PATHNAME | FNM_EXTMATCH) == 0;
    });
}

void Controller::interface(const std::string &name, const std::string &operstate)
{
    write_file("/sys/class/net/" + name + "/operstate", operstate);
    const std::string conf = "/proc/sys/net/ipv6/conf/" + name + "/";
    write_file(conf + "disable_ipv6", "0\n");
    write_file(conf + "accept_ra", "2\n");
    write_file(conf + "addr_gen_mode", "3\n");
}

void Controller::answer(const std::string &words, int status, int delay_ms)
{
    std::ofstream("/rig/answers", std::ios::app) << status << " " << delay_ms << " " << words << "\n";
}

Lines Controller::calls()
{
    Lines lines = fs::exists("/rig/calls") ? split(read_file("/rig/calls")) : Lines{};
    fs::remove("/rig/calls");
    return lines;
}

Lines Controller::error_log()
{
    const std::string text = fs::exists("/run/q7net/q7neterrs") ? read_file("/run/q7net/q7neterrs") : "";
    Lines messages;
    for (const std::string &record : split(text.substr(error_log_read_))) {
        tm stamp{};
        const char *message = strptime(record.c_str(), "[%d-%b %T] ", &stamp);
        EXPECT_NE(message, nullptr) << "not an error-log record: " << record;
        messages.push_back(without_line_number(std::string(message != nullptr ? message : "") + "\n"));
    }
    error_log_read_ = text.size();
    return messages;
}

void Controller::expect_in_error_log(const Lines &records)
{
    Lines both;
    for (const std::string &record : records) {
        if (record[0] >= '2' && record[0] <= '4') {
            both.push_back(record.substr(2));
        }
    }
    Lines written;
    wait_until( // a daemon writes it last
        [&] {
            const Lines more = error_log();
            written.insert(written.end(), more.begin(), more.end());
            return written.size() >= both.size();
        });
    EXPECT_EQ(written, both) << "the error log differs from levels 2 to 4 of the platform log";
}

Lines Controller::log()
{
    Lines records = platform_log.take();
    expect_in_error_log(records);
    return records;
}

Lines Controller::log_of(const std::string &function)
{
    Lines messages;
    for (const std::string &record : log()) {
        if (record.substr(2).starts_with(function + " ")) {
            messages.push_back(record.substr(0, 2) + record.substr(function.size() + 3));
        }
    }
    return messages;
}

Daemon::Daemon(Lines arguments, const std::function<void()> &prepare) : pid_(fork())
{
    if (pid_ == 0) {
        std::vector<char *> argv = {const_cast<char *>("/rig/q7net-shellexec")};
        for (std::string &argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        prepare();
        execv(argv[0], argv.data());
        _exit(97);
    }
}

Daemon::~Daemon()
{
    if (pid_ > 0 && getenv("GCOV_PREFIX") != nullptr) { // only a program that ends by itself leaves its counts
        Client client;
        const RequestHeader terminate{RD_CMD_TERMINATE, 0, 0};
        zsock_set_linger(client.socket(), 0);
        zsock_send(client.socket(), "b", &terminate, sizeof terminate);
        wait();
    }
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

int Daemon::wait()
{
    int status = -1;
    if (wait_until([&] { return waitpid(pid_, &status, WNOHANG) == pid_; })) {
        pid_ = -1;
    }
    return status;
}

bool Daemon::is_receiving() const
{
    return read_file("/proc/" + std::to_string(pid_) + "/syscall").starts_with(std::to_string(SYS_poll) + " ");
}

ReplyFrame Client::exchange(const void *bytes, size_t size)
{
    zframe_t *frame = zframe_new(bytes, size);
    EXPECT_EQ(zframe_send(&frame, socket_, 0), 0);
    return receive();
}

int Client::request(const std::string &words)
{
    const RequestFrame frame = request_of(words);
    const ReplyFrame reply = exchange(&frame, sizeof frame);
    EXPECT_EQ(reply.cmd, frame.header.cmd);
    EXPECT_EQ(reply.tag, frame.header.tag);
    return reply.rc;
}

ReplyFrame Client::receive()
{
    ReplyFrame reply{};
    zframe_t *frame = zframe_recv(socket_);
    if (frame == nullptr) {
        ADD_FAILURE() << "no reply";
        return reply;
    }
    EXPECT_EQ(zframe_size(frame), 1036U);
    EXPECT_FALSE(zsock_rcvmore(socket_));
    memcpy(&reply, zframe_data(frame), std::min(zframe_size(frame), sizeof reply));
    zframe_destroy(&frame);
    EXPECT_EQ(reply.reserved, 0U);
    const ReplyFrame zeros{};
    EXPECT_EQ(memcmp(reply.padding, zeros.padding, sizeof reply.padding), 0);
    return reply;
}

} // namespace rig
