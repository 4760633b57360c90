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

int programCpld(int kind, int index, const char *image_path, int trigger);
int programPsu(const char *image_path, int psu_index);
int upgradeVr(unsigned char *record, int length);
int upgradeVrPxe(int vr_index, const char *image_path);
int upgradeVrXdp(int vr_index, const char *image_path);
int upgradeVrMps(int vr_index, const char *image_path);
int programFpga(int kind, int index, const char *image_path, int trigger);
int programGpuFpga(int kind, int index, const char *image_path, int trigger);
int programScp(const char *image_path, int flash_index);
void resetUpdateDevices();

int cpuPresent(int cpu_index);

}  // namespace sim
