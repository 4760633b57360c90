/* A feature library without the block getter. */
void *quorix_handle[237];
