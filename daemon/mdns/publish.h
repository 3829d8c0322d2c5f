#pragma once

// Publishes the controller's host records "ovrak" and "ovrak.local" through the Avahi daemon and keeps them published,
// over restarts of that daemon too. Returns when publishing has ended.
//   address    IPv4 or IPv6 text, of which 45 characters count; anything else publishes nothing and waits
//   interface  the interface to publish on; empty, or beginning with "0", for all
// Returns 0, -1 for a missing argument, kPublishFailed when Avahi's poll object or client could not be had.
int av_publish_start(const char *address, const char *interface);

inline constexpr int kPublishFailed = 18;
