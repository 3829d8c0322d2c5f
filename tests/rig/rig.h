// A private controller to test in: mount, network, UTS, IPC and PID namespaces of its own (a user namespace too when
// not root), a root file system in memory, a /dev/log that is read back. Nothing of it outlives the test.
#pragma once

#include "rig/request.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <czmq.h>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace rig
{

enum class Tools {
    kRecording, // a stand-in at every tool's path; plain files where procfs and sysfs stand
    kReal,      // the machine's own tools, procfs and sysfs
};

// Moves the process into a private controller. To be called before anything else: returns in a child of the
// caller, which waits and ends as the child does. The daemon and the programs of the rig are copied to /rig.
//   kept  a folder that is there too; by default the one where programs that count what is executed leave their counts
void enter(Tools tools, const char *kept = getenv("GCOV_PREFIX"));
// Whether the daemon may make or change this file.
bool is_its_file(const std::string &path);

using Lines = std::vector<std::string>;

void write_file(const std::string &path, const std::string &text); // makes the folders too
std::string read_file(const std::string &path);                    // "(none)" when there is no such file
std::string in_one_line(const std::string &text);                  // with \n for each line's end
bool wait_until(const std::function<bool()> &condition, int timeout_ms = 10'000);
size_t open_descriptors(pid_t pid);

// What was sent to /dev/log.
class PlatformLog
{
  public:
    PlatformLog();
    ~PlatformLog();
    // "LEVEL function text" a line, since the last take; among them the words of the tools run while /rig/in-order exists.
    std::string all();
    Lines take();

  private:
    void read();
    int socket_;
    std::mutex mutex_;
    std::string records_;
    std::jthread reader_;
};

// The fixture: each test finds /run, /sys and /proc/sys/net as at the start, and the rest as the one before left it.
class Controller : public testing::Test
{
  protected:
    Controller();

    // A network interface, with its files in sysfs and procfs.
    static void interface(const std::string &name, const std::string &operstate = "up\n");
    // Tells the tools: calls beginning with these words end with this exit status, or signal if negative.
    static void answer(const std::string &words, int status, int delay_ms = 0);
    static Lines calls(); // the tools run since the last time, with their words
    static std::string state() { return read_file("/rig/state"); } // what the last tool run inherited
    Lines error_log(); // "function text" since the last time; each must be a whole record
    // Checks that exactly the records of levels 2 to 4 came to the error log since the last time, in this order.
    void expect_in_error_log(const Lines &records);
    Lines log(); // "LEVEL function text" of all messages since the last time, having checked this
    Lines log_of(const std::string &function); // the same of one function: "LEVEL text"
    bool wait_for_message(const std::string &text, int timeout_ms = 10'000)
    {
        return wait_until([&] { return platform_log.all().find(text) != std::string::npos; }, timeout_ms);
    }

    PlatformLog platform_log;

  private:
    size_t error_log_read_ = 0;
};

// The built daemon.
class Daemon
{
  public:
    // prepare runs in the process that becomes the daemon.
    explicit Daemon(
        Lines arguments = {"zmqs"}, const std::function<void()> &prepare = [] {});
    ~Daemon();
    pid_t pid() const { return pid_; }
    int wait();                // for its end; returns the wait status, or -1 after ten seconds
    bool is_receiving() const; // whether it sleeps in its receive, where a signal interrupts it

  private:
    pid_t pid_;
};

// A client of the command socket.
class Client
{
  public:
    Client() : socket_(zsock_new_req(">" RD_ENDPOINT)) { zsock_set_rcvtimeo(socket_, 30'000); }
    ~Client() { zsock_destroy(&socket_); }
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;
    zsock_t *socket() { return socket_; }

    // Sends bytes and returns the reply, having checked its form. No reply in time fails the test.
    ReplyFrame exchange(const void *bytes, size_t size);
    ReplyFrame receive();

    int request(const std::string &words); // as request_of takes them; returns the reply's result code
    // Has the server look for children that have ended: it sees one that ends right before its receive only after it.
    void have_children_reaped() { request("SIDEBAND"); }

  private:
    zsock_t *socket_;
};

} // namespace rig
