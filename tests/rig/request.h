// Requests in words.
#pragma once

#include <q7net/protocol.h>

#include <string>
#include <vector>

namespace rig
{

// The words of a line; quotes ('') keep spaces together and \n stands for a line's end in them.
std::vector<std::string> words_of(const std::string &line);

// The frame of "COMMAND FIELD=VALUE ...", by the names in protocol.h without RD_CMD_: LINK state=1 ifname=eth1. A command
// may be a number. A list has commas: lower=eth1,,eth2. x*16 is a text of sixteen x. wait and tag are the header's.
RequestFrame request_of(const std::string &line);

} // namespace rig
