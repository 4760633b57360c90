/*
 * Platform interfaces the interface library imports from the firmware stack.
 * On the host they come from the stand-in library built in platform/.
 */
#ifndef QUORIX_PLATFORM_H
#define QUORIX_PLATFORM_H

#ifdef __cplusplus
extern "C" {
#endif

/* Writes one message into the platform debug log under a syslog priority (facility bits included). */
int BaseDebugOut(unsigned int priority, const char *message);

#ifdef __cplusplus
}
#endif

#endif /* QUORIX_PLATFORM_H */
