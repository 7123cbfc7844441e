#pragma once
// Models another phone for one test: sets the hardware sub-platform variant (read when the
// service is created) and puts the previous one back at the end of the scope.

#include "HardwareVersion.h"

class ScopedHardwareVariant {
public:
    explicit ScopedHardwareVariant(unsigned int variant) : m_previous(HardwareVersion::getHWSubPlatformVariant())
    {
        HardwareVersion::setHWSubPlatformVariant(variant);
    }
    ~ScopedHardwareVariant() { HardwareVersion::setHWSubPlatformVariant(m_previous); }
    ScopedHardwareVariant(const ScopedHardwareVariant&) = delete;
    ScopedHardwareVariant& operator=(const ScopedHardwareVariant&) = delete;

private:
    unsigned int m_previous;
};
