/* Sets a link up: cc example.c $(pkg-config --cflags --libs q7net) && ./a.out eth1 */
#include <q7net/client.h>

#include <stdio.h>
#include <string.h>
#include <unistd.h>

int main(int argc, char *argv[])
{
    struct RequestFrame request = {.header = {.cmd = RD_CMD_LINK, .tag = (uint32_t)getpid()},
                                   .link = {.state = RD_LINK_UP}};
    struct ReplyFrame reply;
    struct q7net *client;
    char text[Q7NET_TEXT_SIZE];
    int verdict = -1;

    if (argc != 2 || strlen(argv[1]) >= sizeof request.link.ifname || q7net_open(&client, NULL) != Q7NET_OK)
        return 1;
    strcpy(request.link.ifname, argv[1]);
    if (q7net_request(client, &request, sizeof request, &reply, 5000) == Q7NET_OK) {
        verdict = q7net_explain(&request, sizeof request, reply.rc, text, sizeof text);
        puts(text);
    } else {
        puts(q7net_problem(client));
    }
    q7net_close(client);
    return verdict == Q7NET_SUCCESS ? 0 : 1;
}
