// Runs transcripts, which show what the daemon does for each request: test_transcripts [--accept] FILE...
//
// A transcript is made of cases, each with a daemon and a fresh /run, /sys and /proc/sys/net. A line is one of
//
//   ## TITLE                    begins a case; what stands before the first begins each
//   # TEXT                      a remark
//   interface NAME...           network interfaces that are up
//   file PATH [TEXT]            a file there is
//   folder PATH                 a folder there is
//   link PATH TARGET            a symbolic link there is: /dev/full is a file that takes nothing
//   remove PATH                 a file or folder there is not
//   answer STATUS [MSms] WORDS  how a tool ends whose call begins so (a signal if negative), and when
//   answers                     all tools end with 0 at once again
//   > REQUEST = RC              a request to the daemon (see request.h) and the reply's result code,
//   >> REQUEST = RC             one whose tools are not waited for, so that their lines are put last, or
//   later                       nothing but time, until what is below has come
//   messages [FUNCTION...]      all messages of the next of these three are told, not the complaints alone; or those of
//                               the functions whose names begin so: what shared steps say is told once elsewhere
//
// and, below those three, what it comes to, or behind a request and a colon if that is one line alone:
//
//     LEVEL FUNCTION TEXT       a message in the platform log: a complaint (levels 2 and 3), or how a tool that nobody
//                               waited for ended; the error log is compared with levels 2 to 4 in any case
//     /PATH WORDS               each tool that was run; (loud) if its output is not thrown away
//     + FOLDER: NAME TEXT ...   files that are new or have changed
//     - PATH                    a file that is gone
//
// A line that comes several times in a row is told once, with "(N times)"; twenty and more equal characters are told as
// in requests, x*20; a space that ends a line is followed by a |. With --accept the files are brought to what was seen,
// to be looked at with git diff.

#include "rig/rig.h"

#include <algorithm>
#include <fstream>
#include <map>

#include <fcntl.h>
#include <unistd.h>

using rig::Lines;

namespace
{

bool accepting = false;

struct Case {
    std::string title;
    std::vector<Lines> steps; // each a line, and what it comes to
    Lines seen;               // its lines as in the file, or as they should read once the case has been run
};

struct File {
    int fd;
    std::string name;
    std::vector<Case> cases; // the first is what stands before all others
};

std::string joined(const Lines &lines)
{
    std::string text;
    for (const std::string &line : lines) {
        text += line + "\n";
    }
    return text;
}

void append(Lines &lines, const Lines &more)
{
    lines.insert(lines.end(), more.begin(), more.end());
}

class Transcript : public rig::Controller
{
  public:
    Transcript(const File &file, Case &told) : file_(file), told_(told) {}

    void TestBody() override
    {
        for (const Lines &step : file_.cases[0].steps) {
            arrange(step[0]);
        }
        rig::write_file("/rig/in-order", "");
        const rig::Daemon daemon;
        rig::Client client;
        ASSERT_TRUE(wait_for_message("waiting for msg"));
        log();
        told_.seen.clear();
        for (const Lines &step : told_.steps) {
            const bool acts = step[0] == "later" || step[0].starts_with(">");
            acts ? void() : arrange(step[0]);
            const Lines seen = acts ? carried_out(client, step) : Lines{step[0]};
            EXPECT_EQ(joined(step), joined(seen));
            append(told_.seen, seen);
        }
        const std::string pid = std::to_string(daemon.pid());
        const bool ended = joined(told_.seen).find("> TERMINATE") != std::string::npos; // and reaps nothing more
        EXPECT_TRUE(ended || rig::wait_until([&] { // a tool that nobody waited for may still be noted
                        const std::string children = rig::read_file("/proc/" + pid + "/task/" + pid + "/children");
                        const bool alone = children.empty() || children == "(none)";
                        alone ? void() : client.have_children_reaped();
                        return alone;
                    }))
            << "a tool is left";
        const Lines left = shown(log());
        EXPECT_EQ(joined(left), "") << "after the last request";
        append(told_.seen, left);
    }

