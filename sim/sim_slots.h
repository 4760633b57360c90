// Device models of the simulator: slots that do more than return a canned
// result (EEPROM and FRU files, named pipes, ...).
#pragma once

#include <vector>

namespace sim {

struct SlotModel {
    int slot;
    void *fn;
};

// Every modelled slot, gathered from the device files.
const std::vector<SlotModel> &deviceModels();
// Forgets per-process device state after a reset (the files stay unless removed).
void resetDevices();
void *simulatedSlot(int slot);

}  // namespace sim
