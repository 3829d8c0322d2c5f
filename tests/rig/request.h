// Requests in words.
#pragma once

#include <q7net/protocol.h>

#include <string>
#include <vector>

namespace rig
{

// The words of a line; quotes ('') keep spaces together and \n stands for a line's end in them.
std::vector<std::string> words_of(const std::string &line);

// Of "x*16" sixteen x, of any other text itself.
std::string repeated(const std::string &value);

// The frame of "COMMAND FIELD=VALUE ...", by the names in protocol.h without RD_CMD_: LINK state=1 ifname=eth1. A command
// may be a number. A list has commas: lower=eth1,,eth2. Texts may be repeated. wait and tag are the header's.
RequestFrame request_of(const std::string &line);

} // namespace rig
