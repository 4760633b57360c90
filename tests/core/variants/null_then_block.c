/* A feature library whose block getter fails once, then succeeds. The
 * library is unloaded after a failed binding, so the first call is
 * remembered in a file rather than in its own data. */
#include <fcntl.h>
#include <unistd.h>

static unsigned char block[4096];
void *quorix_handle[237];

void *oem_get_shared_mem(void) {
    const char *marker = "/tmp/block-getter-failed-once";
    if (access(marker, F_OK) == 0) return block;
    close(open(marker, O_CREAT | O_WRONLY, 0600));
    return (void *)0;
}