  private:
    // Sends a request, or none, and waits until what it comes to is as told, or time is over. Returns it.
    Lines carried_out(rig::Client &client, const Lines &told)
    {
        const bool only_waits = told[0] == "later";
        const bool reaps = joined(told).find("reaped a zombie child") != std::string::npos;
        const std::map<std::string, std::string> before = files();
        std::string request = told[0].substr(0, told[0].find(" = "));
        if (!only_waits) {
            request += " = " + std::to_string(client.request(request.substr(request.find(' '))));
        }
        Lines messages;
        Lines seen;
        rig::wait_until(
            [&] {
                reaps ? client.have_children_reaped() : void();
                append(messages, platform_log.take());
                seen = {request};
                append(seen, shown(messages));
                if (request.starts_with(">>")) {
                    std::stable_partition(seen.begin() + 1, seen.end(),
                                          [](const auto &line) { return line[4] != '/'; });
                }
                append(seen, changes(before));
                seen = abridged(seen);
                if (seen.size() == 2 && !only_waits) {
                    seen = {seen[0] + ": " + seen[1].substr(strlen("    "))};
                }
                return seen == told;
            },
            accepting || HasFailure() ? only_waits ? 3000 : 300 : 20'000);
        expect_in_error_log(messages);
        told_functions_.clear();
        return seen;
    }

    void arrange(const std::string &line)
    {
        const Lines words = rig::words_of(line);
        const std::string what = words.empty() ? "#" : words[0];
        const std::string path = words.size() > 1 ? words[1] : "";
        if (what == "interface") {
            std::for_each(words.begin() + 1, words.end(), [](const auto &name) { interface(name); });
        } else if (what == "file") {
            rig::write_file(path, words.size() > 2 ? rig::repeated(words[2]) : "");
        } else if (what == "folder") {
            fs::create_directories(path);
        } else if (what == "messages") {
            told_functions_ = words;
            told_functions_.erase(told_functions_.begin());
            told_functions_.resize(std::max<size_t>(told_functions_.size(), 1)); // all names begin with nothing
        } else if (what == "link") {
            fs::create_directories(fs::path(path).parent_path());
            fs::remove(path);
            fs::create_symlink(words.at(2), path);
        } else if (what == "remove") {
            fs::remove_all(path);
        } else if (what == "answers") {
            fs::remove("/rig/answers");
        } else if (what == "answer") {
            const bool slow = words.at(2).ends_with("ms");
            answer(line.substr(line.find(words.at(slow ? 3 : 2))), std::stoi(path), slow ? std::stoi(words[2]) : 0);
        } else if (what[0] != '#') {
            FAIL() << file_.name << ": '" << line << "' is no line of a transcript";
        }
    }

    // What the daemon may have written, and the kernel's names.
    static std::map<std::string, std::string> files()
    {
        std::map<std::string, std::string> texts;
        for (const char *path : {"/proc/sys/kernel/hostname", "/proc/sys/kernel/domainname"}) {
            texts[path] = rig::read_file(path);
        }
        for (const char *folder : {"/etc", "/run", "/var", "/sys", "/proc/sys/net"}) {
            for (const auto &entry : fs::recursive_directory_iterator(folder)) {
                if (entry.is_regular_file() && !entry.is_symlink() && entry.path() != "/run/q7net/q7neterrs") {
                    texts[entry.path()] = rig::read_file(entry.path());
                }
            }
        }
        return texts;
    }

    static Lines changes(const std::map<std::string, std::string> &before)
    {
        Lines lines;
        fs::path folder;
        const auto now = files();
        for (const auto &[path, text] : now) {
            const auto old = before.find(path);
            if (old != before.end() && old->second == text) {
                continue;
            }
            if (fs::path(path).parent_path() != folder) {
                folder = fs::path(path).parent_path();
                lines.push_back("    + " + folder.string() + ":");
            }
            lines.back() += " " + fs::path(path).filename().string() + " '" + rig::in_one_line(text) + "'";
        }
        for (const auto &[path, text] : before) {
            if (!now.contains(path)) {
                lines.push_back("    - " + path);
            }
        }
        return lines;
    }

    static Lines abridged(const Lines &lines)
    {
        constexpr ptrdiff_t kMany = 20;
        Lines result;
        for (auto line = lines.begin(); line != lines.end();) {
            const auto other = std::find_if(line, lines.end(), [&line](const auto &text) { return text != *line; });
            std::string text;
            for (auto c = line->begin(); c != line->end();) {
                const auto end = std::find_if(c, line->end(), [&c](char next) { return next != *c; });
                text += end - c < kMany ? std::string(c, end) : *c + ("*" + std::to_string(end - c));
                c = end;
            }
            result.push_back(text + (other - line > 1 ? " (" + std::to_string(other - line) + " times)" : ""));
            line = other;
        }
        return result;
    }

    // The complaints, and the other messages that are told (those that each request brings, only if they are asked for by
    // name); the tools among them.
    Lines shown(const Lines &messages) const
    {
        Lines lines;
        for (const std::string &message : messages) {
            const bool usual =
                message.starts_with("5 rd_server ") || message == "6 rd_server server received empty frame";
            const bool reaped = message.starts_with("6 rd_server reaped");
            const bool told = std::any_of(told_functions_.begin(), told_functions_.end(), [&](const auto &function) {
                return message.substr(2).starts_with(function) && !(usual && function.empty());
            });
            if (message[0] < '4' || reaped || told) { // '/' of a tool is less
                const size_t time = message.find(" at ", message.find("rd_systemd_service_control"));
                lines.push_back("    " + message.substr(0, time) + (time < message.size() ? " at TIME" : "") +
                                (message.ends_with(' ') ? "|" : ""));
            }
        }
        return lines;
    }

    const File &file_;
    Case &told_;
    Lines told_functions_; // beginnings of their names
};

File load(const char *path)
{
    File file{open(path, O_RDWR | O_CLOEXEC), fs::path(path).stem(), {{}}};
    std::ifstream stream(path);
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with("## ")) {
            file.cases.push_back({line.substr(3), {}, {}});
        }
        Case &last = file.cases.back();
        line.starts_with("    ") ? last.steps.back().push_back(line) : last.steps.push_back({line});
        last.seen.push_back(line);
    }
    if (file.cases.size() == 1) {
        fprintf(stderr, "%s: no cases\n", path);
        exit(98);
    }
    return file;
}

