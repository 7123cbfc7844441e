#pragma once
// The phone's hardware description.

class HardwareVersion {
public:
    // The hardware sub-platform variant of this phone.
    static unsigned int getHWSubPlatformVariant();
    // Sets the variant reported from now on: the simulator and tests model other phones.
    static void setHWSubPlatformVariant(unsigned int variant);
};
