#pragma once
// The phone's hardware description. Any thread, no lock (the variant is read atomically).

class HardwareVersion {
public:
    // The hardware sub-platform variant of this phone (0 unless set); variants 3 and 4 change
    // the dialling timers' behaviour. The service reads it once, when it is created.
    static unsigned int getHWSubPlatformVariant();
    // Sets the variant reported from now on: the simulator and tests model other phones.
    static void setHWSubPlatformVariant(unsigned int variant);
};
