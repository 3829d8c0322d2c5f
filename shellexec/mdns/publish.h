#pragma once

// Publishes the controller's host record by mDNS and returns when publishing has ended, with its result code.
//   address    IPv4 or IPv6 text
//   interface  the interface to publish on
// Not built yet: logs so and returns RD_RC_FAILED.
int av_publish_start(const char *address, const char *interface);
