// The server, and messages of any kind.

#include "commands/group.h"

namespace
{

const Command kCommands[] = {
    {
        COMMAND(TERMINATE),
        .summary = "end the daemon; its service manager starts it again",
        .example = "",
    },
    {
        .name = "raw",
        .summary = "send any command code with any bytes behind the header",
        .example = "7 0100000065746831",
        .add_options =
            [](CommandLine &command, Request &request) {
                command.number("CODE", request.frame.header.cmd, 0, UINT32_MAX, "the command code").required();
                command.flag("--wait", request.frame.header.wait, "set the header's wait word");
                command.value("HEX", "the bytes from offset 12 on", [&request](const std::string &digits) {
                    if (digits.size() % 2 != 0 ||
                        digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
                        refuse("HEX", "'" + digits + "' is no even number of hexadecimal digits");
                    }
                    if (digits.size() / 2 > RD_MAX_MESSAGE - sizeof(RequestHeader)) {
                        refuse("HEX", "more than " + std::to_string(RD_MAX_MESSAGE) + " bytes in all");
                    }
                    for (size_t i = 0; i < digits.size(); i += 2) {
                        request.bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
                    }
                });
            },
    },
};

} // namespace

Group server_commands()
{
    return {"The daemon itself", kCommands};
}
