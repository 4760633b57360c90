/*
 * Platform interfaces the interface library imports from the firmware stack.
 * On the host they come from the stand-in library built in platform/.
 */
#ifndef QUORIX_PLATFORM_H
#define QUORIX_PLATFORM_H

#include <stddef.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Writes one message into the platform debug log under a syslog priority (facility bits included). */
int BaseDebugOut(unsigned int priority, const char *message);

/* Signal-safe system call wrappers: behave as open, write, close, msgsnd and msgrcv, repeating a call that a
 * signal interrupted (EINTR). */
int sigwrap_open(const char *path, int flags, ...);
ssize_t sigwrap_write(int fd, const void *buffer, size_t count);
int sigwrap_close(int fd);
int sigwrap_msgsnd(int msqid, const void *msgp, size_t msgsz, int msgflg);
ssize_t sigwrap_msgrcv(int msqid, void *msgp, size_t msgsz, long msgtyp, int msgflg);

/* Feature switch, device key, password cipher and base64 (configuration services). */
/* Non-zero when the named build feature is on (the feature list "/etc/quorix/features"). */
int IsFeatureEnabled(const char *name);
/* Fills key (56 bytes, no zero byte) with the device's password key; 0 on success, non-zero on failure. */
int getEncryptKey(unsigned char *key);
/* Blowfish (CFB64, fixed IV) of in_len bytes into out (out_len >= in_len); the key is the NUL-free
 * prefix of key, at most 56 bytes. Output as long as the input. 0 on success, -1 on failure. */
int EncryptPassword(const unsigned char *in, unsigned char in_len, unsigned char *out, unsigned char out_len,
                    const unsigned char *key);
/* Inverse of EncryptPassword, same argument shapes. 0 on success, -1 on failure. */
int DecryptPassword(const unsigned char *in, unsigned char in_len, unsigned char *out, unsigned char out_len,
                    const unsigned char *key);
/* Base64 of in_len bytes into out, at most out_limit characters (NUL added when room is left);
 * returns the characters written, -1 on bad arguments. */
int Base64EncodeN(char *out, const unsigned char *in, int out_limit, int in_len);
/* Decodes in_len base64 characters into out (room for 3 bytes per 4 characters); returns the bytes
 * produced, 0 when the text is not base64. */
int Base64DecodeN(unsigned char *out, const char *in, int in_len);

/* Runs a shell command line with /bin/sh; its exit status, or -1 when it could not run or was killed. */
int safe_system(const char *command);

/* File helpers (TF card, markers). */
/* Copies the whole file src to dst, creating or replacing it; a directory dst keeps src's base name.
 * 0 on success, -1 on failure. */
int copyFile(const char *src, const char *dst);
/* Creates path as an empty file if it does not exist (an existing file is kept); 0, or -1. */
int touch(const char *path);
/* Creates the directory path and any missing parents (mode 0755); 0 when it exists afterwards, else -1. */
int _mkdir(const char *path);

/* Random numbers (staggered power-on). */
/* Fills length bytes of buffer from the kernel's random source (getrandom); 0, or -1. */
int generate_random_number(unsigned char *buffer, int length);

#ifdef __cplusplus
}
#endif

#endif /* QUORIX_PLATFORM_H */
