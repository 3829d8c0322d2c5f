#include "core/protocol.h"

uint32_t state_of(const struct RequestFrame *frame);

uint32_t state_of(const struct RequestFrame *frame)
{
    return frame->header.cmd == RD_CMD_LINK ? frame->link.state : 0;
}
