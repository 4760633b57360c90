// FRU reads as the library's own code makes them.
#pragma once

namespace qrx::devstate {

// Reads length bytes of FRU device at offset (quorix_read_fru): length, -2
// with an empty slot, -1 (and a console line) for a short read.
int readFru(int device, int offset, int length, unsigned char *buffer);

}  // namespace qrx::devstate
