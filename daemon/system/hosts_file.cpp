#include "system/commands.h"

#include "base/file.h"
#include "base/text.h"
#include "base/validate.h"

static constexpr const char *kHostsFile = "/etc/hosts";

int rd_update_hosts_file(const NameRequest *request)
{
    if (request->name[0] == '\0') {
        RD_INFO("No hostname. nothing to do\n");
        return RD_RC_ABSENT;
    }
    if (const int refused = rd_check(rd_validate_shell_arg, request->name, "Invalid host name")) {
        return refused;
    }
    char text[512]; // the lines with a name of 257 characters need 401
    rd_format(text,
              "# Do not remove the following line, or various programs\n"
              "# that require network functionality will fail.\n"
              "127.0.0.1\tlocalhost wpcm450\n"
              "127.0.0.1\t%s\n",
              request->name);
    const auto [opened, error] = rd_write_file(kHostsFile, text);
    if (error != 0) {
        RD_ERROR("unable to update hosts file %s\n", ErrorText(error).c_str());
    }
    // The file is rewritten in place, for it may be a bind mount, which nothing can be renamed over. On a full file
    // system it is left empty or cut short: the message above tells, and the next request with space writes it whole.
    return opened ? RD_RC_OK : RD_RC_NO_RESOURCE;
}
