# Sets a link up: python3 example.py eth1 [LIBRARY]
import ctypes
import os
import struct
import sys

RD_CMD_LINK, RD_LINK_UP, REPLY_SIZE, TEXT_SIZE, Q7NET_SUCCESS = 7, 1, 1036, 160, 0

q7net = ctypes.CDLL(sys.argv[2] if len(sys.argv) > 2 else "libq7net.so.1")
q7net.q7net_problem.restype = ctypes.c_char_p

client = ctypes.c_void_p()
if q7net.q7net_open(ctypes.byref(client), None) != 0:
    sys.exit("no client")
request = struct.pack("=IIII16s", RD_CMD_LINK, 0, os.getpid(), RD_LINK_UP, sys.argv[1].encode())
reply = ctypes.create_string_buffer(REPLY_SIZE)
if q7net.q7net_request(client, request, ctypes.c_size_t(len(request)), reply, 5000) != 0:
    sys.exit(q7net.q7net_problem(client).decode())
rc = struct.unpack_from("=i", reply, 12)[0]
text = ctypes.create_string_buffer(TEXT_SIZE)
verdict = q7net.q7net_explain(request, ctypes.c_size_t(len(request)), rc, text, ctypes.c_size_t(TEXT_SIZE))
print(text.value.decode())
q7net.q7net_close(client)
sys.exit(0 if verdict == Q7NET_SUCCESS else 1)
