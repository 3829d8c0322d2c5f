#pragma once

#include <q7net/protocol.h>

#include <string>

// Sends a message to the daemon and waits for the reply to it.
//   path     of the daemon's socket
//   seconds  to wait, 1 or more; on a terminal, standard error shows that it waits
//   problem  set when there is no reply: the likely reason
// Returns whether a reply came. What was sent may have been carried out all the same when none did.
bool exchange(const std::string &path, const std::string &message, int seconds, ReplyFrame *reply,
              std::string *problem);
