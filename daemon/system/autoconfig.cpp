#include "system/commands.h"

#include "base/child.h"
#include "base/file.h"
#include "base/line.h"
#include "base/log.h"
#include "base/text.h"

#include <cstring>

#include <signal.h>
#include <unistd.h>

static constexpr const char *kAgentPidFile = "/run/q7net/serverconfigagent.pid";
static constexpr const char *kAgentName = "serverconfigagent";

// Kills the server-configuration agent if its PID file tells the truth. Returns 0, or -1 when it could not be killed.
static int kill_agent(const char *function = __builtin_FUNCTION())
{
    uint32_t pid = 0;
    if (rd_get_pid_from_file(kAgentPidFile, &pid) != 0) {
        RD_INFO_OF(function, "couldnt get pid from %s\n", kAgentPidFile);
        return 0;
    }
    char path[32];
    char program[32]; // the program's path, as far as the first NUL
    rd_format(path, "/proc/%u/cmdline", pid);
    const int error = rd_read_line(path, program);
    if (error != 0) {
        RD_INFO_OF(function, "couldnt open %s %s\n", path, ErrorText(error).c_str());
        rd_format(program, "%s", path);
    } else {
        RD_INFO_OF(function, "read %s\n", program);
    }
    if (strstr(program, kAgentName) == nullptr) { // the PID may be another program's by now
        RD_INFO_OF(function, "wrong pid %u dont kill %s\n", pid, program);
        return 0;
    }
    const int rc = kill(static_cast<pid_t>(pid), SIGKILL);
    RD_INFO_OF(function, "killed serverconfigagent pid %u rc=%d\n", pid, rc);
    return rc;
}

int rd_server_autoconfig_launch(const AutoconfigRequest *request)
{
    const char *const argument = request->autoconf_arg;
    RD_INFO("\n");
    if (strcmp(argument, "disable") == 0) {
        RD_INFO("disabling\n");
        const int rc = kill_agent();
        unlink(kAgentPidFile);
        return rc;
    }
    return argument[0] != '\0' ? rd_start<"/etc/sysapps_script/network/systemautoconf.sh <argument>">(0, argument)
                               : rd_start<"/etc/sysapps_script/network/systemautoconf.sh">(0);
}