void accept(const File &file)
{
    std::string text;
    for (const Case &each : file.cases) {
        text += joined(each.seen);
    }
    if (ftruncate(file.fd, 0) != 0 || pwrite(file.fd, text.data(), text.size(), 0) < 0) {
        perror(file.name.c_str());
    }
}

} // namespace

int main(int argc, char *argv[])
{
    std::vector<File> files;
    for (int i = 1; i < argc; i++) {
        accepting = accepting || argv[i] == std::string("--accept");
        if (argv[i][0] != '-') { // else it is GoogleTest's
            files.push_back(load(argv[i]));
        }
    }
    // Tools that get the daemon's own output would be taken for such as get none.
    if (fs::read_symlink("/proc/self/fd/1") == "/dev/null" || fs::read_symlink("/proc/self/fd/2") == "/dev/null") {
        fprintf(stderr, "neither standard output nor standard error may be /dev/null here\n");
        return 98;
    }
    rig::enter(rig::Tools::kRecording);
    testing::InitGoogleTest(&argc, argv);
    for (File &file : files) {
        for (auto each = file.cases.begin() + 1; each != file.cases.end(); ++each) {
            testing::RegisterTest(file.name.c_str(), each->title.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                                  [&file, each] { return new Transcript(file, *each); });
        }
    }
    const int status = RUN_ALL_TESTS();
    for (const File &file : files) {
        if (accepting) {
            accept(file);
        }
    }
    return status;
}
