#pragma once

// Tells the service manager how it stands with us, for instance "READY=1" (sd_notify(3)), if it asked to be told by
// NOTIFY_SOCKET in the environment when main began. What cannot be told is lost.
void rd_notify_manager(const char *state);

// Takes NOTIFY_SOCKET out of the environment, so that no tool speaks to the service manager in our name.
void rd_take_notify_socket();
