// Device models of the simulated board.
#pragma once

namespace sim {

int readMainBoardEeprom(int offset, unsigned char *buffer, int length);
int writeMainBoardEeprom(int offset, unsigned char *buffer, int length);
int readFruDevice(int device, int offset, int length, unsigned char *buffer);
int writeFruDevice(int device, int offset, int length, unsigned char *buffer);

int openPipe(const char *path, int flags, int mode);
int readPipe(int fd, unsigned char *buffer, int length);
int writePipe(const char *path, unsigned char *buffer, int length);

}  // namespace sim
