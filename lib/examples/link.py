# Sets a link up: python3 link.py eth1 [LIBRARY]
import os
import struct
import sys
from ctypes import (CDLL, byref, c_char_p, c_size_t, c_void_p,
                    create_string_buffer)

RD_CMD_LINK = 7
RD_LINK_UP = 1
REPLY_SIZE = 1036
Q7NET_SUCCESS = 0

name = sys.argv[1].encode()
if len(name) > 15:  # and a NUL
    sys.exit("interface name is too long")
q7net = CDLL(sys.argv[2] if sys.argv[2:] else "libq7net.so.1")
q7net.q7net_problem.restype = c_char_p
client = c_void_p()
if q7net.q7net_open(byref(client), None):
    sys.exit("there can be no client")

request = struct.pack("=IIII16s", RD_CMD_LINK, 0, os.getpid(),
                      RD_LINK_UP, name)
size = c_size_t(len(request))
reply = create_string_buffer(REPLY_SIZE)
if q7net.q7net_request(client, request, size, reply, 5000):
    sys.exit(q7net.q7net_problem(client).decode())
rc = struct.unpack_from("=i", reply, 12)[0]
text = create_string_buffer(160)
verdict = q7net.q7net_explain(request, size, rc, text, c_size_t(160))
print(text.value.decode())
q7net.q7net_close(client)
sys.exit(verdict != Q7NET_SUCCESS)
