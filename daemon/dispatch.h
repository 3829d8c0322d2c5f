#pragma once

#include <q7net/protocol.h>

// Carries a command out: calls its handler.
//   request  the whole frame, zeros where the message was shorter; its last byte is NUL
//   rc       set to the handler's result
// Returns whether there is such a command. RD_CMD_TERMINATE has no handler and is the server's own.
bool rd_run_command(RequestFrame *request, int32_t *rc);
