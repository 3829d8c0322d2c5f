#include "mdns/publish.h"

#include "core/protocol.h"
#include "log/log.h"

int av_publish_start(const char * /*address*/, const char * /*interface*/)
{
    RD_ERROR("this version cannot publish yet\n");
    return RD_RC_FAILED;
}
