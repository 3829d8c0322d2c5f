/* Sets a link up. cc link.c $(pkg-config --cflags --libs q7net) */
#include <q7net/client.h>

#include <stdio.h>
#include <string.h>
#include <unistd.h>

static int set_up(struct q7net *client, const char *ifname)
{
    struct RequestFrame request = {.header = {.cmd = RD_CMD_LINK}};
    struct ReplyFrame reply;
    char text[Q7NET_TEXT_SIZE];

    request.header.tag = (uint32_t)getpid();
    request.link.state = RD_LINK_UP;
    snprintf(request.link.ifname, RD_IFNAME_SIZE, "%s", ifname);
    if (q7net_request(client, &request, sizeof request, &reply,
                      5000)) {
        puts(q7net_problem(client));
        return 1;
    }
    int verdict = q7net_explain(&request, sizeof request, reply.rc,
                                text, sizeof text);
    puts(text);
    return verdict == Q7NET_SUCCESS ? 0 : 1;
}

int main(int argc, char *argv[])
{
    struct q7net *client;
    int status;

    if (argc != 2 || strlen(argv[1]) >= RD_IFNAME_SIZE)
        return 2;
    if (q7net_open(&client, NULL) != Q7NET_OK)
        return 1;
    status = set_up(client, argv[1]);
    q7net_close(client);
    return status;
}
