/* A feature library with a block but no handle table. */
static unsigned char block[4096];

void *oem_get_shared_mem(void) { return block; }
