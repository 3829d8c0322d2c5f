#pragma once

// Serves the command socket, one request at a time, until the terminate command, more than 100 receives in a
// row without a frame, or a failed set-up, each of which is logged. The result means nothing.
int rd_server();
