// Stand-in for the controller's logging library, for machines that do not have it.
#ifndef VASKDLOG_H
#define VASKDLOG_H

#ifdef __cplusplus
extern "C" {
#endif

// Writes one record to the platform log: one syslog(3) record of facility daemon, and a copy on standard
// error when that is a terminal.
//   level   2 error, 3 warning, 4 information, 5 debug, 6 verbose debug; becomes the syslog severity
//           level + 1 (err, warning, notice, info, debug)
//   area    the platform's message area; every caller passes 200; unused here
//   format  as for printf(3); %m is the text of errno
// Nothing is returned: with nobody listening on /dev/log the record is lost and nothing else happens. A listener that has
// stopped reading delays one record by a second, after which records are lost until it reads again.
void vaskprintf(int level, int area, const char *format, ...) __attribute__((format(printf, 3, 4)));

// Replaces the process image by the program at path, as execv(3) does, and does nothing else: it may be called in a
// child of vfork(2).
// Returns only on failure: -1 with errno set.
int tattletale_standin1_execv(const char *path, char *const argv[]);

#ifdef __cplusplus
}
#endif

#endif
